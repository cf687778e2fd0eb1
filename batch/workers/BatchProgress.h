#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace qel::batch {

// How far a run is.
struct BatchState {
    std::int64_t files = 0; // of the run
    std::int64_t known = 0; // that earlier runs have done
    std::int64_t done = 0;  // by this one
    std::int64_t errors = 0;
    double audioSeconds = 0; // of what this one has done
    double seconds = 0;      // since it began
};

// "120 of 200 files, 16.2 files/s, 310 times real time, 0:05 left, 3 errors".
std::string ProgressText(const BatchState& state);

// One line that is drawn over itself a few times a second.
class BatchProgress {
public:
    // Draws on a file descriptor; -1: not at all.
    BatchProgress(int descriptor, std::int64_t files, std::int64_t known);
    ~BatchProgress() { Clear(); }
    BatchProgress(const BatchProgress&) = delete;
    BatchProgress& operator=(const BatchProgress&) = delete;

    // Another file has its row.
    void Count(bool isOk, double audioSeconds);

    // Draws the line if it is time.
    void Draw();
    void Clear();

    const BatchState& State() const { return mState; }
    bool IsShown() const { return mDescriptor >= 0; }

private:
    using Clock = std::chrono::steady_clock;

    int mDescriptor;
    BatchState mState;
    Clock::time_point mBegin = Clock::now();
    Clock::time_point mDrawn;
};

} // namespace qel::batch
