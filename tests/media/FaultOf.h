// Why a file cannot be decoded.
#pragma once

#include "media/AudioDecoder.h"
#include "tools/qel/ToolError.h"

#include <string>

namespace qel::tool {

// The message, or "no fault".
inline std::string FaultOf(const std::string& path) {
    AudioDecoder::SilenceLibrary();
    try {
        AudioDecoder::CountFrames(path);
    } catch (const ToolError& error) {
        return error.what();
    }
    return "no fault";
}

} // namespace qel::tool
