#include "media/checks/ChunkLength.h"

#include <algorithm>
#include <array>
#include <istream>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

namespace qel::media {
namespace {

using namespace std::string_view_literals;

enum class Order { Little, Big };

constexpr std::int64_t kAny = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kPlaceholder = 0x7FFFF000; // 2 GiB less a page

// How a kind of file is put together from chunks: a name and a size each, and content.
struct Layout {
    std::string_view magic{}; // the file's first bytes
    std::string_view form{};  // the bytes at formPosition
    std::int64_t formPosition = 8;
    std::int64_t firstChunk = 12;
    int nameBytes = 4;
    int sizeBytes = 4;
    Order order = Order::Big;
    bool sizeIsFirst = false;   // in front of the name
    bool sizeHasHeader = false; // the size counts name and size as well
    int alignment = 1;          // chunks start at multiples of it
    // Sizes from here up are left by programs that never learned the true one; so are then sizes of
    // 0.
    std::int64_t notYet = kAny;
    unsigned char lastName = 0xFF;           // names that begin with a higher byte are damage
    std::array<std::string_view, 3> audio{}; // how names of chunks with audio begin
};

constexpr Layout Riff(std::string_view magic, Order order) {
    return {.magic = magic,
            .order = order,
            .alignment = 2,
            .notYet = kPlaceholder,
            .audio = {"data"sv}};
}

constexpr Layout Iff(std::string_view form, std::string_view audio) {
    return {
        .magic = "FORM"sv, .form = form, .alignment = 2, .notYet = kPlaceholder, .audio = {audio}};
}

// Such files begin with any of several boxes.
constexpr Layout Movie(std::string_view first) {
    return {.form = first,
            .formPosition = 4,
            .firstChunk = 0,
            .sizeIsFirst = true,
            .sizeHasHeader = true,
            .audio = {"mdat"sv, "moof"sv}};
}

// In W64 and Windows Media names are GUIDs; their first bytes tell them apart.
constexpr Layout kW64{.magic = "riff\x2E\x91\xCF\x11"sv,
                      .firstChunk = 40,
                      .nameBytes = 16,
                      .sizeBytes = 8,
                      .order = Order::Little,
                      .sizeHasHeader = true,
                      .alignment = 8,
                      .audio = {"data"sv}};
constexpr Layout kWindowsMedia{.magic = "\x30\x26\xB2\x75"sv,
                               .firstChunk = 0,
                               .nameBytes = 16,
                               .sizeBytes = 8,
                               .order = Order::Little,
                               .sizeHasHeader = true,
                               .audio = {"\x36\x26\xB2\x75"sv}};
// An AVI beyond 1 GB is several lists "RIFF", which hold index and audio alike.
constexpr Layout kAvi{.magic = "RIFF"sv,
                      .form = "AVI "sv,
                      .firstChunk = 0,
                      .order = Order::Little,
                      .alignment = 2,
                      .notYet = kPlaceholder,
                      .audio = {"RIFF"sv}};
constexpr Layout kDsdiff{.magic = "FRM8"sv,
                         .form = "DSD "sv,
                         .formPosition = 12,
                         .firstChunk = 16,
                         .sizeBytes = 8,
                         .alignment = 2,
                         .audio = {"DSD "sv, "DST "sv}};
constexpr Layout kDsf{.magic = "DSD "sv,
                      .firstChunk = 0,
                      .sizeBytes = 8,
                      .order = Order::Little,
                      .sizeHasHeader = true,
                      .audio = {"data"sv}};
constexpr Layout kCaf{.magic = "caff"sv, .firstChunk = 8, .sizeBytes = 8, .audio = {"data"sv}};
constexpr Layout kVoc{.magic = "Creative Voice File\x1A"sv,
                      .firstChunk = 26,
                      .nameBytes = 1,
                      .sizeBytes = 3,
                      .order = Order::Little,
                      .lastName = 9,
                      .audio = {"\x01"sv, "\x02"sv, "\x09"sv}};
constexpr Layout kRingTone{
    .magic = "MMMD"sv, .firstChunk = 0, .notYet = kPlaceholder, .audio = {"MMMD"sv}};

constexpr Layout kLayouts[] = {kAvi,
                               Riff("RIFF"sv, Order::Little),
                               Riff("RIFX"sv, Order::Big),
                               Riff("RF64"sv, Order::Little),
                               Riff("BW64"sv, Order::Little),
                               kW64,
                               Iff("AIF"sv, "SSND"sv),
                               Iff("8SVX"sv, "BODY"sv),
                               kDsdiff,
                               kDsf,
                               kCaf,
                               kVoc,
                               Movie("ftyp"sv),
                               Movie("moov"sv),
                               Movie("mdat"sv),
                               Movie("wide"sv),
                               Movie("free"sv),
                               kWindowsMedia,
                               kRingTone};

class ChunkReader {
public:
    explicit ChunkReader(std::istream& file) : mFile(file) {
        mFile.seekg(0, std::ios::end);
        mFileEnd = mFile.tellg();
    }

    std::int64_t FileEnd() const { return mFileEnd; }

    // So many bytes, at most 20; fewer at the end of the file.
    std::string_view Bytes(std::int64_t position, std::size_t count) {
        mFile.clear();
        mFile.seekg(position);
        mFile.read(mBytes.data(), static_cast<std::streamsize>(count));
        return {mBytes.data(), static_cast<std::size_t>(mFile.gcount())};
    }

    // A number of at most 8 bytes; -1 if the file ends before them.
    std::int64_t Number(std::int64_t position, int bytes, Order order) {
        const std::string_view raw = Bytes(position, static_cast<std::size_t>(bytes));
        if (raw.size() < static_cast<std::size_t>(bytes)) {
            return -1;
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < raw.size(); ++i) {
            const std::size_t place = order == Order::Big ? i : raw.size() - 1 - i;
            value = value << 8 | static_cast<unsigned char>(raw[place]);
        }
        return static_cast<std::int64_t>(value);
    }

private:
    std::istream& mFile;
    std::int64_t mFileEnd = 0;
    std::array<char, 20> mBytes{};
};

bool Fits(ChunkReader& reader, const Layout& layout) {
    return reader.Bytes(0, layout.magic.size()) == layout.magic &&
           reader.Bytes(layout.formPosition, layout.form.size()) == layout.form;
}

// A chunk's content ends at end; 0 says that its size is not known.
struct Chunk {
    bool isAudio = false;
    bool isUnknown = false; // and cannot be, so that something before it is damaged
    std::int64_t end = 0;
};

Chunk ReadChunk(ChunkReader& reader, const Layout& layout, std::int64_t begin) {
    const std::int64_t header = layout.nameBytes + layout.sizeBytes;
    const std::int64_t name = begin + (layout.sizeIsFirst ? layout.sizeBytes : 0);
    const std::int64_t sizeAt = begin + (layout.sizeIsFirst ? 0 : layout.nameBytes);
    const std::string_view text = reader.Bytes(name, static_cast<std::size_t>(layout.nameBytes));
    Chunk chunk;
    for (const std::string_view audio : layout.audio) {
        chunk.isAudio = chunk.isAudio || (!audio.empty() && text.starts_with(audio));
    }
    chunk.isUnknown = !text.empty() && static_cast<unsigned char>(text[0]) > layout.lastName;
    std::int64_t size = reader.Number(sizeAt, layout.sizeBytes, layout.order);
    if (layout.sizeIsFirst && size == 1) { // the true one did not fit and follows in 64 bits
        size = reader.Number(begin + header, 8, layout.order);
    }
    const std::int64_t least = layout.sizeHasHeader ? header : 0;
    const std::int64_t most = kAny - begin - header - layout.alignment;
    if (size >= least && size < layout.notYet && size < most) {
        chunk.end = begin + size + (layout.sizeHasHeader ? 0 : header);
    }
    return chunk;
}

// The size of the audio in RF64 and BW64 is the second of the numbers in "ds64", their first chunk.
bool LargeAudioIsCut(ChunkReader& reader, std::int64_t content) {
    constexpr std::int64_t kSizePosition = 28;
    const std::int64_t size = reader.Number(kSizePosition, 8, Order::Little);
    return reader.Bytes(12, 4) == "ds64"sv && size > 0 && size > reader.FileEnd() - content;
}

// A SoX file has but a header, which states its own length and the samples after it, of 4 bytes.
struct SoxHeader {
    std::int64_t begin = 0;
    std::int64_t samples = 0; // of all channels; 0 if it was never learned
};

std::optional<SoxHeader> ReadSoxHeader(ChunkReader& reader) {
    constexpr std::int64_t kMost = kAny / 8;
    const bool isLittle = reader.Bytes(0, 4) == ".SoX"sv;
    if (!isLittle && reader.Bytes(0, 4) != "XoS."sv) {
        return std::nullopt;
    }
    const Order order = isLittle ? Order::Little : Order::Big;
    const std::int64_t samples = reader.Number(8, 8, order);
    return SoxHeader{.begin = 4 + reader.Number(4, 4, order),
                     .samples = samples > 0 && samples < kMost ? samples : 0};
}

// "au" states where its audio begins and how long it is.
bool AuIsCut(ChunkReader& reader) {
    const std::int64_t begin = reader.Number(4, 4, Order::Big);
    const std::int64_t size = reader.Number(8, 4, Order::Big);
    return size < 0xFFFFFFFF && begin + size > reader.FileEnd();
}

bool AnyAudioIsCut(ChunkReader& reader, const Layout& layout) {
    constexpr int kMostChunks = 1 << 16; // a file may consist of millions of empty ones
    const std::int64_t header = layout.nameBytes + layout.sizeBytes;
    std::int64_t begin = layout.firstChunk;
    for (int i = 0; i < kMostChunks && begin + header <= reader.FileEnd(); ++i) {
        const Chunk chunk = ReadChunk(reader, layout, begin);
        if (chunk.isAudio && chunk.end == 0 && layout.magic.ends_with("64"sv)) {
            return LargeAudioIsCut(reader, begin + header);
        }
        const bool isOpen =
            chunk.isAudio && layout.notYet == kPlaceholder && chunk.end <= begin + header;
        if (isOpen || chunk.end <= begin) {
            return false;
        }
        if (chunk.isAudio ? chunk.end > reader.FileEnd() : chunk.isUnknown) {
            return true;
        }
        begin = (chunk.end + layout.alignment - 1) / layout.alignment * layout.alignment;
    }
    return false;
}

} // namespace

bool AudioChunkIsCut(std::istream& file) {
    ChunkReader reader(file);
    if (reader.Bytes(0, 4) == ".snd"sv) {
        return AuIsCut(reader);
    }
    if (const auto sox = ReadSoxHeader(reader)) {
        return sox->begin + 4 * sox->samples > reader.FileEnd();
    }
    const auto* layout = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                      [&](const Layout& row) { return Fits(reader, row); });
    return layout != std::end(kLayouts) && AnyAudioIsCut(reader, *layout);
}

std::int64_t SoxSamples(std::istream& file) {
    ChunkReader reader(file);
    const auto sox = ReadSoxHeader(reader);
    return sox ? sox->samples : 0;
}

} // namespace qel::media
