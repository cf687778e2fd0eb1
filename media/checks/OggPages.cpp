#include "media/checks/OggPages.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <string_view>

extern "C" {
#include <libavutil/crc.h>
#include <libavutil/intreadwrite.h>
}

namespace qel::media {
namespace {

constexpr std::string_view kPageMark{"OggS\0", 5}; // capture pattern and version
constexpr std::size_t kSerialPosition = 14;
constexpr std::size_t kNumberPosition = 18;
constexpr std::size_t kChecksumPosition = 22;
constexpr std::size_t kCountPosition = 26; // of the number of segments
constexpr std::size_t kLargestPage = 27 + 255 + 255 * 255;
constexpr std::uint8_t kIsFirst = 2; // a bit of the flags that follow the mark

// A window over the file that holds a whole page wherever one begins.
class Window {
public:
    explicit Window(std::istream& file) : mFile(file) { Fill(); }

    std::string_view Bytes() const { return std::string_view(mBytes).substr(mPosition); }

    void Skip(std::size_t count) {
        mPosition += count;
        if (mBytes.size() - mPosition < kLargestPage) {
            Fill();
        }
    }

private:
    void Fill() {
        constexpr std::size_t kRoom = 8 * kLargestPage;
        mBytes.erase(0, mPosition);
        mPosition = 0;
        const std::size_t kept = mBytes.size();
        mBytes.resize(kRoom);
        mFile.read(mBytes.data() + kept, static_cast<std::streamsize>(kRoom - kept));
        mBytes.resize(kept + static_cast<std::size_t>(mFile.gcount()));
    }

    std::istream& mFile;
    std::string mBytes;
    std::size_t mPosition = 0;
};

// How far to go on for a page; a mark may have begun with the last bytes.
std::size_t DistanceToMark(std::string_view bytes) {
    const std::size_t mark = bytes.find(kPageMark, 1);
    return mark != std::string_view::npos
               ? mark
               : std::max(bytes.size(), kPageMark.size()) - kPageMark.size() + 1;
}

// Length of the page at the start of the bytes; one that is more than there are for a cut page.
std::size_t PageLength(std::string_view bytes) {
    const auto byteAt = [&](std::size_t position) -> std::size_t {
        return static_cast<unsigned char>(bytes[position]);
    };
    if (bytes.size() <= kCountPosition) {
        return kLargestPage;
    }
    const std::size_t table = kCountPosition + 1;
    const std::size_t content = table + byteAt(kCountPosition);
    if (bytes.size() < content) {
        return kLargestPage;
    }
    std::size_t length = content;
    for (std::size_t i = table; i < content; ++i) {
        length += byteAt(i);
    }
    return length;
}

// The sum is of the whole page with 0 in the sum's own place.
bool IsIntact(std::string_view page) {
    const AVCRC* table = av_crc_get_table(AV_CRC_32_IEEE);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(page.data());
    constexpr std::array<std::uint8_t, 4> kZeros{};
    std::uint32_t sum = av_crc(table, 0, bytes, kChecksumPosition);
    sum = av_crc(table, sum, kZeros.data(), kZeros.size());
    sum = av_crc(table, sum, bytes + kCountPosition, page.size() - kCountPosition);
    return sum == AV_RB32(bytes + kChecksumPosition);
}

// Pages of a stream are numbered from 0 on; streams have serial numbers, and follow one another or
// take turns.
class PageNumbers {
public:
    // How many pages are missing in front of this one.
    std::int64_t Advance(std::string_view page) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(page.data());
        const std::uint32_t number = AV_RL32(bytes + kNumberPosition);
        const std::uint32_t serial =
            AV_RL32(bytes + kSerialPosition); // the macro's place is unaligned
        const auto [place, isNew] = mNext.try_emplace(serial, number);
        const std::uint32_t missing = number - place->second;
        const bool isStart = isNew || (bytes[kPageMark.size()] & kIsFirst) != 0;
        place->second = number + 1;
        if (mNext.size() > kMostStreams) {
            mNext.clear(); // a serial number per page makes no stream
        }
        // A number that goes back is a stream that was appended to another one, with its serial.
        return isStart || missing > UINT32_MAX / 2 ? 0 : missing;
    }

private:
    static constexpr std::size_t kMostStreams = 1000;

    std::map<std::uint32_t, std::uint32_t> mNext; // by serial number
};

} // namespace

std::int64_t CountDamagedOggPages(std::istream& file) {
    constexpr int kMostFaults = 1000; // each may cost the checksum of a largest page
    PageNumbers numbers;
    std::int64_t damaged = 0;
    int faults = 0;
    bool isLastIntact = true;
    file.clear();
    file.seekg(0);
    for (Window window(file); faults < kMostFaults && !window.Bytes().empty();) {
        const std::string_view bytes = window.Bytes();
        if (!bytes.starts_with(kPageMark)) {
            window.Skip(DistanceToMark(bytes));
            continue;
        }
        const std::size_t length = PageLength(bytes);
        isLastIntact = length <= bytes.size() && IsIntact(bytes.substr(0, length));
        if (isLastIntact) {
            damaged += numbers.Advance(bytes.substr(0, length));
        } else {
            ++faults;
        }
        window.Skip(isLastIntact ? length : kPageMark.size());
    }
    // Those before the last one show in the number of an intact page after them.
    return damaged + (isLastIntact ? 0 : 1);
}

} // namespace qel::media
