#include "refinement/AAReassignedScatter.h"

#include <algorithm>
#include <cstddef>

namespace qel::core {

AAReassignedScatter::AAReassignedScatter(UInt32 channels, UInt32 bins, UInt64 mostFrames)
    : mMatrix(channels, bins), mMostFrames(mostFrames) {
    mHeld.reserve(channels);
    for (UInt32 c = 0; c < channels; ++c) {
        mHeld.push_back({std::vector<float>(std::size_t{2} * bins), AAReassignedPlaces(bins),
                         AAReassignedAhead(bins)});
    }
}

void AAReassignedScatter::Add(const AAReassignedValues& values) {
    if (mFrames == mMatrix.Room()) {
        mMatrix.MakeRoom(std::min(std::max(2 * mFrames, UInt64{1}), mMostFrames));
    }
    if (mFrames > 0) {
        ScatterHeld();
    }
    for (std::size_t c = 0; c < mHeld.size(); ++c) {
        Held& held = mHeld[c];
        std::copy_n(static_cast<const float*>(values.spectra.mBuffers[c].mData),
                    held.spectrum.size(), held.spectrum.begin());
        held.places.Find(static_cast<const float*>(values.frequencies.mBuffers[c].mData),
                         static_cast<const float*>(values.times.mBuffers[c].mData));
    }
    ++mFrames;
}

// Row by row in the order of the frames: what earlier frames sent to the held one's row comes
// before all that it sends there itself.
void AAReassignedScatter::ScatterHeld() {
    const auto row = static_cast<UInt32>(mFrames);
    mMatrix.AddEmptyRow();
    for (UInt32 c = 0; c < mHeld.size(); ++c) {
        Held& held = mHeld[c];
        held.ahead.AddRow(row, c, mMatrix);
        const float* const spectrum = held.spectrum.data();
        for (UInt32 k = 0; k < held.places.Bins(); ++k) {
            const auto toRow = static_cast<UInt32>(held.places.Row(k));
            const auto toColumn = static_cast<UInt32>(held.places.Column(k));
            if (toRow > row) {
                held.ahead.Keep(toRow, toColumn, spectrum[2 * k], spectrum[2 * k + 1]);
            } else {
                mMatrix.Add(c, toRow, toColumn, spectrum[2 * k], spectrum[2 * k + 1]);
            }
        }
    }
}

AAReassignedMatrix& AAReassignedScatter::Finish() {
    mMatrix.AddEmptyRow();
    for (UInt32 c = 0; c < mHeld.size(); ++c) {
        mHeld[c].ahead.AddAllToRow(static_cast<UInt32>(mFrames), c, mMatrix);
        mMatrix.AddFrame(c, mHeld[c].places, mHeld[c].spectrum.data());
    }
    return mMatrix;
}

} // namespace qel::core
