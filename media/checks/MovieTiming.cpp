#include "media/checks/MovieTiming.h"

#include <array>
#include <cstdlib>
#include <istream>
#include <string_view>
#include <vector>

namespace qel::media {
namespace {

// Headers take some hundreds of reads. A file may also consist of millions of empty boxes or
// pauses: after this many reads it is passed for one that cannot be read.
constexpr int kMostReads = 1 << 17;

// A box is a length and a four-letter name, then content, which may be boxes.
struct Box {
    std::array<char, 4> name{};
    std::int64_t content = 0; // position of the first byte
    std::int64_t end = 0;     // position after the last byte

    bool Is(std::string_view other) const {
        return std::string_view(name.data(), name.size()) == other;
    }
};

class BoxReader {
public:
    explicit BoxReader(std::istream& file) : mFile(file) {
        mFile.seekg(0, std::ios::end);
        mFileEnd = mFile.tellg();
    }

    std::int64_t FileEnd() const { return mFileEnd; }

    // The boxes that stand in [begin, end), as far as they are whole.
    std::vector<Box> List(std::int64_t begin, std::int64_t end) {
        constexpr std::int64_t kHeaderBytes = 8;
        std::vector<Box> boxes;
        while (begin + kHeaderBytes <= end) {
            Box box;
            auto size = static_cast<std::int64_t>(Number(begin, 4));
            mFile.read(box.name.data(), 4);
            box.content = begin + kHeaderBytes;
            if (size == 1) { // the length did not fit and follows in 64 bits
                size = static_cast<std::int64_t>(Number(box.content, 8));
                box.content += 8;
            } else if (size == 0) { // up to the end
                size = end - begin;
            }
            if (!mFile || size < box.content - begin || size > end - begin) {
                break;
            }
            box.end = begin + size;
            boxes.push_back(box);
            begin = box.end;
        }
        return boxes;
    }

    std::optional<Box> Find(const Box& parent, std::string_view name) {
        for (const Box& box : List(parent.content, parent.end)) {
            if (box.Is(name)) {
                return box;
            }
        }
        return std::nullopt;
    }

    // A big-endian number of so many bytes.
    std::uint64_t Number(std::int64_t position, int bytes) {
        std::array<char, 8> raw{};
        if (mReadsLeft == 0) {
            mFile.setstate(std::ios::failbit);
            return 0;
        }
        --mReadsLeft;
        mFile.seekg(position);
        mFile.read(raw.data(), bytes);
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i) {
            value = value << 8 | static_cast<unsigned char>(raw[static_cast<std::size_t>(i)]);
        }
        return value;
    }

    // A time field, which is 64 bits wide in version 1 of a box and 32 in version 0.
    std::int64_t Time(const Box& box, std::int64_t position, bool wide) {
        return static_cast<std::int64_t>(Number(box.content + position, wide ? 8 : 4));
    }

    bool IsWide(const Box& box) { return Number(box.content, 1) == 1; }

    bool Good() const { return static_cast<bool>(mFile); }

private:
    std::istream& mFile;
    std::int64_t mFileEnd = 0;
    int mReadsLeft = kMostReads;
};

struct Clock {
    std::int64_t ticksPerSecond = 0;
    std::int64_t duration = 0;
};

// "mvhd" and "mdhd" begin alike: version and flags, two dates, clock, duration.
Clock ReadClock(BoxReader& reader, const Box& box) {
    const bool wide = reader.IsWide(box);
    const std::int64_t clock = wide ? 20 : 12;
    return {static_cast<std::int64_t>(reader.Number(box.content + clock, 4)),
            reader.Time(box, clock + 4, wide)};
}

// "tkhd" holds the track's number after version, flags and two dates.
bool IsTrack(BoxReader& reader, const Box& track, std::int64_t trackID) {
    const auto header = reader.Find(track, "tkhd");
    if (!header) {
        return false;
    }
    const std::int64_t position = header->content + (reader.IsWide(*header) ? 20 : 12);
    return static_cast<std::int64_t>(reader.Number(position, 4)) == trackID;
}

struct Edit {
    std::int64_t duration = 0;  // on the movie's clock
    std::int64_t mediaTime = 0; // on the track's clock
};

// The one edit that plays media; an edit with media time -1 is a pause and is passed over.
std::optional<Edit> ReadOnlyEdit(BoxReader& reader, const Box& list) {
    const bool wide = reader.IsWide(list);
    const auto count = reader.Number(list.content + 4, 4);
    const std::int64_t entryBytes = wide ? 20 : 12;
    std::optional<Edit> only;
    for (std::uint64_t i = 0; i < count && reader.Good(); ++i) {
        const std::int64_t entry = 8 + static_cast<std::int64_t>(i) * entryBytes;
        if (list.content + entry + entryBytes > list.end) {
            return std::nullopt;
        }
        const Edit edit{reader.Time(list, entry, wide),
                        reader.Time(list, entry + (wide ? 8 : 4), wide)};
        const std::int64_t pause = wide ? -1 : 0xFFFFFFFF;
        if (edit.mediaTime == pause) {
            continue;
        }
        if (only) {
            return std::nullopt;
        }
        only = edit;
    }
    return only;
}

std::optional<MovieTiming> TimeTrack(BoxReader& reader, const Clock& movie, const Box& track) {
    const auto media = reader.Find(track, "mdia");
    const auto mediaHeader = media ? reader.Find(*media, "mdhd") : std::nullopt;
    const auto edits = reader.Find(track, "edts");
    const auto list = edits ? reader.Find(*edits, "elst") : std::nullopt;
    if (!mediaHeader || !list) {
        return std::nullopt;
    }
    const Clock own = ReadClock(reader, *mediaHeader);
    const auto edit = ReadOnlyEdit(reader, *list);
    constexpr double kLongest = 1e15; // ticks; beyond, a number is no length but damage
    if (!edit || !reader.Good() || own.ticksPerSecond <= 0 || movie.ticksPerSecond <= 0 ||
        static_cast<double>(own.duration) > kLongest || edit->mediaTime < 0 ||
        edit->mediaTime >= own.duration) {
        return std::nullopt;
    }
    const double ticksPerMovieTick =
        static_cast<double>(own.ticksPerSecond) / static_cast<double>(movie.ticksPerSecond);
    const double editEnd = static_cast<double>(edit->mediaTime) +
                           static_cast<double>(edit->duration) * ticksPerMovieTick;
    if (std::abs(editEnd - static_cast<double>(own.duration)) > ticksPerMovieTick) {
        return std::nullopt;
    }
    return MovieTiming{own.duration - edit->mediaTime, own.ticksPerSecond};
}

} // namespace

std::optional<MovieTiming> MovieTiming::Read(std::istream& file, std::int64_t trackID) {
    BoxReader reader(file);
    const Box whole{{}, 0, reader.FileEnd()};
    const auto movie = reader.Find(whole, "moov");
    const auto movieHeader = movie ? reader.Find(*movie, "mvhd") : std::nullopt;
    if (!movieHeader || reader.Find(*movie, "mvex")) {
        return std::nullopt;
    }
    const Clock clock = ReadClock(reader, *movieHeader);
    for (const Box& track : reader.List(movie->content, movie->end)) {
        if (track.Is("trak") && IsTrack(reader, track, trackID)) {
            return TimeTrack(reader, clock, track);
        }
    }
    return std::nullopt;
}

} // namespace qel::media
