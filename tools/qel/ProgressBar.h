#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace qel::tool {

// One line that shows the progress of the analysis of a file. It is drawn over itself a few times a
// second, and taken away when the file is done.
class ProgressBar {
public:
    // Draws on a file descriptor, or nothing at all unless it is shown.
    ProgressBar(int descriptor, bool shown) : mDescriptor(descriptor), mShown(shown) {}
    ~ProgressBar() { Clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // Starts the line of a file. expectedFrames 0: unknown, so that seconds are told, not percent.
    void Begin(const std::string& path, std::int64_t expectedFrames, int sampleRateHz);

    // So many frames have been analyzed.
    void Advance(std::int64_t frames);

    // The stream is over, and whole-stream results are being computed.
    void Finishing(float percent);

    // Takes the line away, so that something else can be written there.
    void Clear();

private:
    bool IsDue();
    void Draw(const std::string& text);

    int mDescriptor;
    bool mShown;
    bool mDrawn = false;
    std::string mName;
    std::int64_t mExpectedFrames = 0;
    int mRateHz = 1;
    std::chrono::steady_clock::time_point mLast;
};

} // namespace qel::tool
