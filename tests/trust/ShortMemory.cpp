#include "tests/trust/ShortMemory.h"

#include "tests/trust/SharedMemory.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <new>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qel::trust {
namespace {

constexpr int kMostMilliseconds = 10000;
constexpr std::size_t kEnough = std::numeric_limits<std::size_t>::max();
// What the copy exits with where `body` does not return.
constexpr int kRaisedBadAlloc = 128;
constexpr int kRaised = 129;

// In bytes; "VmSize" is what the process has of addresses, "VmPeak" the most that it had.
std::size_t Addresses(const std::string& field) {
    std::ifstream status("/proc/self/status");
    std::string word;
    std::size_t kilobytes = 0;
    while (status >> word) {
        if (word == field + ":") {
            status >> kilobytes;
            break;
        }
    }
    return kilobytes * 1024;
}

void Limit(std::size_t bytes) {
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_AS, &limit);
}

// The system grows a stack as it is used, and ends the process where the limit is against it: so it
// is grown before. 256 KB are four times what the library needs.
[[gnu::noinline]] void GrowStack() {
    std::array<volatile char, 262144> stack;
    for (std::size_t i = 0; i < stack.size(); i += 1024) {
        stack[i] = 0;
    }
}

// Takes all free memory of what the process has, and keeps it.
void TakeWhatIsFree() {
    for (const std::size_t bytes : {65536u, 4096u, 1024u, 256u, 64u, 16u}) {
        void* volatile block = nullptr;
        do {
            block = std::malloc(bytes);
        } while (block != nullptr);
    }
}

[[noreturn]] void RunCopy(std::size_t spareBytes, const std::function<int()>& body) {
    GrowStack();
    const std::size_t before = Addresses("VmSize");
    Limit(before);
    TakeWhatIsFree();
    Limit(spareBytes == kEnough ? RLIM_INFINITY : before + spareBytes);
    int result = kRaised;
    try {
        result = body();
    } catch (const std::bad_alloc&) {
        result = kRaisedBadAlloc;
    } catch (...) {
    }
    _exit(result);
}

Ending WaitFor(pid_t child) {
    const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    pollfd ended{.fd = descriptor, .events = POLLIN, .revents = 0};
    const bool waits = poll(&ended, 1, kMostMilliseconds) == 0;
    if (waits) {
        kill(child, SIGKILL);
    }
    close(descriptor);
    int status = 0;
    waitpid(child, &status, 0);
    if (waits) {
        return {Ending::Kind::kWaits, 0};
    }
    if (WIFSIGNALED(status)) {
        return {Ending::Kind::kSignal, WTERMSIG(status)};
    }
    switch (const int value = WEXITSTATUS(status)) {
    case kRaisedBadAlloc:
        return {Ending::Kind::kRaisedBadAlloc, 0};
    case kRaised:
        return {Ending::Kind::kRaised, 0};
    default:
        return {Ending::Kind::kReturned, value};
    }
}

} // namespace

void PrintTo(const Ending& ending, std::ostream* out) {
    constexpr std::array<const char*, 6> kNames{"returned", "raised bad_alloc", "raised", "signal",
                                                "waits",    "not started"};
    *out << kNames.at(static_cast<std::size_t>(ending.kind)) << " " << ending.value;
}

Ending RunShortOfMemory(std::size_t spareBytes, const std::function<int()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        RunCopy(spareBytes, body);
    }
    return child > 0 ? WaitFor(child) : Ending{};
}

std::size_t AddressesTaken(const std::function<int()>& body) {
    SharedMemory<std::size_t> taken;
    RunShortOfMemory(kEnough, [&] {
        const std::size_t before = Addresses("VmSize");
        const int result = body();
        *taken = Addresses("VmPeak") - before;
        return result;
    });
    return *taken;
}

} // namespace qel::trust
