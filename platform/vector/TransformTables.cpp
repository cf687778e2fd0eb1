#include "platform/vector/TransformTables.h"

#include "elementary/Functions.h"

#include <atomic>
#include <mutex>
#include <new>
#include <numbers>
#include <vector>

namespace qel::platform {
namespace {

class FactorTable : public PackedRealFactors {
public:
    explicit FactorTable(unsigned log2Size) : mValues(2 * ((std::size_t{1} << log2Size) / 4 + 1)) {
        const std::size_t quarter = mValues.size() / 2 - 1;
        float* const c = mValues.data();
        float* const s = c + quarter + 1;
        // Below an eighth of the circle by the functions, above it by symmetry, which makes the
        // ends exactly 0 and 1.
        const double step =
            2.0 * std::numbers::pi / static_cast<double>(std::size_t{1} << log2Size);
        for (std::size_t k = 0; k <= quarter / 2; ++k) {
            const double angle = step * static_cast<double>(k);
            const elementary::SineAndCosine both = elementary::SinCos(angle);
            const auto cosine = static_cast<float>(both.cosine);
            const auto sine = static_cast<float>(both.sine);
            s[quarter - k] = cosine;
            c[quarter - k] = sine;
            c[k] = cosine; // last, for a table of one entry
            s[k] = sine;
        }
        cosines = c;
        sines = s;
    }

private:
    std::vector<float> mValues;
};

std::unique_ptr<FactorTable> MakeFactorTable(unsigned log2Size) {
    try {
        return std::make_unique<FactorTable>(log2Size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// One entry per size. Entries are made under the lock and never change afterwards. They are not
// destroyed at the end of the process, when other threads and destructors may still transform.
template <class Entry>
class TableCache {
public:
    template <class Make>
    const Entry* Find(unsigned log2Size, const Make& make) {
        std::atomic<const Entry*>& slot = mEntries[log2Size];
        const Entry* entry = slot.load(std::memory_order_acquire);
        if (entry == nullptr) {
            const std::lock_guard guard(mLock);
            entry = slot.load(std::memory_order_relaxed);
            if (entry == nullptr) {
                entry = make(log2Size).release();
                slot.store(entry, std::memory_order_release);
            }
        }
        return entry;
    }

private:
    std::atomic<const Entry*> mEntries[kMaxLog2Size + 1] = {};
    std::mutex mLock;
};

constinit TableCache<ComplexTransform> gTransforms;
constinit TableCache<FactorTable> gFactors;

} // namespace

const ComplexTransform* FindTransform(unsigned log2Size) {
    return gTransforms.Find(log2Size, ComplexTransform::Make);
}

const PackedRealFactors* FindPackedRealFactors(unsigned log2Size) {
    return gFactors.Find(log2Size, MakeFactorTable);
}

} // namespace qel::platform
