#pragma once

#include <new>

extern "C" {
#include <libavutil/error.h>
}

namespace qel::media {

// A status of FFmpeg that says that there is no memory is no fault of the file. Not for calls that
// take as much memory as a file states, which a damaged file overstates.
inline void ThrowIfOutOfMemory(int status) {
    if (status == AVERROR(ENOMEM)) {
        throw std::bad_alloc();
    }
}

} // namespace qel::media
