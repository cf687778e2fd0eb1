// Working memory of a transform: floats at a multiple of kTransformAlignment bytes.
#pragma once

#include <cstddef>
#include <memory>

namespace qel::platform {

class TransformScratch {
public:
    // Makes sure of at least `floats` floats, whose contents are undefined afterwards.
    // Returns false, and keeps what there was, if memory is exhausted.
    bool Reserve(std::size_t floats);

    float* Data() { return mData.get(); }

    // What a thread's scratches are for. Two that are in use at once are two.
    enum class Use { kTransform, kUnitStride };

    // The calling thread's own scratch for `use`, with at least `floats` floats. It grows when a
    // larger size is first asked for and lives as long as the thread. Throws std::bad_alloc.
    static float* OfThisThread(Use use, std::size_t floats);

private:
    struct Free {
        void operator()(float* data) const;
    };

    std::unique_ptr<float[], Free> mData;
    std::size_t mFloats = 0;
};

} // namespace qel::platform
