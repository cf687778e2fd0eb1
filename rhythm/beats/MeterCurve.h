#pragma once

#include <MacTypes.h>

#include <array>
#include <vector>

namespace qel::core {

// The curve of a signal's repetition over shifts of 10 ms, and what is read out of it: the bar, and
// the peaks below it. The steps come in this order: RemoveTrend, FindBar, FindPeaks.
class MeterCurve {
public:
    struct Peak {
        UInt32 position; // index of the shift
        float value;
    };

    // `repetition`: MeterMatrix::kLagCount values.
    explicit MeterCurve(std::vector<float> repetition);

    // Subtracts a fitted polynomial, lifts the curve to a minimum of 0, and clears its first fall.
    void RemoveTrend();
    // Lets long shifts count less, smooths, takes the greatest value for the bar, and clears the
    // bar's own lobe and everything after it.
    void FindBar();
    // Takes the peaks off what stays. False if there is none.
    bool FindPeaks();

    const std::vector<float>& Values() const { return mValues; }
    const std::vector<Peak>& Peaks() const { return mPeaks; }
    float BarShift() const { return static_cast<float>(mBarIndex + 1); } // in steps of 10 ms

private:
    UInt32 FirstRise(UInt32 start, UInt32 end, UInt32 otherwise) const;
    Peak TakeGreatestPeak();

    std::vector<float> mValues;
    std::vector<Peak> mPeaks;
    UInt32 mFirstRise = 0;
    UInt32 mBarIndex = 0;
    float mBarValue = 0.0f;
};

// The scores of the beat counts 2 to 8.
//
// Required by the contract: they are kept, and weighted anew, from one channel to the next.
// Clearing them can change the meter of the later channels.
class MeterScores {
public:
    static constexpr std::array<float, 7> kCandidates = {2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f};

    // Adds for each count the mean height of the peaks at the places where it would divide the bar.
    void Judge(const MeterCurve& curve);
    // Applies the weights. The count with the highest score, with 6 given as 3, and 2 and 8 as 4;
    // 0 if no score is above 0.
    UInt32 WeighAndChoose();

    const std::array<float, 7>& Scores() const { return mScores; }

private:
    std::array<float, 7> mScores{};
};

} // namespace qel::core
