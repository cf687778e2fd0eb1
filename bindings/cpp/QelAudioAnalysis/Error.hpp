// The exception of the C++ client: a status of the library with a message.
#pragma once

#include <QelAudioAnalysis.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace qel {

// Statuses of results of the whole stream, from Analyzer::finish and Analyzer::process.
inline constexpr SInt32 kStatusNoTempo = -1;
inline constexpr SInt32 kStatusNoMeter = -3;
inline constexpr SInt32 kStatusStopped = -128;

// The meaning of a status, in words: one line without a full stop. Any thread.
//
// -1 from QelAudioAnalysisProcess can also mean that the progress callback asked to stop. This text
// omits that meaning, because the C++ client then returns false instead of throwing an Error.
inline std::string_view statusText(SInt32 status) noexcept {
    switch (status) {
    case 0:
        return "success";
    case kStatusNoTempo:
        return "no tempo found: audio that is silent, "
               "shorter than about 2.1 seconds, or not finite";
    case kStatusNoMeter:
        return "no number of beats per bar found: nothing in the audio repeats like bars";
    case kStatusStopped:
        return "stopped on request";
    case kAudioAnalysisErr_UnknownProperty:
        return "unknown key, parameter or property";
    case kAudioAnalysisErr_TooManyFrames:
        return "more frames pushed than the maximum declared for the stream";
    case kAudioAnalysisErr_NotEnoughData:
        return "too little audio for a result";
    case kAudioAnalysisErr_BadFormat:
        return "audio does not fit the stream's format";
    case kAudioAnalysisErr_NotInitialized:
        return "no analyzer behind this object, or it is not initialized";
    case kAudioAnalysisErr_NullHandle:
        return "null handle";
    case kAudioAnalysisErr_NullBufferList:
        return "null buffer list";
    default:
        return "unknown status";
    }
}

// Thrown for every refusal, by the library or by the client itself.
class Error : public std::runtime_error {
public:
    // `context` says what was being done.
    Error(SInt32 status, std::string_view context)
        : std::runtime_error(std::string(context) + ": " + std::string(statusText(status)) + " (" +
                             std::to_string(status) + ")"),
          mStatus(status) {}

    // One of the kAudioAnalysisErr_ or kStatus constants.
    SInt32 status() const noexcept { return mStatus; }

private:
    SInt32 mStatus;
};

namespace detail {

inline void check(SInt32 status, std::string_view context) {
    if (status != 0) {
        throw Error(status, context);
    }
}

} // namespace detail

} // namespace qel
