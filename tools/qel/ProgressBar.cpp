#include "tools/qel/ProgressBar.h"

#include "output/formats/Texts.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <unistd.h>

namespace qel::tool {
namespace {

constexpr std::chrono::milliseconds kInterval{100};
constexpr int kBarCells = 30;
constexpr std::string_view kClearLine = "\r\x1b[K";

// A terminal that takes no more is no reason to stop analyzing.
void Send(int descriptor, std::string_view text) {
    [[maybe_unused]] const ssize_t written = write(descriptor, text.data(), text.size());
}

} // namespace

void ProgressBar::Begin(const std::string& path, std::int64_t expectedFrames, int sampleRateHz) {
    mName = output::PrintableText(std::filesystem::path(path).filename().string());
    mExpectedFrames = expectedFrames;
    mRateHz = sampleRateHz;
    mLast = {};
}

bool ProgressBar::IsDue() {
    if (!mShown) {
        return false;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - mLast < kInterval) {
        return false;
    }
    mLast = now;
    return true;
}

void ProgressBar::Draw(const std::string& text) {
    Send(mDescriptor, fmt::format("{}{} {}", kClearLine, mName, text));
    mDrawn = true;
}

void ProgressBar::Advance(std::int64_t frames) {
    if (!IsDue()) {
        return;
    }
    if (mExpectedFrames <= 0) {
        Draw(fmt::format("{} s", frames / mRateHz));
        return;
    }
    const std::int64_t done = std::min(frames, mExpectedFrames);
    const auto cells = static_cast<std::size_t>(done * kBarCells / mExpectedFrames);
    Draw(fmt::format("[{:<{}}] {:3}%", std::string(cells, '#'), kBarCells,
                     done * 100 / mExpectedFrames));
}

void ProgressBar::Finishing(float percent) {
    if (IsDue()) {
        Draw(fmt::format("whole-stream results: {:.0f}%", percent));
    }
}

void ProgressBar::Clear() {
    if (mDrawn) {
        Send(mDescriptor, kClearLine);
        mDrawn = false;
    }
}

} // namespace qel::tool
