// Why a file cannot be decoded.
#pragma once

#include "media/AudioDecoder.h"

#include <string>

namespace qel::media {

// The message, or "no fault".
inline std::string FaultOf(const std::string& path) {
    AudioDecoder::SilenceLibrary();
    try {
        AudioDecoder::CountFrames(path);
    } catch (const Error& error) {
        return error.what();
    }
    return "no fault";
}

} // namespace qel::media
