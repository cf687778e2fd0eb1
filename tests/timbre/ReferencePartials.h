// Partial tracking re-computed in double precision, with a plain search over all peaks for every
// track.
//
// The tracker decides by comparisons, and works in single precision: a comparison whose two sides
// are nearer to each other than single precision can tell may come out either way, and what follows
// depends on it. So the reference follows what was delivered, frame by frame. It takes every
// comparison as double precision has it, and each of the close ones both ways; one of the outcomes
// must be the delivered list, track by track, in order, and with its values. Each outcome that
// fits is carried into the next frame, with what the list doesn't tell: the limit of growth and the
// count of missed frames. Where tracks stand and how loud they were is taken from the delivered
// list once that has been found right, so that rounding doesn't add up over frames.
#pragma once

#include "tests/timbre/PartialsRun.h"

#include <span>
#include <string>
#include <vector>

namespace qel::test {

class ReferencePartials {
public:
    explicit ReferencePartials(double rateHz);

    // The next frame: 1024 samples, and the list that was delivered for it. True if it fits.
    bool Follow(std::span<const float> samples, const PartialRow& delivered);

    // Frames for which a comparison was close.
    int CloseFrames() const { return mCloseFrames; }
    // Tracks compared with a peak, and those of them whose frequency or magnitude is more than 1e-4
    // of itself off.
    int Values() const { return mValues; }
    int LooseValues() const { return mLooseValues; }

private:
    struct Peak {
        double bin, magnitude, logBelow;
        double binDoubt, logDoubt; // of bin; of the logarithms of magnitude and logBelow
    };
    struct Track {
        double bin, magnitude, limit, limitDoubt;
        int missed;
        PartialRecord record; // as delivered last
    };
    using Tracks = std::vector<Track>;
    struct Candidate {
        std::size_t bin;
        bool certain;
    };

    void Analyze(std::span<const float> samples);
    void FindCandidates();
    Peak PeakAt(std::size_t bin) const;
    // One way through the frame, by mChoices; false if it leads to another list.
    bool Walk(Tracks tracks, const PartialRow& delivered, Tracks& result);
    int Nearest(const Track& track, const std::vector<Peak>& peaks,
                const std::vector<bool>& matched);
    bool Continue(Track& track, const Peak& peak, bool& alive);
    bool StaysUnmatched(const Track& track);
    bool Fits(const Peak& peak, const PartialRecord& record) const;
    void CountValues(const Tracks& tracks);
    bool Decide(double difference, double margin);
    bool NextChoices();

    double mRateHz;
    int mFrame = 0;
    std::vector<Tracks> mStates{Tracks{}};

    // Of the present frame.
    std::vector<double> mMagnitudes; // with the floor
    std::vector<double> mLogs;
    std::vector<double> mLogDoubts;
    double mLevelDoubt = 0.0; // of a magnitude
    double mThreshold = 0.0;
    double mThresholdDoubt = 0.0;
    std::vector<Candidate> mCandidates;
    std::vector<bool> mChoices;
    std::size_t mChoice = 0;

    int mCloseFrames = 0;
    int mValues = 0;
    int mLooseValues = 0;
};

// Sum of a 4 |r - round(r)| over all tracks, divided by the sum of a.
double ReferenceInharmonicity(const PartialRow& row);

// All lists of a channel fit its samples; the other two keys fit the lists. No more than a share of
// the frames may have close comparisons, so that there is little to choose from. Steady tones below
// magnitude 1 have one in every frame: their growth is 0, and so is its limit.
void ExpectReferencePartials(const std::vector<float>& samples, double rateHz,
                             const PartialResults& results, double closeShare = 0.1);

} // namespace qel::test
