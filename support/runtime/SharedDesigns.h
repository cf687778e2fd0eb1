#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace qel::core {

// What analyzers of a process share because it depends on a few settings alone: what is in use, and
// what was made of the last kHeld designs that were asked for, so that one analyzer after another
// of a few sample rates finds it made.
//
// `Made` is constructed from a `Design`, and constant after that. A table that lives as long as the
// process is not destroyed at its end, when other threads and destructors may still use analyzers.
template <class Design, class Made, std::size_t kHeld>
class SharedDesigns {
public:
    using Pointer = std::shared_ptr<const Made>;

    // What there is of a design, else a new one. Any thread. Raises what the constructor raises.
    Pointer Find(const Design& design) {
        {
            const std::lock_guard guard(mLock);
            if (Pointer found = Known(design)) {
                return found;
            }
        }
        // Made outside of the lock. If two threads make the same one, one is discarded.
        Pointer made = std::make_shared<const Made>(design);
        const std::lock_guard guard(mLock);
        if (Pointer found = Known(design)) {
            return found;
        }
        mEntries.emplace_back(design, made);
        Hold(made);
        return made;
    }

private:
    Pointer Known(const Design& design) {
        std::erase_if(mEntries, [](const auto& entry) { return entry.second.expired(); });
        for (const auto& [key, entry] : mEntries) {
            if (key == design) {
                Pointer found = entry.lock();
                Hold(found);
                return found;
            }
        }
        return nullptr;
    }

    // Moves one to the front of those held, and lets the last one go if it is a new one.
    void Hold(const Pointer& made) {
        auto at = std::find(mHeld.begin(), mHeld.end(), made);
        if (at == mHeld.end()) {
            --at;
            *at = made;
        }
        std::rotate(mHeld.begin(), at, at + 1);
    }

    std::mutex mLock;
    std::vector<std::pair<Design, std::weak_ptr<const Made>>> mEntries;
    std::array<Pointer, kHeld> mHeld;
};

} // namespace qel::core
