#include "rhythm/onsets/OnsetCurveBuilder.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <new>

namespace qel::core {

namespace {

constexpr UInt64 kChunk = CurveChunks::kFrames;
static_assert(kChunk == PendingInputs::kRunSamples && kChunk % kLowPassStepsPerSample == 0);

// A pass takes some 23,000 of them until its bounds meet. More would be more memory; fewer than
// twice as many come anyway while a pass goes on.
constexpr UInt64 kPassSamples = 44 * 1024;
// The inputs of the samples that come until the bounds meet wait as well; then places become free.
constexpr UInt64 kUsualInputs = kPassSamples + 23 * 1024 / kLowPassStepsPerSample + 11 * 1024;

bool AreSame(const OnsetCurveBounds& bounds) {
    return std::bit_cast<std::uint32_t>(bounds.least) ==
           std::bit_cast<std::uint32_t>(bounds.greatest);
}

} // namespace

OnsetCurveBuilder::OnsetCurveBuilder(UInt64 frames)
    : mInputs(kUsualInputs, frames), mEnough(kPassSamples) {
    mChunks.Reserve(frames);
    mChunks.TouchTables();
    while (mChunks.PrepareAhead()) {
    }
    WarmUp();
}

// Works on a chunk of silence, so that the first pass finds the code in the caches.
void OnsetCurveBuilder::WarmUp() {
    const float values[kChunk + 1] = {};
    CurveChunks chunks;
    chunks.Reserve(kChunk);
    chunks.AppendEmpty(1);
    chunks.Put(0, values, kChunk);
}

void OnsetCurveBuilder::Append(const float* sums, UInt32 n) {
    for (UInt32 done = 0; done < n;) {
        const auto count = std::min(n - done, static_cast<UInt32>(kChunk));
        float part[kChunk + 1];
        part[0] = mLastSum;
        std::copy_n(sums + done, count, part + 1);
        mLastSum = part[count];
        const UInt32 isFirst = mFrames == 0 ? 1 : 0; // no sum before it has an input
        FormOnsetInputs(part + isFirst, part, count - isFirst);
        mInputs.Append(part, count - isFirst);
        mFrames += count;
        done += count;
    }
}

void OnsetCurveBuilder::Restart() {
    mInputs.Clear();
    mFrames = 0;
    mLastSum = 0.0f;
}

LowPassRun& OnsetCurveBuilder::Run() {
    if (mRun.left == 0) {
        try {
            EndRun();
        } catch (const std::bad_alloc&) {
            return mRun;
        }
        if (mPass == Pass::kNone) {
            Begin();
        }
        if (mPass != Pass::kNone) {
            BeginRun();
        }
    }
    return mRun;
}

void OnsetCurveBuilder::Begin() {
    const UInt64 inputs = mInputs.End() - mInputs.First();
    if (inputs >= mEnough) {
        mAt = mInputs.End() / kChunk * kChunk;
        mRun.bounds = {};
        mPass = Pass::kBounding;
    }
}

void OnsetCurveBuilder::BeginRun() {
    mCurve[kChunk] = mRun.bounds.least;
    mRun.inputs = mInputs.Run(mAt - kChunk);
    mRun.curve = mCurve;
    mRun.left = kChunk;
}

// Raises std::bad_alloc with all as it was.
void OnsetCurveBuilder::EndRun() {
    if (mPass == Pass::kNone) {
        return;
    }
    const UInt64 first = mAt - kChunk;
    if (mPass == Pass::kBounding) {
        Bound(first);
    } else {
        Follow(first);
    }
    mAt = first;
}

void OnsetCurveBuilder::Bound(UInt64 first) {
    if (first == mInputs.First()) {
        mEnough = 2 * (mInputs.End() - mInputs.First());
        mPass = Pass::kNone;
    } else if (AreSame(mRun.bounds)) {
        mChunks.AppendEmpty(first / kChunk - mChunks.Count());
        mCertainEnd = first;
        mPass = Pass::kFollowing;
    }
}

void OnsetCurveBuilder::Follow(UInt64 first) {
    mChunks.Put(first / kChunk, mCurve, kChunk);
    mInputs.Free(first, mCertainEnd);
    if (first == mInputs.First()) {
        mInputs.Drop(mCertainEnd);
        mEnough = kPassSamples;
        mPass = Pass::kNone;
    }
}

// What is followed becomes certain, as some of its inputs are gone.
void OnsetCurveBuilder::EndPass() {
    while (mPass == Pass::kFollowing) {
        GoOn(mRun, mRun.left);
        EndRun();
        if (mPass == Pass::kFollowing) {
            BeginRun();
        }
    }
}

void OnsetCurveBuilder::Finish(CurveChunks& rest) {
    EndPass();
    const UInt64 certain = mInputs.First();
    rest.AppendEmpty((mFrames - certain + kChunk - 1) / kChunk);
    float next = 0.0f;
    for (UInt64 chunk = rest.Count(); chunk > 0; --chunk) {
        const UInt64 first = certain + (chunk - 1) * kChunk;
        const auto n = static_cast<UInt32>(std::min(kChunk, mFrames - first));
        const bool isLast = chunk == rest.Count();
        const UInt32 made = isLast ? n - 1 : n; // the last value of all is 0
        float curve[kChunk + 1];
        curve[n - 1] = 0.0f;
        curve[n] = next;
        if (made > 0) {
            LowPassRun run{mInputs.Run(first), curve, made, {next, next}};
            GoOn(run, made);
        }
        rest.Put(chunk - 1, curve, n);
        next = curve[0];
    }
}

} // namespace qel::core
