#include "media/checks/StatedSize.h"

#include <algorithm>
#include <cstdint>
#include <istream>
#include <optional>
#include <string>

namespace qel::media {
namespace {

constexpr std::int64_t kUnknown = 0xFFFFFFFF;

class HeaderReader {
public:
    explicit HeaderReader(std::istream& file) : mFile(file) {
        mFile.seekg(0, std::ios::end);
        mFileEnd = mFile.tellg();
    }

    std::int64_t FileEnd() const { return mFileEnd; }

    std::string Bytes(std::int64_t position, std::size_t count) {
        std::string bytes(count, '\0');
        mFile.clear();
        mFile.seekg(position);
        mFile.read(bytes.data(), static_cast<std::streamsize>(count));
        bytes.resize(static_cast<std::size_t>(mFile.gcount()));
        return bytes;
    }

    // 0 where the file ends before it.
    std::int64_t Big(std::int64_t position, std::size_t count) {
        const std::string bytes = Bytes(position, count);
        return bytes.size() == count ? ValueOf(bytes) : 0;
    }

    std::int64_t Little(std::int64_t position, std::size_t count) {
        const std::string bytes = Bytes(position, count);
        return bytes.size() == count ? ValueOf({bytes.rbegin(), bytes.rend()}) : 0;
    }

private:
    static std::int64_t ValueOf(const std::string& bytes) {
        std::int64_t value = 0;
        for (const char byte : bytes) {
            value = value << 8 | static_cast<unsigned char>(byte);
        }
        return value;
    }

    std::istream& mFile;
    std::int64_t mFileEnd = 0;
};

using End = std::optional<std::int64_t>; // empty where it is not stated

End EndOf(std::int64_t begin, std::int64_t size) {
    return size > 0 && size < kUnknown ? End(begin + size) : std::nullopt;
}

End WestwoodEnd(HeaderReader& reader) {
    return EndOf(12, reader.Little(2, 4));
}

End ApmEnd(HeaderReader& reader) {
    return EndOf(100, reader.Little(28, 4));
}

// One chunk of blocks, which have 17 bytes a channel: the shift of 16 bytes of samples and these.
End ArgonautEnd(HeaderReader& reader) {
    constexpr std::int64_t kHeaderBytes = 20;
    constexpr std::int64_t kBlockBytes = 17;
    constexpr std::int64_t kIsStereo = 2;
    const std::int64_t chunk = reader.Little(12, 4);
    const std::int64_t channels = (reader.Little(chunk + 16, 4) & kIsStereo) != 0 ? 2 : 1;
    const std::int64_t blocks = reader.Little(chunk, 4);
    const bool isKnown = blocks > 0 && blocks < kUnknown;
    return isKnown ? End(chunk + kHeaderBytes + blocks * kBlockBytes * channels) : std::nullopt;
}

// The samples of a channel, in blocks of 32 that take 18 bytes where they have 4 bits each.
End AdxEnd(HeaderReader& reader) {
    constexpr std::int64_t kBlockSamples = 32;
    constexpr std::int64_t kBlockBytes = 18;
    const std::int64_t begin = 4 + reader.Big(2, 2);
    const std::int64_t channels = reader.Big(7, 1);
    const std::int64_t samples = reader.Big(12, 4);
    const bool isKnown = reader.Big(5, 1) == kBlockBytes && samples > 0 && samples < kUnknown;
    const std::int64_t blocks = (samples + kBlockSamples - 1) / kBlockSamples;
    return isKnown ? End(begin + blocks * kBlockBytes * channels) : std::nullopt;
}

End FlashEnd(HeaderReader& reader) {
    constexpr std::int64_t kNotYet = 100 << 20;
    const std::int64_t size = reader.Little(4, 4);
    return reader.Bytes(0, 3) == "FWS" && size != kNotYet ? EndOf(0, size) : std::nullopt;
}

// Chunks of a name and a size that counts both. FFmpeg's own files count 10 bytes more than they
// have, and end with 10 that hold no audio.
End RealMediaEnd(HeaderReader& reader) {
    constexpr int kMostChunks = 1000;
    constexpr std::int64_t kOvercount = 20;
    if (reader.Bytes(0, 4) != ".RMF") {
        return std::nullopt;
    }
    std::int64_t begin = 0;
    for (int i = 0; i < kMostChunks; ++i) {
        const std::int64_t size = reader.Big(begin + 4, 4);
        if (reader.Bytes(begin, 4) == "DATA") {
            const bool isKnown = size > kOvercount && size < kUnknown;
            return isKnown ? End(begin + size - kOvercount) : std::nullopt;
        }
        if (size < 8) {
            return std::nullopt;
        }
        begin += size;
    }
    return std::nullopt;
}

// The mark is looked for in the last bytes, as a tag may follow it.
bool MotionJpegIsCut(HeaderReader& reader) {
    constexpr std::int64_t kTailBytes = 64 * 1024;
    const std::int64_t tail = std::min(reader.FileEnd(), kTailBytes);
    const std::string bytes = reader.Bytes(reader.FileEnd() - tail, static_cast<std::size_t>(tail));
    return bytes.find("DONE") == std::string::npos;
}

struct Kind {
    std::string_view container;
    End (*end)(HeaderReader&);
};

constexpr Kind kKinds[] = {{"wsaud", WestwoodEnd}, {"apm", ApmEnd},   {"argo_asf", ArgonautEnd},
                           {"adx", AdxEnd},        {"swf", FlashEnd}, {"rm", RealMediaEnd}};

} // namespace

bool StatedSizeIsCut(std::istream& file, std::string_view container) {
    HeaderReader reader(file);
    if (container == "smjpeg") {
        return MotionJpegIsCut(reader);
    }
    for (const Kind& kind : kKinds) {
        if (kind.container == container) {
            return kind.end(reader).value_or(0) > reader.FileEnd();
        }
    }
    return false;
}

} // namespace qel::media
