// The part of an analyzer that must not move: the library keeps its address for the callbacks.
#pragma once

#include <QelAudioAnalysis.h>
#include <QelAudioAnalysis/CFOwner.hpp>
#include <QelAudioAnalysis/Error.hpp>
#include <QelAudioAnalysis/KeyAliases.hpp>
#include <QelAudioAnalysis/Keys.hpp>
#include <QelAudioAnalysis/Result.hpp>
#include <QelAudioAnalysis/StreamSetup.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <exception>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qel::detail {

// The names with the key in place of each alias. A key that has two names there comes once.
inline std::vector<std::string> keysNamed(const std::vector<std::string>& names) {
    std::vector<std::string> keys;
    for (const std::string& name : names) {
        const std::string_view key = keyNamed(name);
        const bool isNamedTwice =
            key != name && std::find(names.begin(), names.end(), key) != names.end();
        if (!isNamedTwice &&
            (key == name || std::find(keys.begin(), keys.end(), key) == keys.end())) {
            keys.emplace_back(key);
        }
    }
    return keys;
}

// The keys with their companions, each companion before the key that needs it.
inline std::vector<std::string> withCompanions(const std::vector<std::string>& keys) {
    std::vector<std::string> all;
    std::vector<std::string> needy;
    for (const std::string& key : keys) {
        const KeyInfo* info = findKey(key);
        (info && !info->companion.empty() ? needy : all).push_back(key);
    }
    for (std::string& key : needy) {
        const std::string_view companion = findKey(key)->companion;
        if (std::find(all.begin(), all.end(), companion) == all.end()) {
            all.emplace_back(companion);
        }
        all.push_back(std::move(key));
    }
    return all;
}

// Releases the names in blocks of that kind at its end: their receiver owns them.
class ReceivedNames {
public:
    ReceivedNames(const KeyInfo* info, std::span<const QelAudioAnalysisBlock> blocks) noexcept {
        if (info && info->payload == PayloadKind::Name) {
            mBlocks = blocks;
        }
    }
    ~ReceivedNames() {
        for (const QelAudioAnalysisBlock& block : mBlocks) {
            if (block.mData) {
                CFRelease(block.mData);
            }
        }
    }
    ReceivedNames(const ReceivedNames&) = delete;
    ReceivedNames& operator=(const ReceivedNames&) = delete;

private:
    std::span<const QelAudioAnalysisBlock> mBlocks;
};

// Owns the handle, and connects the library's callbacks with the client's.
class Stream {
public:
    Stream(const std::vector<std::string>& names, const StreamSetup& setup) : mSetup(setup) {
        requireUsable(setup);
        const std::vector<std::string> keys = keysNamed(names);
        const std::vector<std::string> all = withCompanions(keys);
        const CFOwner<CFMutableArrayRef> array = makeArray();
        for (const std::string& key : all) {
            CFArrayAppendValue(array.get(), makeString(key).get());
        }
        check(QelAudioAnalysisNew(array.get(), deliver, this, &mHandle), "creating an analyzer");
        try {
            initialize();
            for (const std::string& key : all) {
                remember(key, std::find(keys.begin(), keys.end(), key) != keys.end());
            }
        } catch (...) {
            QelAudioAnalysisDispose(mHandle);
            throw;
        }
    }
    ~Stream() { QelAudioAnalysisDispose(mHandle); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    QelAudioAnalysisRef handle() const noexcept { return mHandle; }
    const StreamSetup& setup() const noexcept { return mSetup; }

    void setCallback(ResultCallback callback) {
        requireIdle();
        mCallback = std::move(callback);
    }

    // `data(c)` is the start of channel c.
    template <class ChannelData>
    void push(std::size_t frames, ChannelData data) {
        requireIdle();
        if (frames > mSetup.maxFrames) {
            throw Error(kAudioAnalysisErr_TooManyFrames, "push of " + std::to_string(frames) +
                                                             " frames, maximum " +
                                                             std::to_string(mSetup.maxFrames));
        }
        // A list with n buffers is smaller than n lists of one buffer each.
        AudioBufferList& list = mLists.front();
        AudioBuffer* buffers = list.mBuffers;
        list.mNumberBuffers = mSetup.channels;
        for (std::uint32_t c = 0; c < mSetup.channels; ++c) {
            buffers[c].mNumberChannels = 1;
            buffers[c].mDataByteSize = static_cast<UInt32>(frames * sizeof(float));
            // The record is not const, but the library only reads.
            buffers[c].mData = const_cast<float*>(data(c));
        }
        const auto count = static_cast<UInt32>(frames);
        const SInt32 status = run([&] { return QelAudioAnalysisPushAudio(mHandle, count, &list); });
        mFramesPushed += frames;
        rethrowFault();
        requireMultiple(frames);
        const bool isRefusedEmpty = frames == 0 && mPushKey != nullptr;
        check(isRefusedEmpty ? 0 : status, "pushing audio");
    }

    // Scratch samples for a push: maxFrames per channel, allocated at the first call.
    float* scratch(std::uint32_t channel) {
        mScratch.resize(std::size_t{mSetup.channels} * mSetup.maxFrames);
        return mScratch.data() + std::size_t{channel} * mSetup.maxFrames;
    }

    bool process(bool flush, const Progress& progress) {
        requireIdle();
        mProgress = progress ? &progress : nullptr;
        mStopped = false;
        const SInt32 status = run(
            [&] { return QelAudioAnalysisProcess(mHandle, flush ? 1 : 0, reportProgress, this); });
        rethrowFault();
        if (mStopped) {
            return false;
        }
        check(status, "whole-stream results");
        return true;
    }

    void reset() {
        requireIdle();
        check(QelAudioAnalysisReset(mHandle), "resetting");
        mFramesPushed = 0;
        for (KeyState& key : mKeys) {
            key.frames = 0;
        }
    }

    KeyMetaData metaData(const std::string& name) const {
        const std::string key(keyNamed(name));
        // The library does not write the frame fields for a key without frames.
        QelAudioAnalysisKeyMetaData data{};
        UInt32 size = 0;
        check(QelAudioAnalysisGetProperty(mHandle, kQelAnalysisProperty_MetaDataForKey,
                                          makeString(key).get(), sizeof(CFStringRef), &data,
                                          sizeof data, &size),
              "key \"" + key + "\"");
        return {data.mSampleRate, data.mFrameSize, data.mHopSize};
    }

private:
    struct KeyState {
        std::string name;
        CFOwner<CFStringRef> string;
        const KeyInfo* info;
        KeyMetaData metaData;
        bool isWanted = true; // false for a companion, whose results the client does not see
        std::uint64_t frames = 0;
    };

    static void requireUsable(const StreamSetup& setup) {
        const bool rateUsable = std::isfinite(setup.sampleRateHz) && setup.sampleRateHz > 0;
        if (!rateUsable || setup.channels == 0 || setup.maxFrames == 0) {
            throw Error(kAudioAnalysisErr_BadFormat, "sample rate, channels and "
                                                     "maxFrames must be above 0");
        }
        if (setup.maxFrames > std::numeric_limits<UInt32>::max() / sizeof(float)) {
            throw Error(kAudioAnalysisErr_BadFormat, "maxFrames does not fit a buffer's size");
        }
    }

    void requireIdle() const {
        if (mRunning) {
            throw std::logic_error("qel::Analyzer: used from inside of its own callback");
        }
    }

    // The status of the library shows it only if no other group of keys follows.
    void requireMultiple(std::size_t frames) const {
        if (mPushKey && frames % mPushKey->pushMultiple != 0) {
            throw Error(kAudioAnalysisErr_BadFormat,
                        "push of " + std::to_string(frames) + " frames to \"" +
                            std::string(mPushKey->key) + "\", which takes multiples of " +
                            std::to_string(mPushKey->pushMultiple));
        }
    }

    void initialize() {
        AudioStreamBasicDescription format{};
        format.mSampleRate = mSetup.sampleRateHz;
        format.mFormatID = kAudioFormatLinearPCM;
        format.mFormatFlags = kAudioFormatFlagsNativeFloatPacked;
        if (mSetup.channels > 1) {
            format.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
        }
        format.mBytesPerPacket = sizeof(float);
        format.mFramesPerPacket = 1;
        format.mBytesPerFrame = sizeof(float);
        format.mChannelsPerFrame = mSetup.channels;
        format.mBitsPerChannel = 8 * sizeof(float);
        const AudioChannelLayout layout{};
        check(QelAudioAnalysisInitialize(mHandle, mSetup.maxFrames, &format, &layout,
                                         mSetup.lengthFrames),
              "initializing an analyzer");
        mLists.resize(mSetup.channels);
    }

    // Refuses a key that the analyzer does not compute.
    void remember(const std::string& key, bool isWanted) {
        const KeyInfo* info = findKey(key);
        const KeyMetaData data = metaData(key);
        mKeys.emplace_back(KeyState{key, makeString(key), info, data, isWanted});
        if (info && info->pushMultiple > 1) {
            mPushKey = info;
        }
    }

    KeyState& stateOf(CFStringRef key) {
        for (KeyState& state : mKeys) {
            if (CFEqual(state.string.get(), key)) {
                return state;
            }
        }
        // A key of the same group that was not requested: the table describes it.
        std::string name = textOf(key);
        const KeyInfo* info = findKey(name);
        const KeyMetaData data =
            info ? KeyMetaData{mSetup.sampleRateHz, info->frameSamples, info->hopSamples}
                 : KeyMetaData{};
        CFOwner<CFStringRef> string = makeString(name);
        return mKeys.emplace_back(KeyState{std::move(name), std::move(string), info, data});
    }

    double timeOf(const KeyState& key, std::uint64_t frame) const {
        if (key.info && key.info->delivery == Delivery::AtEnd) {
            return 0;
        }
        if (key.info && key.info->delivery == Delivery::PerPush) {
            return static_cast<double>(mFramesPushed) / mSetup.sampleRateHz;
        }
        const double hop = key.metaData.hopSamples;
        const std::uint32_t perFrame = key.info ? key.info->resultsPerFrame : 1;
        return static_cast<double>(frame) * hop / (perFrame * mSetup.sampleRateHz);
    }

    // From blocks of which the first one of each channel holds all frames of the channel: one block
    // per frame and channel, frame-major.
    static std::vector<QelAudioAnalysisBlock>
    frameMajor(std::span<const QelAudioAnalysisBlock> blocks, std::size_t channels) {
        const std::size_t frames = blocks.size() / channels;
        std::vector<QelAudioAnalysisBlock> sorted;
        sorted.reserve(frames * channels);
        for (std::size_t f = 0; f < frames; ++f) {
            for (std::size_t c = 0; c < channels; ++c) {
                const QelAudioAnalysisBlock& whole = blocks[c * frames];
                auto* start = static_cast<std::byte*>(whole.mData) + f * whole.mDataByteSize;
                sorted.push_back({start, whole.mDataByteSize});
            }
        }
        return sorted;
    }

    void handOut(CFStringRef key, std::span<const QelAudioAnalysisBlock> received) {
        KeyState& state = stateOf(key);
        const ReceivedNames names(state.info, received);
        if (!state.isWanted) {
            return;
        }
        std::vector<QelAudioAnalysisBlock> sorted;
        if (state.info && state.info->delivery == Delivery::FramesAtEnd) {
            sorted = frameMajor(received, mSetup.channels);
        }
        const std::span<const QelAudioAnalysisBlock> blocks = sorted.empty() ? received : sorted;
        const std::size_t perFrame = state.info ? mSetup.channels : blocks.size();
        const std::size_t frames = perFrame ? blocks.size() / perFrame : 0;
        const std::uint64_t first = state.frames;
        state.frames += frames;
        for (std::size_t f = 0; f < frames && mCallback && !mFault; ++f) {
            mCallback(Result(state.name, state.info, first + f, timeOf(state, first + f),
                             blocks.subspan(f * perFrame, perFrame)));
        }
    }

    static void deliver(QelAudioAnalysisRef, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon) noexcept {
        auto& self = *static_cast<Stream*>(refCon);
        try {
            self.handOut(key, {blocks, count});
        } catch (...) {
            self.keepFault();
        }
    }

    static int reportProgress(void*, float percent, void* refCon) noexcept {
        auto& self = *static_cast<Stream*>(refCon);
        try {
            if (!self.mFault && !self.mStopped && self.mProgress) {
                self.mStopped = !(*self.mProgress)(percent);
            }
        } catch (...) {
            self.keepFault();
        }
        return self.mFault || self.mStopped ? 1 : 0;
    }

    void keepFault() noexcept {
        if (!mFault) {
            mFault = std::current_exception();
        }
    }

    void rethrowFault() {
        if (mFault) {
            std::rethrow_exception(std::exchange(mFault, nullptr));
        }
    }

    // Calls the library with the callbacks enabled; std::bad_alloc of the library passes through.
    template <class Call>
    SInt32 run(Call call) {
        struct Guard {
            bool& running;
            ~Guard() { running = false; }
        };
        mFault = nullptr;
        mRunning = true;
        const Guard guard{mRunning};
        return call();
    }

    StreamSetup mSetup;
    QelAudioAnalysisRef mHandle = nullptr;
    ResultCallback mCallback;
    const Progress* mProgress = nullptr;
    std::deque<KeyState> mKeys; // a deque, as results point at the names
    std::vector<AudioBufferList> mLists;
    std::vector<float> mScratch;
    const KeyInfo* mPushKey = nullptr; // the key that takes multiples only; there is one at most
    std::uint64_t mFramesPushed = 0;
    std::exception_ptr mFault;
    bool mStopped = false;
    bool mRunning = false;
};

} // namespace qel::detail
