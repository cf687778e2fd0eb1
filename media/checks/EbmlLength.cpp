#include "media/checks/EbmlLength.h"

#include <cstdint>
#include <istream>
#include <optional>

namespace qel::media {
namespace {

constexpr std::uint64_t kHeader = 0x1A45DFA3;
constexpr std::uint64_t kSegment = 0x18538067;
constexpr std::uint64_t kCluster = 0x1F43B675;
constexpr std::uint64_t kBlockGroup = 0xA0;
constexpr std::uint64_t kSimpleBlock = 0xA3;

// A number whose first byte gives its length by its leading zeros: none for one byte, up to seven
// for eight.
struct VariableNumber {
    std::uint64_t whole = 0;   // with the mark after the zeros, as names are written
    std::uint64_t content = 0; // without it
    bool isAllOnes = false;    // a size that is not known
};

std::optional<VariableNumber> ReadNumber(std::istream& file) {
    const int first = file.get();
    if (!file || first == 0) {
        return std::nullopt;
    }
    std::uint64_t mark = 0x80;
    int more = 0;
    for (; (static_cast<std::uint64_t>(first) & mark) == 0; mark >>= 1) {
        ++more;
    }
    VariableNumber number;
    number.whole = static_cast<std::uint64_t>(first);
    for (int i = 0; i < more; ++i) {
        number.whole = number.whole << 8 | static_cast<std::uint64_t>(file.get() & 0xFF);
    }
    mark <<= 8 * more;
    number.content = number.whole & (mark - 1);
    number.isAllOnes = number.content == mark - 1;
    return file ? std::optional(number) : std::nullopt;
}

} // namespace

bool MatroskaIsCut(std::istream& file) {
    constexpr int kMostElements = 1 << 20;
    file.seekg(0, std::ios::end);
    const auto fileEnd = static_cast<std::uint64_t>(file.tellg());
    file.seekg(0);
    for (int i = 0; i < kMostElements; ++i) {
        const auto name = ReadNumber(file);
        const auto size = name ? ReadNumber(file) : std::nullopt;
        if (!size || (i == 0 && name->whole != kHeader)) {
            return false;
        }
        const bool isMaster = name->whole == kSegment || name->whole == kCluster;
        const auto begin = static_cast<std::uint64_t>(file.tellg());
        if (size->isAllOnes) {
            if (!isMaster) {
                return false;
            }
            continue; // what it holds comes next
        }
        if (size->content > fileEnd - begin) {
            return isMaster || name->whole == kBlockGroup || name->whole == kSimpleBlock;
        }
        if (name->whole == kSegment) {
            return false; // all of it is there
        }
        file.seekg(static_cast<std::int64_t>(begin + size->content));
    }
    return false;
}

} // namespace qel::media
