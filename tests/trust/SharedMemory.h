// What a process shares with its copies, and how it makes one.
#pragma once

#include <cstddef>
#include <cstdio>
#include <new>
#include <sys/mman.h>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>

namespace qel::trust {

// A value that this process and the copies made of it see alike.
template <class Value>
class SharedMemory {
    static_assert(std::is_trivially_copyable_v<Value>, "pointers would not mean anything");

public:
    SharedMemory() {
        void* const pages =
            mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) {
            throw std::bad_alloc();
        }
        mValue = new (pages) Value{};
    }
    ~SharedMemory() { munmap(mValue, sizeof(Value)); }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    Value& operator*() { return *mValue; }
    Value* operator->() { return mValue; }

private:
    Value* mValue;
};

// Runs a body in a copy of this process, which ends after it without any clean-up. False if the
// copy could not be made, or if a signal or an exit ended it before.
template <class Body>
bool RunInChild(const Body& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        body();
        std::fflush(nullptr);
        _exit(0);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

} // namespace qel::trust
