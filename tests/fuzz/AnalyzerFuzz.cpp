// The exported functions in any order, with everything that the contract allows or answers.
// README.md tells how the bytes are read.

#include "tests/fuzz/AllocationLimit.h"
#include "tests/fuzz/AnalyzerSetup.h"
#include "tests/fuzz/AnalyzerSignal.h"
#include "tests/fuzz/ByteProgram.h"
#include "tests/fuzz/ClientScope.h"
#include "tests/fuzz/DeliveryCheck.h"
#include "tests/fuzz/Require.h"
#include "tests/fuzz/StreamComparison.h"

#include <QelAudioAnalysis.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <utility>
#include <vector>

namespace qel::fuzz {
namespace {

constexpr int kMostOperations = 40;
constexpr UInt64 kMostWork = 1500000; // in the units of KeyList::WorkPerSample

const CFStringRef kParameters[] = {
    kQelAnalysisParameter_GenreHint,        kQelAnalysisParameter_Complexity,
    kQelAnalysisParameter_MinBPM,           kQelAnalysisParameter_MaxBPM,
    kQelAnalysisParameter_OnsetSensitivity, CFSTR("volume")};

class AnalyzerRun {
public:
    explicit AnalyzerRun(ByteProgram& program)
        : mProgram(program), mEnvironment(ClientEnvironment::Any(program)), mSignal(program) {
        New();
        Initialize();
    }
    AnalyzerRun(const AnalyzerRun&) = delete;
    AnalyzerRun& operator=(const AnalyzerRun&) = delete;
    ~AnalyzerRun() { Dispose(); }

    void Run() {
        for (int i = 0; i < kMostOperations && !mProgram.AtEnd(); ++i) {
            Operate();
        }
    }

private:
    enum class State { Named, Streaming, Broken };

    void Operate() {
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

    // Runs an exported function in the client's environment. Memory that runs out breaks the
    // handle until it is initialized anew; it may do so only where there is a reason.
    template <class Call>
    std::optional<SInt32> Guarded(bool mayRunOut, const Call& call) {
        std::optional<SInt32> status;
        const std::optional<std::uint16_t> failure = std::exchange(mFailure, std::nullopt);
        try {
            const ClientScope scope(mEnvironment);
            if (failure) {
                FailAllocationAfter(*failure);
            }
            status = call();
        } catch (const std::bad_alloc&) {
        }
        const bool failed = EndAllocationFailures();
        Require(status || mayRunOut || failed, "memory runs out for a reason");
        if (!status) {
            mState = mState == State::Named ? State::Named : State::Broken;
            mCheck->Facts().isPlain = false;
        }
        return status;
    }

    void New() {
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

    void Dispose() {
        Require(Guarded(false, [&] { return QelAudioAnalysisDispose(mHandle); }) == 0,
                "disposal succeeds");
        mHandle = nullptr;
    }

    // Kernels take seconds to design, but analyzers of one rate share them. So one analyzer holds
    // some for good, and dear ones are not asked for.
    void AvoidKernels(Setup& setup) const {
        constexpr double kHeldRate = 8000.0;
        double& rate = setup.format.mSampleRate;
        if (!mKeys->HasKernels() || !(rate > 2000.0 && rate < 1e7)) {
            return;
        }
        rate = kHeldRate;
        static const QelAudioAnalysisRef kHolder = [&] {
            const void* key = kQelAnalysisKey_ConstantQSpectrum;
            const CFOwner keys(CFArrayCreate(kCFAllocatorDefault, &key, 1, nullptr));
            QelAudioAnalysisRef holder = nullptr;
            QelAudioAnalysisNew(static_cast<CFArrayRef>(keys.get()), nullptr, nullptr, &holder);
            Setup plain;
            plain.SetFormat(kHeldRate, 1);
            QelAudioAnalysisInitialize(holder, 1, &plain.format, nullptr, 0);
            return holder;
        }();
        (void)kHolder;
    }

    void Initialize() {
        Setup setup = Setup::Any(mProgram);
        AvoidKernels(setup);
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

    void Reset() {
        const auto status = Guarded(mSetup.MayNeedMuchMemory() || mIsComplex,
                                    [&] { return QelAudioAnalysisReset(mHandle); });
        if (mHandle == nullptr || mState == State::Named) {
            Require(status == kAudioAnalysisErr_NotInitialized, "no stream can be reset");
        } else if (status) {
            Require(status == 0, "a reset succeeds");
        }
    }

    bool IsStreaming() const { return mHandle != nullptr && mState != State::Named; }

    UInt32 SomeFrames() {
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

    bool Affords(UInt64 frames) {
        const UInt64 work =
            frames * std::max(mSetup.format.mChannelsPerFrame, 1U) * mKeys->WorkPerSample();
        if (work > mWorkLeft) {
            return false;
        }
        mWorkLeft -= work;
        return true;
    }

    void Push() {
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

    void PushOnce(PushList& list, UInt32 frames) {
        const std::vector<float> before = list.Audio();
        StreamFacts& facts = mCheck->Facts();
        facts.isPlain = facts.isPlain && mSignal.IsPlain();
        facts.isEmptyPush = frames == 0;
        const auto status = Guarded(mSetup.MayNeedMuchMemory(), [&] {
            return QelAudioAnalysisPushAudio(mHandle, frames, list.Get());
        });
        Require(before.empty() || std::memcmp(before.data(), list.Audio().data(),
                                              before.size() * sizeof(float)) == 0,
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

    SInt32 StatusOfTakenPush(UInt32 frames) const {
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

    // Pushes that do not fit, alone or together; the first reason is told.
    void PushRefused() {
        const UInt32 channels = mSetup.format.mChannelsPerFrame;
        const bool isLong = mProgram.Seldom(3);
        const UInt32 frames =
            isLong ? static_cast<UInt32>(std::min<UInt64>(
                         UInt64{mSetup.maxFrames} + 1 + mProgram.Below(300), 0xFFFFFFFFU))
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
            isBad = isBad ||
                    (buffer.mData == nullptr
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

    static int Progress(void* unused, float percent, void* refCon) {
        auto* const run = static_cast<AnalyzerRun*>(refCon);
        const CallbackScope scope(run->mEnvironment);
        Require(unused == nullptr, "progress comes with a null pointer");
        Require(percent >= 0.0F && percent <= 100.0F, "progress is a percentage");
        return run->mReportsLeft-- == 0 ? 1 : 0;
    }

    void Process(UInt8 flush) {
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

    void Compare() {
        Setup setup = Setup::Any(mProgram);
        AvoidKernels(setup);
        mSignal.Choose(mProgram);
        constexpr UInt32 kMostFrames = 40000;
        if (Affords(UInt64{kMostFrames} * std::max(setup.format.mChannelsPerFrame, 1U))) {
            CompareStreams(mProgram, *mKeys, setup, mSignal, mEnvironment, kMostFrames);
        }
    }

    void UseParameter() {
        const CFStringRef name = mProgram.Seldom(16) ? nullptr : mProgram.OneOf(kParameters);
        constexpr float kValues[] = {0.0F, 1.0F, 2.0F, 3.0F, 50.0F, 100.0F, 120.0F, -1.0F};
        const float value = mProgram.Seldom(4) ? mProgram.Float() : mProgram.OneOf(kValues);
        float read = 0.0F;
        const auto set =
            Guarded(false, [&] { return QelAudioAnalysisSetParameter(mHandle, name, value); });
        const auto got =
            Guarded(false, [&] { return QelAudioAnalysisGetParameter(mHandle, name, &read); });
        if (!set || !got) {
            return;
        }
        Require(*set == *got, "a parameter can be read where it can be set");
        Require(*set == 0 || *set == kAudioAnalysisErr_UnknownProperty, "a parameter has an owner");
        mIsComplex = mIsComplex ||
                     (name == kQelAnalysisParameter_Complexity && !(value < 3.0F && value >= 0.0F));
        mCheck->Facts().isPlain = false; // as odd values do what they do
    }

    void AskProperty() {
        const CFOwner listed(QelAudioAnalysisGlobalCopyKeys());
        const auto* const names = static_cast<CFArrayRef>(listed.get());
        Require(CFArrayGetCount(names) == 30, "thirty keys are listed");
        const UInt32 id = mProgram.Seldom(8) ? mProgram.Long() : mProgram.Below(10);
        const UInt32 place = mProgram.Below(36);
        const void* specifier = nullptr;
        if (id == kQelAnalysisProperty_ParameterValueInfo) {
            specifier = kParameters[place % std::size(kParameters)];
        } else if (place < 30) {
            specifier = CFArrayGetValueAtIndex(names, static_cast<CFIndex>(place));
        }
        CFMutableArrayRef parameters = CFArrayCreateMutable(kCFAllocatorDefault, 0, nullptr);
        const CFOwner owner(parameters);
        QelAudioAnalysisKeyMetaData data{};
        void* out = id == kQelAnalysisProperty_ParameterList ? static_cast<void*>(&parameters)
                                                             : static_cast<void*>(&data);
        const bool wantsNothing = mProgram.Seldom(8);
        UInt32 size = 77;
        const auto status = Guarded(false, [&] {
            return QelAudioAnalysisGetProperty(mHandle, id, specifier, 8,
                                               wantsNothing ? nullptr : out, 8,
                                               wantsNothing ? nullptr : &size);
        });
        Require(QelAudioAnalysisSetProperty(mHandle, id, specifier, 8, out, 8) ==
                    kAudioAnalysisErr_UnknownProperty,
                "no property can be set");
        if (mHandle == nullptr || !status) {
            return;
        }
        const bool isValid = id <= kQelAnalysisProperty_ParameterValueInfo;
        Require(isValid || status == kAudioAnalysisErr_UnknownProperty, "ids above 8 are unknown");
        Require(size == (isValid && !wantsNothing ? 8U : 77U), "every valid id tells a size");
    }

    // Of blocks that a client has made: floats, short, or none.
    void AskDictionary() {
        const CFOwner listed(QelAudioAnalysisGlobalCopyKeys());
        const auto place = static_cast<CFIndex>(mProgram.Below(30));
        const auto key = static_cast<CFStringRef>(
            CFArrayGetValueAtIndex(static_cast<CFArrayRef>(listed.get()), place));
        const auto kind = kKeys[place].payload;
        // Blocks that hold pointers may not be made up.
        const bool isOfFloats = kind == PayloadKind::Floats || kind == PayloadKind::Vector ||
                                kind == PayloadKind::ComplexPairs || kind == PayloadKind::Count;
        const UInt32 count = mProgram.Below(9);
        std::vector<std::vector<float>> payloads;
        std::vector<QelAudioAnalysisBlock> blocks;
        for (UInt32 i = 0; i < count; ++i) {
            const UInt32 floats = mProgram.Below(mProgram.Coin() ? 4 : 40);
            const UInt32 spare = mProgram.Below(4);
            payloads.emplace_back(floats + 1, mProgram.Float());
            const bool isThere = isOfFloats && !mProgram.Seldom(4);
            blocks.push_back({isThere ? payloads.back().data() : nullptr,
                              isThere ? static_cast<UInt32>(floats * sizeof(float) + spare) : 0});
        }
        if (kind == PayloadKind::Name && count > 0) {
            return; // a name is no memory
        }
        CFPropertyListRef list = nullptr;
        Guarded(false, [&] {
            list = QelAudioAnalysisCreateCFRepresentation(mHandle, kCFAllocatorDefault, key, count,
                                                          count != 0 ? blocks.data() : nullptr);
            return 0;
        });
        if (list != nullptr) {
            ReadAll(list);
            CFRelease(list);
        }
    }

    void UseNullHandle() {
        const Setup setup = Setup::Any(mProgram);
        UInt32 size = 0;
        float value = 5.0F;
        Require(
            QelAudioAnalysisInitialize(nullptr, setup.maxFrames, &setup.format, nullptr, 0) ==
                (setup.IsCanonical() ? kAudioAnalysisErr_NullHandle : kAudioAnalysisErr_BadFormat),
            "a null handle is not initialized");
        Require(QelAudioAnalysisInitialize(nullptr, 0, nullptr, nullptr, 0) ==
                    kAudioAnalysisErr_BadFormat,
                "a null format is not canonical");
        for (const SInt32 status :
             {QelAudioAnalysisPushAudio(nullptr, 0, nullptr),
              QelAudioAnalysisProcess(nullptr, 1, nullptr, nullptr), QelAudioAnalysisReset(nullptr),
              QelAudioAnalysisGetProperty(nullptr, 1, nullptr, 0, nullptr, 0, &size)}) {
            Require(status == kAudioAnalysisErr_NotInitialized, "a null handle does nothing");
        }
        Require(QelAudioAnalysisGetParameter(nullptr, kParameters[0], &value) == 0 &&
                    QelAudioAnalysisSetParameter(nullptr, kParameters[0], 1.0F) == 0 &&
                    value == 5.0F,
                "a null handle has no parameters");
        Require(QelAudioAnalysisCreateCFRepresentation(nullptr, nullptr, kParameters[0], 0,
                                                       nullptr) == nullptr,
                "a null handle has no dictionaries");
        Require(QelAudioAnalysisDispose(nullptr) == 0, "a null handle can be disposed of");
    }

    // Memory fails once in the next call.
    void FailSoon() { mFailure = mProgram.Coin() ? mProgram.Byte() : mProgram.Word() % 4096; }

    ByteProgram& mProgram;
    ClientEnvironment mEnvironment;
    Signal mSignal;
    std::optional<KeyList> mKeys;
    std::optional<DeliveryCheck> mCheck;
    QelAudioAnalysisRef mHandle = nullptr;
    Setup mSetup;
    State mState = State::Named;
    bool mIsComplex = false;
    int mReportsLeft = -1;
    UInt64 mWorkLeft = kMostWork;
    std::optional<std::uint16_t> mFailure;
};

} // namespace
} // namespace qel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qel::fuzz::ByteProgram program(data, size);
    qel::fuzz::AnalyzerRun(program).Run();
    return 0;
}
