#include "pitch/SharedConstantQKernels.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>
#include <vector>

namespace qel::core {

namespace {

using Kernel = std::shared_ptr<const ConstantQKernel>;

// It is not destroyed at the end of the process, when other threads and destructors may still use
// analyzers.
class Table {
public:
    static Table& Get() {
        static auto& table = *new Table;
        return table;
    }

    std::mutex& Lock() { return mLock; }

    // The kernel of a design, or null. The caller holds the lock.
    Kernel Find(const ConstantQDesign& design) {
        std::erase_if(mEntries, [](const auto& entry) { return entry.second.expired(); });
        for (const auto& [key, entry] : mEntries) {
            if (key == design) {
                Kernel kernel = entry.lock();
                Hold(kernel);
                return kernel;
            }
        }
        return nullptr;
    }

    // The caller holds the lock.
    void Add(const ConstantQDesign& design, const Kernel& kernel) {
        mEntries.emplace_back(design, kernel);
        Hold(kernel);
    }

private:
    // Moves a kernel to the front of those held, and lets the last one go if it is a new one.
    void Hold(const Kernel& kernel) {
        auto at = std::find(mHeld.begin(), mHeld.end(), kernel);
        if (at == mHeld.end()) {
            --at;
            *at = kernel;
        }
        std::rotate(mHeld.begin(), at, at + 1);
    }

    std::mutex mLock;
    std::vector<std::pair<ConstantQDesign, std::weak_ptr<const ConstantQKernel>>> mEntries;
    std::array<Kernel, SharedConstantQKernels::kHeld> mHeld;
};

} // namespace

std::shared_ptr<const ConstantQKernel> SharedConstantQKernels::Find(const ConstantQDesign& design) {
    Table& table = Table::Get();
    {
        const std::lock_guard guard(table.Lock());
        if (Kernel kernel = table.Find(design)) {
            return kernel;
        }
    }
    // Designed outside of the lock. If two threads design the same one, one is discarded.
    Kernel made = std::make_shared<const ConstantQKernel>(design);
    const std::lock_guard guard(table.Lock());
    if (Kernel kernel = table.Find(design)) {
        return kernel;
    }
    table.Add(design, made);
    return made;
}

} // namespace qel::core
