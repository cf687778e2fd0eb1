#include "batch/workers/BatchProgress.h"

#include "output/formats/Texts.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <unistd.h>

namespace qel::batch {
namespace {

constexpr std::chrono::milliseconds kInterval{100};
constexpr std::string_view kClearLine = "\r\x1b[K";

// "0:05", "2:13:05".
std::string Duration(double seconds) {
    const auto whole = static_cast<std::int64_t>(seconds + 0.5);
    const std::int64_t hours = whole / 3600;
    return hours > 0 ? fmt::format("{}:{:02}:{:02}", hours, whole / 60 % 60, whole % 60)
                     : fmt::format("{}:{:02}", whole / 60, whole % 60);
}

// A terminal that takes no more is no reason to stop.
void Send(int descriptor, const std::string& text) {
    [[maybe_unused]] const ssize_t written = write(descriptor, text.data(), text.size());
}

} // namespace

std::string ProgressText(const BatchState& state) {
    const std::int64_t all = state.known + state.done;
    std::string text = fmt::format("{} of {}", all, output::CountText(state.files, "file"));
    if (state.done > 0 && state.seconds > 0) {
        const double rate = static_cast<double>(state.done) / state.seconds;
        text += fmt::format(", {:.1f} files/s, {:.0f} times real time, {} left", rate,
                            state.audioSeconds / state.seconds,
                            Duration(static_cast<double>(state.files - all) / rate));
    }
    return text + ", " + output::CountText(state.errors, "error");
}

BatchProgress::BatchProgress(int descriptor, std::int64_t files, std::int64_t known)
    : mDescriptor(descriptor) {
    mState.files = files;
    mState.known = known;
}

void BatchProgress::Count(bool isOk, double audioSeconds) {
    ++mState.done;
    mState.errors += isOk ? 0 : 1;
    mState.audioSeconds += audioSeconds;
    mState.seconds = std::chrono::duration<double>(Clock::now() - mBegin).count();
}

void BatchProgress::Draw() {
    const Clock::time_point now = Clock::now();
    if (mDescriptor < 0 || now - mDrawn < kInterval) {
        return;
    }
    mDrawn = now;
    mState.seconds = std::chrono::duration<double>(now - mBegin).count();
    Send(mDescriptor, fmt::format("{}{}", kClearLine, ProgressText(mState)));
}

void BatchProgress::Clear() {
    if (mDescriptor >= 0) {
        Send(mDescriptor, std::string(kClearLine));
    }
}

} // namespace qel::batch
