#include "tests/fuzz/StreamComparison.h"

#include "tests/fuzz/Require.h"

#include <QelAudioAnalysis.h>
#include <QelAudioAnalysis/Keys.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string_view>
#include <vector>

namespace qel::fuzz {
namespace {

// Everything that was delivered, boiled down to one number per key.
class Digests {
public:
    explicit Digests(UInt32 channels) : mChannels(channels) {}

    static void Receive(QelAudioAnalysisRef, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon) {
        static_cast<Digests*>(refCon)->Add(key, count, blocks);
    }

    void Clear() { mOfKeys = {}; }

    bool operator==(const Digests& other) const { return mOfKeys == other.mOfKeys; }

private:
    void Add(CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
        std::array<char, 64> text{};
        CFStringGetCString(key, text.data(), static_cast<CFIndex>(text.size()),
                           kCFStringEncodingASCII);
        const auto* const info =
            std::ranges::find(kKeys, std::string_view(text.data()), &KeyInfo::key);
        // The first is taken over the samples of a push, and the second does without some.
        if (info->delivery == Delivery::PerPush || info->payload == PayloadKind::Range) {
            return;
        }
        // One bank of filters goes from channel to channel within a push, as meant, so that the cut
        // of more than one channel matters.
        if (info->key == "onset data" && mChannels > 1) {
            return;
        }
        mDigest = &mOfKeys[static_cast<std::size_t>(info - std::begin(kKeys))];
        Mix(count);
        for (UInt32 i = 0; i < count; ++i) {
            AddBlock(*info, count, blocks[i]);
        }
    }

    void AddBlock(const KeyInfo& info, UInt32 count, const QelAudioAnalysisBlock& block) {
        switch (info.payload) {
        case PayloadKind::Name: {
            std::array<char, 64> name{};
            CFStringGetCString(static_cast<CFStringRef>(block.mData), name.data(),
                               static_cast<CFIndex>(name.size()), kCFStringEncodingASCII);
            CFRelease(block.mData);
            std::ranges::for_each(name, [&](char c) { Mix(static_cast<unsigned char>(c)); });
            return;
        }
        case PayloadKind::Events: {
            const auto& list = *static_cast<const QelAudioAnalysisEventList*>(block.mData);
            Mix(list.mCount);
            for (UInt32 i = 0; i < list.mCount; ++i) {
                Mix(list.mEvents[i].mTime);
                Mix(list.mEvents[i].mStrength);
            }
            return;
        }
        case PayloadKind::Partials: {
            const auto& list = *static_cast<const PartialList*>(block.mData);
            Mix(list.mCount);
            for (UInt32 i = 0; i < list.mCount; ++i) {
                const PartialRecord& partial = list.mPartials[i];
                Mix(static_cast<std::uint32_t>(partial.mIndex));
                Mix(partial.mFrequency);
                Mix(partial.mMagnitude);
                Mix(partial.mPhase);
                Mix(partial.mTime);
            }
            return;
        }
        case PayloadKind::Count:
            return Mix(*static_cast<const UInt32*>(block.mData));
        default:
            AddFloats(info, count, block);
        }
    }

    // A block of frames at the end tells the size of one and has all of its channel.
    void AddFloats(const KeyInfo& info, UInt32 count, const QelAudioAnalysisBlock& block) {
        std::size_t floats = block.mDataByteSize / sizeof(float);
        if (info.delivery == Delivery::FramesAtEnd) {
            floats *= count / mChannels;
        }
        for (std::size_t i = 0; i < floats; ++i) {
            Mix(static_cast<const float*>(block.mData)[i]);
        }
    }

    // By their bits, as the environment may take denormals for 0. All that is no number is one.
    void Mix(double value) {
        Mix(std::isnan(value) ? std::uint64_t{1} : std::bit_cast<std::uint64_t>(value));
    }
    void Mix(float value) {
        Mix(std::isnan(value) ? std::uint32_t{1} : std::bit_cast<std::uint32_t>(value));
    }
    void Mix(std::uint64_t value) { *mDigest = (*mDigest ^ value) * 0x9E3779B97F4A7C15u + 1; }
    void Mix(std::uint32_t value) { Mix(std::uint64_t{value}); }
    void Mix(unsigned char value) { Mix(std::uint64_t{value}); }

    std::array<std::uint64_t, std::size(kKeys)> mOfKeys{};
    std::uint64_t* mDigest = nullptr;
    UInt32 mChannels;
};

// An analyzer that digests.
class DigestingAnalyzer {
public:
    DigestingAnalyzer(const KeyList& keys, const Setup& setup)
        : mDigests(setup.format.mChannelsPerFrame) {
        QelAudioAnalysisNew(keys.Array(), &Digests::Receive, &mDigests, &mHandle);
    }
    DigestingAnalyzer(const DigestingAnalyzer&) = delete;
    DigestingAnalyzer& operator=(const DigestingAnalyzer&) = delete;
    ~DigestingAnalyzer() { QelAudioAnalysisDispose(mHandle); }

    void Initialize(const Setup& setup) {
        Require(QelAudioAnalysisInitialize(mHandle, setup.maxFrames, &setup.format, nullptr,
                                           setup.streamLength) == 0,
                "a canonical format is taken");
        mDigests.Clear();
    }

    void SetParameter(CFStringRef name, float value) {
        QelAudioAnalysisSetParameter(mHandle, name, value);
    }

    void Reset() {
        QelAudioAnalysisReset(mHandle);
        mDigests.Clear();
    }

    // `skipped` moves the samples away from where a vector would begin.
    void Push(const std::vector<std::vector<float>>& audio, std::size_t first, UInt32 frames,
              UInt32 skipped) {
        const auto channels = static_cast<UInt32>(audio.size());
        PushList list(channels, frames + skipped);
        for (UInt32 c = 0; c < channels; ++c) {
            float* const samples = list.Samples(c) + skipped;
            std::copy_n(audio[c].begin() + static_cast<std::ptrdiff_t>(first), frames, samples);
            list.Get()->mBuffers[c] = {1, static_cast<UInt32>(frames * sizeof(float)), samples};
        }
        QelAudioAnalysisPushAudio(mHandle, frames, list.Get());
    }

    SInt32 Process() { return QelAudioAnalysisProcess(mHandle, 1, nullptr, nullptr); }

    const Digests& Delivered() const { return mDigests; }

private:
    Digests mDigests;
    QelAudioAnalysisRef mHandle = nullptr;
};

class Comparison {
public:
    Comparison(ByteProgram& program, const KeyList& keys, const Setup& setup, Signal signal,
               UInt32 frames)
        : mProgram(program), mKeys(keys), mSetup(setup),
          mAudio(setup.format.mChannelsPerFrame, std::vector<float>(frames)) {
        for (UInt32 c = 0; c < setup.format.mChannelsPerFrame; ++c) {
            signal.Fill(mAudio[c].data(), frames, c, setup.format.mSampleRate);
        }
    }

    void Run(const ClientEnvironment& environment) {
        constexpr CFStringRef kNone = nullptr;
        const CFStringRef names[] = {kNone, kNone, kQelAnalysisParameter_Complexity,
                                     kQelAnalysisParameter_OnsetSensitivity,
                                     kQelAnalysisParameter_GenreHint};
        mName = mProgram.OneOf(names);
        mValue = static_cast<float>(mProgram.Below(3));
        DigestingAnalyzer plain(mKeys, mSetup);
        plain.Initialize(mSetup);
        Ready(plain);
        const std::size_t frames = FramesOf(mAudio);
        for (std::size_t at = 0; at < frames; at += mSetup.maxFrames) {
            const std::size_t rest = frames - at;
            plain.Push(mAudio, at,
                       static_cast<UInt32>(std::min<std::size_t>(rest, mSetup.maxFrames)), 0);
        }
        const SInt32 status = plain.Process();

        const EnvironmentScope scope(environment);
        DigestingAnalyzer other(mKeys, mSetup);
        Prepare(other);
        PushInCuts(other);
        Require(other.Process() == status, "a cut stream ends with the same status");
        Require(other.Delivered() == plain.Delivered(),
                "deliveries depend on samples, setup and parameters alone");
    }

private:
    static std::size_t FramesOf(const std::vector<std::vector<float>>& audio) {
        return audio.empty() ? 0 : audio.front().size();
    }

    void Ready(DigestingAnalyzer& analyzer) {
        if (mName != nullptr) {
            analyzer.SetParameter(mName, mValue);
            analyzer.Reset();
        }
    }

    void Prepare(DigestingAnalyzer& analyzer) {
        Setup setup = mSetup;
        if (!mKeys.KeepsDeclaredLength()) {
            setup.streamLength = mProgram.Word();
        }
        if (mProgram.Seldom(4)) {
            Setup before = setup;
            before.maxFrames = 512;
            analyzer.Initialize(before);
            analyzer.Push(mAudio, 0, FirstFrames(512), 0);
        }
        analyzer.Initialize(setup);
        Ready(analyzer);
        if (mProgram.Coin()) {
            analyzer.Push(mAudio, 0, FirstFrames(mSetup.maxFrames), 1);
            if (mProgram.Coin()) {
                analyzer.Process();
            }
            analyzer.Reset();
        }
    }

    UInt32 FirstFrames(UInt32 most) const {
        return static_cast<UInt32>(std::min<std::size_t>(most, FramesOf(mAudio)));
    }

    void PushInCuts(DigestingAnalyzer& analyzer) {
        const std::size_t frames = FramesOf(mAudio);
        for (std::size_t at = 0; at < frames;) {
            const UInt32 most = mProgram.Coin() ? 1500 : 20;
            const UInt32 next = mProgram.AtEnd() ? 700 : mProgram.Below(most);
            const auto cut = static_cast<UInt32>(
                std::min({std::size_t{next}, std::size_t{mSetup.maxFrames}, frames - at}));
            analyzer.Push(mAudio, at, cut, mProgram.Below(4));
            at += cut;
        }
    }

    ByteProgram& mProgram;
    const KeyList& mKeys;
    const Setup& mSetup;
    std::vector<std::vector<float>> mAudio;
    CFStringRef mName = nullptr;
    float mValue = 0.0f;
};

} // namespace

void CompareStreams(ByteProgram& program, const KeyList& keys, const Setup& setup, Signal signal,
                    const ClientEnvironment& environment, UInt32 mostFrames) {
    if (!setup.IsCanonical() || setup.maxFrames == 0 ||
        setup.format.mBytesPerFrame != sizeof(float)) {
        return;
    }
    const UInt32 frames = std::min<UInt32>(program.Word(), mostFrames);
    try {
        Comparison(program, keys, setup, signal, frames).Run(environment);
    } catch (const std::bad_alloc&) {
        Require(setup.MayNeedMuchMemory(), "memory runs out for a reason");
    }
}

} // namespace qel::fuzz
