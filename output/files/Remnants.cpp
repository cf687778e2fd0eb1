#include "output/files/Remnants.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace qel::output {
namespace {

// A fixed table, as a handler may walk it at any moment. What finds no room is not removed by the
// handler; destructors remove it all the same.
constexpr std::size_t kSlots = 1024;
using Table = std::array<std::atomic<char*>, kSlots>;

static_assert(std::atomic<char*>::is_always_lock_free, "a handler must not wait");

Table sFiles;
Table sDirectories;

Table& TableOf(Remnants::Entry::Kind kind) {
    return kind == Remnants::Entry::Kind::File ? sFiles : sDirectories;
}

// Whoever takes a name out of the table owns it, so that no name is freed while it is in use.
template <typename RemoveOne>
bool RemoveFrom(Table& table, RemoveOne removeOne) {
    bool any = false;
    for (std::atomic<char*>& slot : table) {
        char* const path = slot.exchange(nullptr);
        if (path == nullptr) {
            continue;
        }
        if (removeOne(path) == 0) {
            any = true; // the name is not freed: a handler may not
        } else {
            slot.store(path);
        }
    }
    return any;
}

} // namespace

Remnants::Entry::Entry(Kind kind, const std::string& path) : mKind(kind), mSlot(kSlots) {
    char* const copy = strdup(path.c_str());
    if (copy == nullptr) {
        return;
    }
    Table& table = TableOf(kind);
    for (std::size_t i = 0; i < kSlots; ++i) {
        char* empty = nullptr;
        if (table[i].compare_exchange_strong(empty, copy)) {
            mSlot = i;
            return;
        }
    }
    std::free(copy);
}

Remnants::Entry::Entry(Entry&& other) noexcept : mKind(other.mKind), mSlot(other.mSlot) {
    other.mSlot = kSlots;
}

Remnants::Entry::~Entry() {
    if (mSlot < kSlots) {
        std::free(TableOf(mKind)[mSlot].exchange(nullptr));
    }
}

void Remnants::Remove() noexcept {
    RemoveFrom(sFiles, unlink);
    while (RemoveFrom(sDirectories, rmdir)) { // a directory is empty when those in it have gone
    }
}

} // namespace qel::output
