/* For tests, by LD_PRELOAD: a file of one of three names costs the process that opens it. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

static int is_named(const char* path, const char* name) {
    const char* slash = strrchr(path, '/');
    return strcmp(slash == NULL ? path : slash + 1, name) == 0;
}

/* Takes memory until there is none: large pieces first, then what is left of the heap. */
static void take_all_memory(void) {
    for (size_t size = (size_t)16 << 20; size >= 4096; size /= 2) {
        while (mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) !=
               MAP_FAILED) {
        }
    }
    for (size_t size = (size_t)1 << 20; size >= 64; size /= 2) {
        while (malloc(size) != NULL) {
        }
    }
}

static void be_at_fault(const char* path) {
    if (is_named(path, "fault crash.wav")) {
        signal(SIGSEGV, SIG_DFL);
        raise(SIGSEGV);
    }
    while (is_named(path, "fault hang.wav")) {
        pause();
    }
    if (is_named(path, "fault memory.wav")) {
        take_all_memory();
    }
}

#define DEFINE_OPEN(name)                                                   \
    int name(const char* path, int flags, ...) {                            \
        int (*next)(const char*, int, ...);                                 \
        va_list rest;                                                       \
        va_start(rest, flags);                                              \
        int mode = flags & (O_CREAT | __O_TMPFILE) ? va_arg(rest, int) : 0; \
        va_end(rest);                                                       \
        *(void**)&next = dlsym(RTLD_NEXT, #name);                           \
        be_at_fault(path);                                                  \
        return next(path, flags, mode);                                     \
    }

DEFINE_OPEN(open)
DEFINE_OPEN(open64)
