#include "tests/trust/ClientWorld.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <filesystem>
#include <locale.h>
#include <unistd.h>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#else
#include <cfenv>
#endif

namespace qel::trust {
namespace {

template <class Value>
std::string BytesOf(const Value& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

std::string FloatingPoint() {
#if defined(__x86_64__)
    unsigned short x87Control = 0;
    unsigned short x87Status = 0;
    __asm__ volatile("fnstcw %0" : "=m"(x87Control));
    __asm__ volatile("fnstsw %0" : "=m"(x87Status));
    return BytesOf(x87Control) + BytesOf(x87Status) + BytesOf(_mm_getcsr());
#else
    std::fenv_t environment;
    std::fegetenv(&environment);
    return BytesOf(environment);
#endif
}

std::string Locale() {
    std::string text = std::setlocale(LC_ALL, nullptr);
    const locale_t ofThread = uselocale(nullptr);
    return text + " " + std::localeconv()->decimal_point + BytesOf(ofThread);
}

// The signals of a set. The rest of its bytes means nothing.
std::string Members(const sigset_t& set) {
    std::string text;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        text += sigismember(&set, number) == 1 ? '1' : '0';
    }
    return text;
}

std::string Signals() {
    std::string text;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0) {
            text += BytesOf(action.sa_handler) + BytesOf(action.sa_flags) + Members(action.sa_mask);
        }
    }
    sigset_t mask;
    sigemptyset(&mask);
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return text + Members(mask);
}

std::string Environment() {
    std::string text;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        text.append(*entry).append("\n");
    }
    return text;
}

std::string Descriptors() {
    // Looked at one by one, as the listing of a directory opens one itself.
    constexpr int kMost = 32;
    std::string text;
    for (int number = 0; number < kMost; ++number) {
        std::array<char, 256> target{};
        const std::string link = "/proc/self/fd/" + std::to_string(number);
        if (readlink(link.c_str(), target.data(), target.size() - 1) > 0) {
            text.append(std::to_string(number)).append(" ").append(target.data()).append("\n");
        }
    }
    return text;
}

} // namespace

ClientWorld ClientWorld::Now() {
    ClientWorld world;
    world.mErrno = errno;
    world.mFloatingPoint = FloatingPoint();
    world.mLocale = Locale();
    world.mSignals = Signals();
    world.mDirectory = std::filesystem::current_path();
    world.mEnvironment = Environment();
    world.mDescriptors = Descriptors();
    errno = world.mErrno;
    return world;
}

std::string ClientWorld::Difference(const ClientWorld& other) const {
    std::string text;
    text += mFloatingPoint != other.mFloatingPoint ? "floating point; " : "";
    text += mErrno != other.mErrno ? "errno; " : "";
    text += mLocale != other.mLocale ? "locale; " : "";
    text += mSignals != other.mSignals ? "signals; " : "";
    text += mDirectory != other.mDirectory ? "directory; " : "";
    text += mEnvironment != other.mEnvironment ? "environment; " : "";
    text += mDescriptors != other.mDescriptors ? "descriptors; " : "";
    return text;
}

} // namespace qel::trust
