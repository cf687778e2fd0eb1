#include "refinement/AAReassignedReplay.h"

#include <algorithm>

namespace qel::core {

namespace {

constexpr UInt32 kFloatBytes = sizeof(float);

} // namespace

AAReassignedReplay::AAReassignedReplay(UInt32 channels, UInt64 gone, UInt64 left, UInt32 bins,
                                       AAReassignedMatrix& matrix)
    : mChannels(channels), mPlaces(std::min(AAReassignedFrames::PlacesFor(gone, bins * kFloatBytes),
                                            std::max(left, UInt64{1}))),
      mSpectra(channels, 2 * bins * kFloatBytes), mFrequencies(channels, bins * kFloatBytes),
      mTimes(channels, bins * kFloatBytes), mSpectrumFrames(mSpectra, mPlaces, gone),
      mFrequencyFrames(mFrequencies, mPlaces, gone), mTimeFrames(mTimes, mPlaces, gone),
      mScattered(bins), mMatrix(matrix) {}

void AAReassignedReplay::Add(const AAReassignedValues& values) {
    const UInt64 place = mAdded % mPlaces;
    mSpectra.Store(values.spectra, 1, place);
    mFrequencies.Store(values.frequencies, 1, place);
    mTimes.Store(values.times, 1, place);
    for (UInt32 c = 0; c < mChannels; ++c) {
        mScattered.Find(mFrequencyFrames.Frame(c, mAdded), mTimeFrames.Frame(c, mAdded));
        mMatrix.AddFrame(c, mScattered, mSpectrumFrames.Frame(c, mAdded));
    }
    ++mAdded;
}

} // namespace qel::core
