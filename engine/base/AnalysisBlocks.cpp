#include "engine/base/AnalysisBlocks.h"

#include <cstring>

namespace qel::core {

void AnalysisBlocks::Prepare(UInt32 count, UInt32 bytesPerBlock) {
    constexpr std::size_t unit = sizeof(Unit);
    const std::size_t unitsPerBlock = (std::size_t{bytesPerBlock} + unit - 1) / unit;
    if (mPayloads.size() < count * unitsPerBlock) {
        mPayloads.resize(count * unitsPerBlock);
    }
    mBlocks.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        mBlocks[i] = {mPayloads.data() + i * unitsPerBlock, bytesPerBlock};
    }
}

void AnalysisBlocks::Store(UInt32 index, const void* payload) {
    std::memcpy(mBlocks[index].mData, payload, mBlocks[index].mDataByteSize);
}

} // namespace qel::core
