#include "rhythm/onsets/OnsetCurveBuilder.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace qel::core {

namespace {

constexpr UInt64 kChunk = CurveChunks::kFrames;

// A pass takes some 23,000 of them until its bounds meet; more would be more memory.
constexpr UInt64 kPassSamples = 50 * 1024;
// A pass goes on by 3 samples for 1 that comes. The sums of the samples that come meanwhile wait as
// well; faster passes would make single pushes longer.
constexpr UInt64 kWorkPerSample = 3;
constexpr UInt64 kUsualSums = kPassSamples + kPassSamples / kWorkPerSample + 4096;

bool AreSame(const OnsetCurveBounds& bounds) {
    return std::bit_cast<std::uint32_t>(bounds.least) ==
           std::bit_cast<std::uint32_t>(bounds.greatest);
}

} // namespace

OnsetCurveBuilder::OnsetCurveBuilder(UInt64 frames)
    : mSums(kUsualSums, frames), mEnough(kPassSamples) {
    mChunks.Reserve(frames);
    mChunks.TouchTables();
    while (mChunks.PrepareAhead()) {
    }
    WarmUp();
}

// Works on a chunk of silence, so that the first pass finds the code in the caches.
void OnsetCurveBuilder::WarmUp() {
    const float sums[kChunk + 1] = {};
    float curve[kChunk + 1];
    curve[kChunk] = OnsetCurveBoundsBefore(sums, kChunk, {}).least;
    MakeOnsetCurve(sums, curve, kChunk, 0.0f);
    CurveChunks chunks;
    chunks.Reserve(kChunk);
    chunks.AppendEmpty(1);
    chunks.Put(0, curve, kChunk);
}

void OnsetCurveBuilder::Work(UInt32 samples) {
    mCredit += samples * kWorkPerSample;
    while (mCredit >= kChunk && Step()) {
        mCredit -= kChunk;
    }
    if (mPass == Pass::kNone) { // of one chunk at most, so that short pushes begin a pass as well
        mCredit = std::min(mCredit, kChunk);
    }
}

// Returns whether there was something to do.
bool OnsetCurveBuilder::Step() {
    switch (mPass) {
    case Pass::kNone:
        return Begin();
    case Pass::kBounding:
        BoundChunk();
        return true;
    case Pass::kFollowing:
        FollowChunk();
        return true;
    }
    return false;
}

// The last sum has no successor yet, so that its value cannot be made.
bool OnsetCurveBuilder::Begin() {
    if (mSums.End() - mSums.First() <= mEnough) {
        return false;
    }
    mAt = (mSums.End() - 1) / kChunk * kChunk;
    mBounds = {};
    mPass = Pass::kBounding;
    return true;
}

void OnsetCurveBuilder::BoundChunk() {
    float copy[kChunk + 1];
    const float* const sums = mSums.InOnePiece(mAt - kChunk, kChunk + 1, copy);
    mBounds = OnsetCurveBoundsBefore(sums, kChunk, mBounds);
    mAt -= kChunk;
    if (mAt == mSums.First()) {
        EndWithout();
    } else if (AreSame(mBounds)) {
        // A pass that ran out of memory has left empty ones.
        const UInt64 chunks = mAt / kChunk;
        mChunks.AppendEmpty(chunks - std::min(mChunks.Count(), chunks));
        mCertainEnd = mAt;
        mPass = Pass::kFollowing;
    }
}

void OnsetCurveBuilder::EndWithout() {
    mEnough = 2 * (mSums.End() - mSums.First());
    mPass = Pass::kNone;
}

void OnsetCurveBuilder::FollowChunk() {
    float copy[kChunk + 1];
    float curve[kChunk + 1];
    const UInt64 first = mAt - kChunk;
    const float* const sums = mSums.InOnePiece(first, kChunk + 1, copy);
    curve[kChunk] = mBounds.least;
    MakeOnsetCurve(sums, curve, kChunk, mBounds.least);
    mChunks.Put(first / kChunk, curve, kChunk);
    mBounds = {curve[0], curve[0]};
    mAt = first;
    if (mAt == mSums.First()) {
        mSums.Drop(mCertainEnd);
        mEnough = kPassSamples;
        mPass = Pass::kNone;
    }
}

void OnsetCurveBuilder::Finish(CurveChunks& rest) const {
    const UInt64 certain = mSums.First();
    const UInt64 frames = mSums.End();
    rest.AppendEmpty((frames - certain + kChunk - 1) / kChunk);
    float next = 0.0f;
    for (UInt64 chunk = rest.Count(); chunk > 0; --chunk) {
        const UInt64 first = certain + (chunk - 1) * kChunk;
        const auto n = static_cast<UInt32>(std::min(kChunk, frames - first));
        const bool isLast = chunk == rest.Count();
        const UInt32 made = isLast ? n - 1 : n; // the last value of all is 0
        float copy[kChunk + 1];
        float curve[kChunk + 1];
        const float* const sums = mSums.InOnePiece(first, made + 1, copy);
        curve[n - 1] = 0.0f;
        curve[n] = next;
        MakeOnsetCurve(sums, curve, made, next);
        rest.Put(chunk - 1, curve, n);
        next = curve[0];
    }
}

} // namespace qel::core
