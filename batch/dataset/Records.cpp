#include "batch/dataset/Records.h"

#include "output/arrays/Crc32.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace qel::batch {
namespace {

using Head = std::array<std::uint32_t, 2>; // length, checksum

constexpr std::size_t kMostBytes = std::size_t{64} << 20; // a longer one is damage

} // namespace

std::string Records::Framed(std::string_view record) {
    const Head head{static_cast<std::uint32_t>(record.size()), output::Crc32(record)};
    std::string framed(sizeof head + record.size(), '\0');
    std::memcpy(framed.data(), head.data(), sizeof head);
    record.copy(framed.data() + sizeof head, record.size());
    return framed;
}

void Records::Feed(std::string_view bytes) {
    mBytes.erase(0, mAt);
    mAt = 0;
    mBytes += bytes;
}

std::optional<std::string_view> Records::Next() {
    Head head{};
    if (mIsDamaged || mBytes.size() - mAt < sizeof head) {
        return std::nullopt;
    }
    std::memcpy(head.data(), mBytes.data() + mAt, sizeof head);
    if (head[0] > kMostBytes) {
        mIsDamaged = true;
        return std::nullopt;
    }
    if (mBytes.size() - mAt - sizeof head < head[0]) {
        return std::nullopt;
    }
    const std::string_view record = std::string_view(mBytes).substr(mAt + sizeof head, head[0]);
    if (output::Crc32(record) != head[1]) {
        mIsDamaged = true;
        return std::nullopt;
    }
    mAt += sizeof head + head[0];
    return record;
}

} // namespace qel::batch
