#pragma once

#include <QelAudioAnalysis.h>

#include <cstddef>
#include <vector>

namespace qel::core {

// The array of result blocks of one delivery, with its payloads. Both live in storage that is kept
// from one delivery to the next, so that a generator in its steady state allocates nothing: to the
// client, blocks and payloads are gone when the data callback returns.
class AnalysisBlocks {
public:
    // Makes `count` blocks of `bytesPerBlock` bytes each, content undefined. The blocks of the
    // preparation before are void. Throws std::bad_alloc.
    void Prepare(UInt32 count, UInt32 bytesPerBlock);

    // Copies `bytesPerBlock` bytes into the payload of block `index`.
    void Store(UInt32 index, const void* payload);

    float* Floats(UInt32 index) { return static_cast<float*>(mBlocks[index].mData); }
    QelAudioAnalysisBlock* Blocks() { return mBlocks.data(); }
    UInt32 Count() const { return static_cast<UInt32>(mBlocks.size()); }

private:
    std::vector<QelAudioAnalysisBlock> mBlocks;
    struct alignas(std::max_align_t) Unit {
        std::byte bytes[sizeof(std::max_align_t)];
    };
    std::vector<Unit> mPayloads;
};

} // namespace qel::core
