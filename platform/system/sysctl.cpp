#include <sys/sysctl.h>

#include <cerrno>
#include <cstring>

namespace {

// The named values: whether the processor that runs has an instruction set.
bool FindValue(const char* name, int& value) {
#if defined(__x86_64__) || defined(__i386__)
    const bool sse2 = __builtin_cpu_supports("sse2") != 0;
    const bool sse3 = __builtin_cpu_supports("sse3") != 0;
#else
    const bool sse2 = false;
    const bool sse3 = false;
#endif
    if (std::strcmp(name, "hw.optional.sse3") == 0) {
        value = sse3 ? 1 : 0;
        return true;
    }
    if (std::strcmp(name, "hw.optional.sse2") == 0) {
        value = sse2 ? 1 : 0;
        return true;
    }
    return false;
}

int Fail(int error) {
    errno = error;
    return -1;
}

} // namespace

int sysctlbyname(const char* name, void* oldp, size_t* oldlenp, void* newp, size_t) {
    if (name == nullptr || (oldp != nullptr && oldlenp == nullptr)) {
        return Fail(EFAULT);
    }
    int value = 0;
    if (!FindValue(name, value)) {
        return Fail(ENOENT);
    }
    if (newp != nullptr) {
        return Fail(EPERM);
    }
    if (oldp != nullptr) {
        if (*oldlenp < sizeof value) {
            return Fail(ENOMEM);
        }
        std::memcpy(oldp, &value, sizeof value);
    }
    if (oldlenp != nullptr) {
        *oldlenp = sizeof value;
    }
    return 0;
}
