// Continuation, death and birth of tracks, on peaks made by hand.

#include "timbre/PartialTracker.h"

#include "tests/platform/vector/InstructionSets.h"
#include "timbre/TrackVectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kBins = 64;

// A peak that is easy to recognize: its frequency is 10 times its bin. Its parabola is so flat that
// the bin below has its magnitude.
Peak PeakAt(float bin, float magnitude) {
    return {false, bin, 10.0f * bin, magnitude, std::log(magnitude), 0.5f};
}

class PartialTrackerTest : public ::testing::Test {
protected:
    void Frame(const std::vector<Peak>& peaks, float threshold = -1.0f) {
        mTracker.Peaks().Clear();
        for (const Peak& peak : peaks) {
            mTracker.Peaks().Add(peak);
        }
        mTracker.Track(mMagnitudes.data(), threshold);
    }

    std::vector<float> Bins() const {
        const TrackList& partials = mTracker.Partials();
        return {partials.mBins.data(), partials.mBins.data() + partials.mCount};
    }

    ActivePartial First() const { return mTracker.Partials().At(0); }

    // Silence stands after the bins, which would end tracks.
    std::vector<float> WithRoom(float magnitude) const {
        std::vector<float> magnitudes(kBins, magnitude);
        magnitudes.resize(kBins + kVectorRoom, 0.0f);
        return magnitudes;
    }

    std::vector<float> mMagnitudes = WithRoom(100.0f);
    PartialTracker mTracker{kBins, Tones::kKept};
};

using Places = std::vector<float>;

TEST_F(PartialTrackerTest, EveryPeakOfTheFirstFrameBeginsATrack) {
    Frame({PeakAt(3, 100), PeakAt(9.5f, 200)});
    EXPECT_EQ(Bins(), (Places{3, 9.5f}));
    const ActivePartial second = mTracker.Partials().At(1);
    EXPECT_EQ(second.mFrequency, 95.0f);
    EXPECT_EQ(second.mMagnitude, 200.0f);
    EXPECT_EQ(second.mPhase, 0.5f);
    EXPECT_EQ(second.mGainLimit, 20.0f);
    EXPECT_EQ(second.mMissedFrames, 0);
}

TEST_F(PartialTrackerTest, ABirthComparesTheLinearMagnitudeWithTheLogarithmicThreshold) {
    Frame({PeakAt(3, 4), PeakAt(9, 5), PeakAt(12, 6)}, 5.0f);
    EXPECT_EQ(Bins(), Places{12});
}

TEST_F(PartialTrackerTest, ATrackTakesAllThatThePeakHas) {
    Frame({PeakAt(3, 100)});
    Peak peak = PeakAt(3.5f, 90);
    peak.mPhase = -1.0f;
    Frame({peak});
    EXPECT_EQ(Bins(), Places{3.5f});
    EXPECT_EQ(First().mFrequency, 35.0f);
    EXPECT_EQ(First().mMagnitude, 90.0f);
    EXPECT_EQ(First().mPhase, -1.0f);
}

TEST_F(PartialTrackerTest, TheNearestPeakWinsAndTheLowerOneOfTwo) {
    Frame({PeakAt(20, 100)});
    Frame({PeakAt(19.25f, 100), PeakAt(20.5f, 100)});
    EXPECT_EQ(First().mBin, 20.5f);
    Frame({PeakAt(20, 100), PeakAt(21, 100)});
    EXPECT_EQ(First().mBin, 20.0f);
}

TEST_F(PartialTrackerTest, AMatchIsLessThanABinAway) {
    Frame({PeakAt(20, 100)});
    Frame({PeakAt(21, 100)});
    EXPECT_EQ(Bins(), (Places{20, 21})); // missed, and born
    EXPECT_EQ(First().mMissedFrames, 1);
    Frame({PeakAt(19.0625f, 100)});
    EXPECT_EQ(First().mBin, 19.0625f);
    EXPECT_EQ(First().mMissedFrames, 0);
}

TEST_F(PartialTrackerTest, OlderTracksChooseFirst) {
    Frame({PeakAt(20, 100), PeakAt(21.5f, 100)});
    Frame({PeakAt(20.875f, 100)}); // nearer to the second
    EXPECT_EQ(Bins(), (Places{20.875f, 21.5f}));
    EXPECT_EQ(mTracker.Partials().At(1).mMissedFrames, 1);
}

TEST_F(PartialTrackerTest, ATrackWhoseNearestPeakIsTakenTakesTheNextOne) {
    Frame({PeakAt(20, 100), PeakAt(21, 100)});
    Frame({PeakAt(20.5f, 100), PeakAt(21.75f, 100)});
    EXPECT_EQ(Bins(), (Places{20.5f, 21.75f}));
}

TEST_F(PartialTrackerTest, WithoutAnyFreePeakATrackIsNotContinued) {
    Frame({PeakAt(20, 100)});
    Frame({});
    EXPECT_EQ(Bins(), Places{20});
    EXPECT_EQ(First().mMissedFrames, 1);
}

TEST_F(PartialTrackerTest, ATrackLivesThroughFourFramesWithoutAMatch) {
    Frame({PeakAt(20, 100)});
    for (SInt32 missed = 1; missed <= 4; ++missed) {
        Frame({});
        ASSERT_EQ(Bins(), Places{20});
        EXPECT_EQ(First().mMissedFrames, missed);
    }
    Frame({});
    EXPECT_TRUE(Bins().empty());
}

TEST_F(PartialTrackerTest, AFifthOfTheLastMagnitudeMustRemainInTheBinOfTheTrack) {
    Frame({PeakAt(20.75f, 100)});
    mMagnitudes[20] = 20.0f; // 0.2f * 100 is 20, which is not above
    Frame({});
    EXPECT_EQ(Bins(), Places{20.75f});
    mMagnitudes[20] = 19.99f;
    Frame({});
    EXPECT_TRUE(Bins().empty());
}

TEST_F(PartialTrackerTest, ARiseAboveTheLimitEndsATrackAndLeavesThePeakToANewOne) {
    Frame({PeakAt(20, 100), PeakAt(30, 100)});
    Frame({PeakAt(20, 272), PeakAt(30, 271)}); // a factor e is 271.8
    EXPECT_EQ(Bins(), (Places{30, 20}));
    EXPECT_EQ(mTracker.Partials().At(1).mGainLimit, 20.0f);
    EXPECT_EQ(mTracker.Partials().At(1).mMagnitude, 272.0f);
}

TEST_F(PartialTrackerTest, ATrackThatRoseTooFarMayLeaveItsPeakToAYoungerTrack) {
    Frame({PeakAt(20, 100), PeakAt(20.875f, 900)});
    Frame({PeakAt(20.25f, 900)});
    EXPECT_EQ(Bins(), Places{20.25f});
    EXPECT_EQ(First().mMissedFrames, 0);
}

TEST_F(PartialTrackerTest, TheLimitFollowsTheLogarithmBelowThePeak) {
    Frame({PeakAt(20, 100)});
    Peak peak = PeakAt(20, 100);
    peak.mLogMagnitude = 4.0f;
    Frame({peak});
    // 4 - 0.0487706 * 2.5, a rise of 0 notwithstanding.
    EXPECT_NEAR(First().mGainLimit, 3.878074, 1e-6);
    // A new peak within it, and one beyond: 20 ln 1.2 is 3.65, 20 ln 1.3 is 5.25.
    Frame({PeakAt(20, 120)});
    EXPECT_EQ(First().mMagnitude, 120.0f);
    Frame({PeakAt(20, 160)}); // 20 ln (4 / 3) is 5.75; the limit is the larger of 5.47 and 4.63
    EXPECT_EQ(First().mGainLimit, 20.0f);
}

TEST_F(PartialTrackerTest, ARiseRaisesTheLimitToOneAndAHalfTimesItself) {
    Frame({PeakAt(20, 100)});
    Frame({PeakAt(20, 200)});
    EXPECT_NEAR(First().mGainLimit, 30 * std::log(2.0), 1e-5); // above 5.12
}

TEST_F(PartialTrackerTest, AQuietTrackMayStayOrFallButNotRise) {
    mMagnitudes = WithRoom(0.1f);
    Frame({PeakAt(20, 0.1f)}, -9.0f);
    Frame({PeakAt(20, 0.1f)}, -9.0f);
    EXPECT_EQ(First().mGainLimit, 0.0f); // 1.5 times a rise of 0 is above the negative logarithm
    Frame({PeakAt(20, 0.1001f)}, -9.0f);
    EXPECT_EQ(First().mGainLimit, 20.0f); // ended, and begun anew
    Frame({PeakAt(20, 0.09f)}, -9.0f);    // the logarithm is -2.408
    EXPECT_NEAR(First().mGainLimit, -2.408 + 0.0487706 * 3.908, 1e-3);
    Frame({PeakAt(20, 0.09f)}, -9.0f); // not to fall is above the limit now
    EXPECT_EQ(First().mGainLimit, 20.0f);
}

TEST_F(PartialTrackerTest, TheDeadLeaveTheOrderOfTheOthers) {
    Frame({PeakAt(10, 100), PeakAt(20, 100), PeakAt(30, 100), PeakAt(40, 100)});
    mMagnitudes[10] = mMagnitudes[30] = 1.0f;
    Frame({PeakAt(5, 100), PeakAt(20, 100)});
    EXPECT_EQ(Bins(), (Places{20, 40, 5}));
}

TEST_F(PartialTrackerTest, MagnitudesThatAreInfiniteOrNoNumbersDoNoHarm) {
    const float infinity = std::numeric_limits<float>::infinity();
    Frame({PeakAt(20, infinity), PeakAt(63.5f, infinity), PeakAt(63.75f, 1.0f)});
    Frame({PeakAt(20, infinity), PeakAt(63.5f, 1.0f)}); // inf / inf is no number, and no rise
    EXPECT_EQ(Bins(), (Places{20, 63.5f, 63.75f}));
    Frame({PeakAt(20, 0.0f)}, infinity);
    EXPECT_EQ(Bins(), (Places{20, 63.5f, 63.75f}));
}

TEST(PartialTrackerBinTest, BinsStayWithinTheSpectrum) {
    const Places places{2.99f, -1.0f, 8.0f, std::numeric_limits<float>::infinity(),
                        std::numeric_limits<float>::quiet_NaN()};
    TrackList tracks(places.size(), Tones::kLeft);
    std::copy(places.begin(), places.end(), tracks.mBins.begin());
    tracks.mCount = places.size();
    qel::testing::ForEachInstructionSet([&] {
        std::vector<SInt32> bins(places.size() + kVectorRoom);
        FindBins(tracks, 8, bins.data());
        bins.resize(places.size());
        EXPECT_EQ(bins, (std::vector<SInt32>{2, 0, 7, 7, 0}));
    });
}

// The plain rule, with a search over all peaks.
std::vector<ActivePartial> PlainFrame(const std::vector<ActivePartial>& partials,
                                      std::vector<Peak> peaks,
                                      const std::vector<float>& magnitudes) {
    std::vector<ActivePartial> living;
    for (ActivePartial partial : partials) {
        float least = 1000000.0f;
        Peak* nearest = nullptr;
        for (Peak& peak : peaks) {
            const float distance = std::fabs(peak.mBin - partial.mBin);
            if (!peak.mMatched && distance < least) {
                least = distance;
                nearest = &peak;
            }
        }
        const float gain =
            nearest != nullptr ? 20.0f * std::log(nearest->mMagnitude / partial.mMagnitude) : 0.0f;
        bool lives = true;
        if (nearest != nullptr && least < 1.0f && gain <= partial.mGainLimit) {
            const float log = nearest->mLogMagnitude;
            const float limit = log - (1.0f - std::exp(-0.05f)) * (log - 1.5f);
            nearest->mMatched = true;
            partial = {nearest->mBin,       nearest->mFrequency, std::fmax(limit, 1.5f * gain),
                       nearest->mMagnitude, nearest->mPhase,     0};
            living.push_back(partial);
            continue;
        }
        const float heard = magnitudes[static_cast<std::size_t>(std::floor(partial.mBin))];
        if (nearest != nullptr && least < 1.0f) {
            lives = false;
        }
        if (partial.mMissedFrames > 3 || 0.2f * partial.mMagnitude > heard) {
            lives = false;
        }
        partial.mMissedFrames += 1;
        if (lives) {
            living.push_back(partial);
        }
    }
    for (const Peak& peak : peaks) {
        if (!peak.mMatched) {
            living.push_back({peak.mBin, peak.mFrequency, 20.0f, peak.mMagnitude, peak.mPhase, 0});
        }
    }
    return living;
}

// Places in quarters of a bin, so that there are ties; half of the frames have half of the peaks,
// so that tracks pile up on each other.
TEST_F(PartialTrackerTest, TheQuickSearchFindsWhatASearchOverAllPeaksFinds) {
    std::mt19937 random(5);
    std::vector<ActivePartial> plain;
    std::size_t most = 0;
    for (int frame = 0; frame < 2000; ++frame) {
        std::vector<Peak> peaks;
        for (std::size_t k = 1; k + 1 < kBins; k += 2 + random() % 2) {
            const float place = static_cast<float>(k) + 0.25f * static_cast<float>(random() % 5);
            if (frame % 2 == 0 || random() % 2 == 0) {
                peaks.push_back(PeakAt(place - 0.5f, 50.0f + static_cast<float>(random() % 64)));
            }
        }
        for (std::size_t bin = 0; bin < kBins; ++bin) {
            mMagnitudes[bin] = 5.0f + static_cast<float>(random() % 64);
        }
        plain = PlainFrame(plain, peaks, mMagnitudes);
        Frame(peaks);
        ASSERT_EQ(mTracker.Partials().mCount, plain.size());
        most = std::max(most, plain.size());
        for (std::size_t i = 0; i < plain.size(); ++i) {
            EXPECT_EQ(mTracker.Partials().At(i).mBin, plain[i].mBin);
            EXPECT_EQ(mTracker.Partials().At(i).mMagnitude, plain[i].mMagnitude);
            // Logarithms are not the same to the last bit.
            EXPECT_FLOAT_EQ(mTracker.Partials().At(i).mGainLimit, plain[i].mGainLimit);
            EXPECT_EQ(mTracker.Partials().At(i).mMissedFrames, plain[i].mMissedFrames);
        }
    }
    EXPECT_GT(most, MostPeaks(kBins)); // tracks outlived their peaks
    EXPECT_LE(most, PartialTracker::MostPartials(kBins));
}

// The places of the tracks of many frames, of which about half have a peak in a place.
Places PlacesOfRandomTracks() {
    std::mt19937 random(7);
    PartialTracker tracker(kBins);
    std::vector<float> magnitudes(kBins + kVectorRoom);
    Places places;
    for (int frame = 0; frame < 300; ++frame) {
        tracker.Peaks().Clear();
        for (std::size_t k = 1; k + 1 < kBins; k += 2 + random() % 3) {
            const float place = static_cast<float>(k) + 0.25f * static_cast<float>(random() % 4);
            const float magnitude = 50.0f + static_cast<float>(random() % 64);
            if (random() % 2 == 0) {
                tracker.Peaks().Add(PeakAt(place, magnitude));
            }
        }
        for (float& magnitude : magnitudes) {
            magnitude = 5.0f + static_cast<float>(random() % 64);
        }
        tracker.Track(magnitudes.data(), -1.0f);
        const TrackList& partials = tracker.Partials();
        places.insert(places.end(), partials.mBins.data(), partials.mBins.data() + partials.mCount);
    }
    return places;
}

TEST(PartialTrackerSetsTest, EveryInstructionSetTracksAlike) {
    Places expected;
    qel::testing::ForEachInstructionSet([&] {
        const Places places = PlacesOfRandomTracks();
        if (expected.empty()) {
            expected = places;
        }
        EXPECT_EQ(places, expected);
    });
    EXPECT_GT(expected.size(), 300u);
}

// A frame size that is no power of two as well, as quotients by those are products.
TEST(PartialTrackerTonesTest, WithoutTonesFrequenciesAreThoseOfThePlaces) {
    PartialTracker tracker(kBins);
    for (UInt32 i = 0; i < 11; ++i) {
        tracker.Peaks().Add(PeakAt(5.3f * static_cast<float>(i) + 0.1f, 100.0f));
    }
    const std::vector<float> magnitudes(kBins + kVectorRoom, 100.0f);
    tracker.Track(magnitudes.data(), 0.0f);
    const TrackList& partials = tracker.Partials();
    ASSERT_EQ(partials.mCount, 11u);
    for (const BinScale scale : {BinScale{44100.0, 1024}, BinScale{48000.0, 1000}}) {
        std::vector<float> frequencies(partials.mCount + kVectorRoom);
        FindFrequencies(partials, scale, frequencies.data());
        for (std::size_t i = 0; i < partials.mCount; ++i) {
            const double place = static_cast<double>(partials.mBins[i]);
            const auto hertz = static_cast<float>(place * scale.mSampleRate / scale.mFrameSize);
            EXPECT_EQ(frequencies[i], hertz);
            EXPECT_EQ(FrequencyOf(partials.mBins[i], scale), hertz);
        }
    }
    EXPECT_EQ(partials.At(0).mFrequency, 0.0f);
    EXPECT_EQ(partials.At(0).mPhase, 0.0f);
}

// Five combs of peaks, each a little more than a bin from the others, so that no track is continued
// and all live on.
TEST(PartialTrackerManyTest, MoreTracksThanBinsFitTheRoomThatIsMade) {
    PartialTracker tracker(512);
    const std::vector<float> magnitudes(512 + kVectorRoom, 100.0f);
    const float* const room = tracker.Partials().mBins.data();
    for (int frame = 0; frame < 5; ++frame) {
        tracker.Peaks().Clear();
        for (UInt32 i = 0; i < MostPeaks(512) / 3; ++i) {
            tracker.Peaks().Add(
                PeakAt(6.0f * static_cast<float>(i) + 1.0f * static_cast<float>(frame), 100.0f));
        }
        tracker.Track(magnitudes.data(), 0.0f);
    }
    EXPECT_EQ(tracker.Partials().mCount, 5u * (MostPeaks(512) / 3));
    EXPECT_EQ(tracker.Partials().mBins.data(), room);
}

} // namespace
} // namespace qel::core
