#include "media/checks/TsPackets.h"

#include <array>
#include <istream>
#include <optional>

namespace qel::media {
namespace {

constexpr std::size_t kPacketBytes = 188;
constexpr std::uint8_t kSync = 0x47;

// Where packets begin, and their distance: Blu-ray puts four bytes in front of each, and others put
// sixteen of a checksum after it.
struct Grid {
    std::int64_t first = 0;
    std::int64_t step = 0;
};

using Packet = std::array<char, 204>; // the largest distance

class PacketReader {
public:
    explicit PacketReader(std::istream& file) : mFile(file) {}

    // How many bytes there are from there on, up to count.
    std::size_t Read(std::int64_t position, std::int64_t count, Packet& packet) {
        MoveTo(position);
        mFile.read(packet.data(), count);
        mPosition += mFile.gcount();
        return static_cast<std::size_t>(mFile.gcount());
    }

    // -1 at the end.
    int Byte(std::int64_t position) {
        MoveTo(position);
        const int byte = mFile.get();
        mPosition += byte < 0 ? 0 : 1;
        return byte;
    }

    bool HasSync(std::int64_t position) { return Byte(position) == kSync; }

private:
    // A seek drops what was read ahead, so that none is made where reading goes on.
    void MoveTo(std::int64_t position) {
        if (position != mPosition || !mFile) {
            mFile.clear();
            mFile.seekg(position);
            mPosition = position;
        }
    }

    std::istream& mFile;
    std::int64_t mPosition = -1;
};

std::optional<Grid> FindGrid(PacketReader& reader) {
    for (const Grid grid : {Grid{0, 188}, Grid{4, 192}, Grid{0, 204}}) {
        const auto hasSync = [&](int i) { return reader.HasSync(grid.first + i * grid.step); };
        if (hasSync(0) && hasSync(1) && hasSync(2)) {
            return grid;
        }
    }
    return std::nullopt;
}

// The next place with two packets in a row; empty if there is none.
std::optional<std::int64_t> FindSync(PacketReader& reader, std::int64_t position,
                                     std::int64_t step) {
    for (;; ++position) {
        int byte = reader.Byte(position);
        while (byte >= 0 && byte != kSync) {
            byte = reader.Byte(++position);
        }
        if (byte < 0 || reader.HasSync(position + step)) {
            return byte < 0 ? std::nullopt : std::optional(position);
        }
    }
}

class Continuity {
public:
    explicit Continuity(int pid) : mPID(pid) {}

    bool HasGap(const Packet& packet) {
        const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(packet[i]); };
        const int pid = (byteAt(1) & 0x1F) << 8 | byteAt(2);
        const bool hasContent = (byteAt(3) & 0x10) != 0;
        const bool hasField = (byteAt(3) & 0x20) != 0;
        if (pid != mPID || !hasContent) { // without content the counter does not advance
            return false;
        }
        const int counter = byteAt(3) & 0xF;
        const bool mayJump = hasField && byteAt(4) > 0 && (byteAt(5) & 0x80) != 0;
        const bool follows = mLast < 0 || counter == mLast || counter == ((mLast + 1) & 0xF);
        const bool isGap = !follows && !mayJump;
        mLast = counter;
        return isGap;
    }

private:
    int mPID;
    int mLast = -1; // counter of the packet before; -1 for none
};

} // namespace

std::int64_t CountTsGaps(std::istream& file, int pid) {
    constexpr std::int64_t kMostGaps = 1000; // a search for packets goes byte by byte
    PacketReader reader(file);
    const auto grid = FindGrid(reader);
    if (!grid) {
        return 0;
    }
    Continuity continuity(pid);
    Packet packet{};
    std::int64_t gaps = 0;
    std::int64_t position = grid->first;
    while (gaps < kMostGaps) {
        const std::size_t size = reader.Read(position, grid->step, packet);
        if (size > 0 && packet[0] != kSync) {
            const auto next = FindSync(reader, position, grid->step);
            if (!next) {
                return gaps;
            }
            ++gaps;
            position = *next;
            continue;
        }
        if (size < kPacketBytes) {
            return gaps + (size > 0 ? 1 : 0);
        }
        gaps += continuity.HasGap(packet) ? 1 : 0;
        position += grid->step;
    }
    return gaps;
}

} // namespace qel::media
