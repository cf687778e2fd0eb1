// Whether a checker of memory or threads watches the tests. It slows different work by different
// factors, keeps memory of its own and ends a process that asks for too much: what measures time or
// memory skips itself then. The release suite, in which no test may skip itself, runs all of it.
#pragma once

namespace qel::testing_support {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
inline constexpr bool kIsSanitized =
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool kIsSanitized = false;
#endif

} // namespace qel::testing_support
