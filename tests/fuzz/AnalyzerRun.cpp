#include "tests/fuzz/AnalyzerRun.h"

#include "tests/fuzz/StreamComparison.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

namespace qel::fuzz {
namespace {

constexpr double kHeldRatesHz[] = {44100.0, 8000.0, 48000.0, 22050.0, 16000.0, 96000.0, 192000.0};

// Whether a rate is one of those whose kernels are held until the process ends: by an analyzer of
// its own, made when they are first asked for.
bool HoldsKernels(double rateHz) {
    static QelAudioAnalysisRef holders[std::size(kHeldRatesHz)];
    const auto* const held = std::ranges::find(kHeldRatesHz, rateHz);
    if (held == std::end(kHeldRatesHz)) {
        return false;
    }
    QelAudioAnalysisRef& holder = holders[held - std::begin(kHeldRatesHz)];
    if (holder == nullptr) {
        const void* key = kQelAnalysisKey_ConstantQSpectrum;
        const CFOwner keys(CFArrayCreate(kCFAllocatorDefault, &key, 1, nullptr));
        QelAudioAnalysisNew(static_cast<CFArrayRef>(keys.get()), nullptr, nullptr, &holder);
        Setup plain;
        plain.SetFormat(rateHz, 1);
        QelAudioAnalysisInitialize(holder, 1, &plain.format, nullptr, 0);
    }
    return true;
}

} // namespace

AnalyzerRun::AnalyzerRun(ByteProgram& program)
    : mProgram(program), mEnvironment(ClientEnvironment::Any(program)), mSignal(program) {
    New();
    Initialize();
}

void AnalyzerRun::Run() {
    constexpr int kMostOperations = 40;
    for (int i = 0; i < kMostOperations && !mProgram.AtEnd(); ++i) {
        Operate();
    }
}

void AnalyzerRun::Operate() {
    switch (mProgram.Below(22)) {
    case 0:
        return Initialize();
    case 1:
        return Reset();
    case 2:
        return PushRefused();
    case 3:
        return Process(0);
    case 4:
    case 5:
        return Process(1);
    case 6:
    case 7:
        return UseParameter();
    case 8:
        return AskProperty();
    case 9:
        return AskDictionary();
    case 10:
        return UseNullHandle();
    case 11:
        Dispose();
        New();
        return;
    case 12:
        return FailSoon();
    case 20:
    case 21:
        return Compare();
    default:
        return Push();
    }
}

void AnalyzerRun::New() {
    mKeys.emplace(mProgram);
    mCheck.emplace(mProgram, mEnvironment);
    const bool drops = mProgram.Seldom(32);
    Guarded(false, [&] {
        return QelAudioAnalysisNew(mKeys->Array(), drops ? nullptr : &DeliveryCheck::Receive,
                                   &*mCheck, &mHandle);
    });
    mCheck->Facts().handle = mHandle;
    mState = State::Named;
}

void AnalyzerRun::Dispose() {
    Require(Guarded(false, [&] { return QelAudioAnalysisDispose(mHandle); }) == 0,
            "disposal succeeds");
    mHandle = nullptr;
}

void AnalyzerRun::BoundKernels(Setup& setup) {
    constexpr double kCheapHz = 2000.0; // 12 ms under the checkers
    constexpr double kLimitHz = 1.9e6;  // above the highest rate that has kernels
    double& rateHz = setup.format.mSampleRate;
    const bool isDesigned = setup.IsCanonical() && rateHz > kCheapHz && rateHz < kLimitHz;
    if (!mKeys->HasKernels() || !isDesigned || HoldsKernels(rateHz)) {
        return;
    }
    if (mKernelHzLeft > 0.0) {
        mKernelHzLeft -= rateHz;
    } else {
        rateHz = kHeldRatesHz[0];
        HoldsKernels(rateHz);
    }
}

void AnalyzerRun::Initialize() {
    Setup setup = Setup::Any(mProgram);
    BoundKernels(setup);
    const bool isCanonical = setup.IsCanonical();
    StreamFacts& facts = mCheck->Facts();
    const StreamFacts before = facts;
    if (isCanonical) {
        facts.channels = setup.format.mChannelsPerFrame;
        facts.rateHz = setup.format.mSampleRate;
        facts.isPlain = setup.IsOfAudioRate();
    }
    const State state =
        std::exchange(mState, mHandle == nullptr || !isCanonical ? mState : State::Streaming);
    const auto status = Guarded(setup.MayNeedMuchMemory(), [&] {
        return QelAudioAnalysisInitialize(mHandle, setup.maxFrames, &setup.format,
                                          setup.hasLayout ? &setup.layout : nullptr,
                                          setup.streamLength);
    });
    if (status && *status != 0) {
        Require(*status ==
                    (isCanonical ? kAudioAnalysisErr_NullHandle : kAudioAnalysisErr_BadFormat),
                "a refused initialization tells why");
        mState = state;
        facts = before;
        return;
    }
    Require(isCanonical, "only canonical formats are taken");
    mSetup = setup; // also where memory ran out
}

void AnalyzerRun::Reset() {
    const auto status = Guarded(mSetup.MayNeedMuchMemory() || mIsComplex,
                                [&] { return QelAudioAnalysisReset(mHandle); });
    if (mHandle == nullptr || mState == State::Named) {
        Require(status == kAudioAnalysisErr_NotInitialized, "no stream can be reset");
    } else if (status) {
        Require(status == 0, "a reset succeeds");
    }
}

UInt32 AnalyzerRun::SomeFrames() {
    const UInt32 most = std::min<UInt32>(mSetup.maxFrames, 20000);
    switch (mProgram.Below(4)) {
    case 0:
        return mProgram.Below(std::min<UInt32>(most, 1200) + 1);
    case 1:
        return most / 512 * 512;
    case 2:
        return std::min<UInt32>(most, 512);
    default:
        return most;
    }
}

bool AnalyzerRun::Affords(UInt64 frames) {
    const UInt64 work =
        frames * std::max(mSetup.format.mChannelsPerFrame, 1u) * mKeys->WorkPerSample();
    if (work > mWorkLeft) {
        return false;
    }
    mWorkLeft -= work;
    return true;
}

void AnalyzerRun::Push() {
    const UInt32 frames = SomeFrames();
    const UInt32 times = mProgram.Seldom(4) ? 1 + mProgram.Below(64) : 1;
    PushList list(mSetup.format.mChannelsPerFrame, frames);
    mSignal.Choose(mProgram);
    for (UInt32 i = 0; i < times && Affords(frames); ++i) {
        for (UInt32 c = 0; c < mSetup.format.mChannelsPerFrame; ++c) {
            mSignal.Fill(list.Samples(c), frames, c, mSetup.format.mSampleRate);
        }
        mSignal.Advance(frames);
        PushOnce(list, frames);
    }
}

void AnalyzerRun::PushOnce(PushList& list, UInt32 frames) {
    const std::vector<float> before = list.Audio();
    StreamFacts& facts = mCheck->Facts();
    facts.isPlain = facts.isPlain && mSignal.IsPlain();
    facts.isEmptyPush = frames == 0;
    const auto status = Guarded(mSetup.MayNeedMuchMemory(), [&] {
        return QelAudioAnalysisPushAudio(mHandle, frames, list.Get());
    });
    Require(before.empty() ||
                std::memcmp(before.data(), list.Audio().data(), before.size() * sizeof(float)) == 0,
            "samples are not written");
    if (!status) {
        return;
    }
    if (!IsStreaming()) {
        Require(status == kAudioAnalysisErr_NotInitialized, "no stream takes no audio");
    } else if (mState == State::Broken) {
        return; // some groups are there, others are not
    } else if (frames > 0 && mSetup.format.mBytesPerFrame > sizeof(float)) {
        Require(status == kAudioAnalysisErr_BadFormat, "interleaved audio is not taken");
    } else {
        Require(status == StatusOfTakenPush(frames), "a push answers as its last group does");
    }
}

SInt32 AnalyzerRun::StatusOfTakenPush(UInt32 frames) const {
    constexpr int kSoundCheck = 12;
    constexpr int kAudioRange = 13;
    switch (mKeys->HighestSlot()) {
    case kSoundCheck:
        return -50;
    case kAudioRange:
        return frames != 0 && frames % 512 == 0 ? 0 : -1;
    default:
        return 0;
    }
}

void AnalyzerRun::PushRefused() {
    const UInt32 channels = mSetup.format.mChannelsPerFrame;
    const bool isLong = mProgram.Seldom(3);
    const UInt32 frames =
        isLong ? static_cast<UInt32>(std::min<UInt64>(
                     UInt64{mSetup.maxFrames} + 1 + mProgram.Below(300), 0xFFFFFFFFu))
               : 1 + mProgram.Below(std::min<UInt32>(mSetup.maxFrames, 1000));
    const UInt32 buffers = mProgram.Seldom(3) ? mProgram.Below(66) : channels;
    PushList list(buffers, std::min<UInt32>(frames, 2000));
    const bool lacksList = mProgram.Seldom(8);
    bool isBad = lacksList || buffers != channels;
    for (UInt32 i = 0; i < buffers; ++i) {
        AudioBuffer& buffer = list.Get()->mBuffers[i];
        if (mProgram.Seldom(4)) {
            buffer.mData = nullptr;
        } else if (mProgram.Seldom(4)) {
            buffer.mDataByteSize = mProgram.Below(buffer.mDataByteSize + 1);
        }
        isBad =
            isBad || (buffer.mData == nullptr
                          ? mKeys->IsAnythingBuilt()
                          : buffer.mDataByteSize < UInt64{mSetup.format.mBytesPerFrame} * frames);
    }
    mCheck->Facts().isEmptyPush = false;
    if (frames <= mSetup.maxFrames && !isBad) {
        return;
    }
    const auto status = Guarded(false, [&] {
        return QelAudioAnalysisPushAudio(mHandle, frames, lacksList ? nullptr : list.Get());
    });
    if (!IsStreaming()) {
        Require(status == kAudioAnalysisErr_NotInitialized, "no stream refuses no audio");
    } else if (mState == State::Streaming) {
        Require(status == (frames > mSetup.maxFrames ? kAudioAnalysisErr_TooManyFrames
                                                     : kAudioAnalysisErr_BadFormat),
                "a push that does not fit is refused");
    }
}

int AnalyzerRun::Progress(void* unused, float percent, void* refCon) {
    auto* const run = static_cast<AnalyzerRun*>(refCon);
    const CallbackScope scope(run->mEnvironment);
    Require(unused == nullptr, "progress comes with a null pointer");
    Require(percent >= 0.0f && percent <= 100.0f, "progress is a percentage");
    return run->mReportsLeft-- == 0 ? 1 : 0;
}

void AnalyzerRun::Process(UInt8 flush) {
    if (!Affords(mSetup.maxFrames)) { // of silence
        return;
    }
    const bool tells = mProgram.Coin();
    mReportsLeft = mProgram.Seldom(3) ? static_cast<int>(mProgram.Below(40)) : -1;
    mCheck->Facts().isEmptyPush = false;
    const auto status = Guarded(mSetup.MayNeedMuchMemory(), [&] {
        return QelAudioAnalysisProcess(mHandle, flush, tells ? &Progress : nullptr, this);
    });
    if (!status) {
        return;
    }
    constexpr SInt32 kStatuses[] = {0, kAudioAnalysisErr_NotEnoughData, -1, -3, -128, -50};
    if (!IsStreaming()) {
        Require(status == kAudioAnalysisErr_NotInitialized, "no stream has no results");
    } else {
        Require(std::ranges::find(kStatuses, *status) != std::end(kStatuses),
                "a process answers what it may");
    }
}

void AnalyzerRun::Compare() {
    Setup setup = Setup::Any(mProgram);
    BoundKernels(setup);
    mSignal.Choose(mProgram);
    constexpr UInt32 kMostFrames = 40000;
    if (Affords(UInt64{kMostFrames} * std::max(setup.format.mChannelsPerFrame, 1u))) {
        CompareStreams(mProgram, *mKeys, setup, mSignal, mEnvironment, kMostFrames);
    }
}

} // namespace qel::fuzz
