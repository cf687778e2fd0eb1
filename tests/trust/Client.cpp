#include "tests/trust/Client.h"

#include <array>
#include <cstddef>
#include <utility>

namespace qel::trust {
namespace {

constexpr std::size_t kMostChannels = 8;

// Room for a list of kMostChannels buffers, of which the type declares the first.
struct RoomyBufferList {
    AudioBufferList list;
    AudioBuffer others[kMostChannels - 1];
};

} // namespace

test::CFOwner<CFMutableArrayRef> MakeKeyList(const std::vector<std::string>& keys) {
    test::CFOwner<CFMutableArrayRef> list(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const std::string& key : keys) {
        CFArrayAppendValue(list.Get(), test::MakeString(key).Get());
    }
    return list;
}

Client::Client(CFArrayRef keys, const test::StreamSetup& setup)
    : mKeys(keys), mSetup(setup),
      mParameterNames(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks)) {}

SInt32 Client::New() {
    return QelAudioAnalysisNew(mKeys, Receive, this, &mHandle);
}

SInt32 Client::Initialize() {
    const AudioStreamBasicDescription format =
        test::CanonicalFormat(mSetup.rateHz, mSetup.channels);
    const AudioChannelLayout layout = test::PlainLayout();
    return QelAudioAnalysisInitialize(mHandle, mSetup.maxFrames, &format, &layout,
                                      mSetup.streamLength);
}

SInt32 Client::Push(const test::Audio& audio, std::size_t firstFrame, UInt32 frames) {
    std::array<const float*, kMostChannels> channels{};
    for (std::size_t c = 0; c < audio.size(); ++c) {
        channels[c] = audio[c].data() + firstFrame;
    }
    return Push(channels.data(), frames);
}

SInt32 Client::Push(const float* const* channels, UInt32 frames) {
    RoomyBufferList room{};
    room.list.mNumberBuffers = mSetup.channels;
    AudioBuffer* const buffers = room.list.mBuffers;
    for (UInt32 c = 0; c < mSetup.channels; ++c) {
        // The interface takes the samples without const, yet only reads them.
        buffers[c] = {1, frames * static_cast<UInt32>(sizeof(float)),
                      const_cast<float*>(channels[c])};
    }
    return QelAudioAnalysisPushAudio(mHandle, frames, &room.list);
}

SInt32 Client::Process(UInt8 flush) {
    return QelAudioAnalysisProcess(mHandle, flush, Progress, this);
}

SInt32 Client::Reset() {
    return QelAudioAnalysisReset(mHandle);
}

SInt32 Client::Dispose() {
    return QelAudioAnalysisDispose(std::exchange(mHandle, nullptr));
}

SInt32 Client::SetParameters() {
    const struct {
        CFStringRef name;
        float value;
    } parameters[] = {
        {kQelAnalysisParameter_GenreHint, 1},         {kQelAnalysisParameter_Complexity, 2},
        {kQelAnalysisParameter_MinBPM, 50},           {kQelAnalysisParameter_MaxBPM, 210},
        {kQelAnalysisParameter_OnsetSensitivity, 60},
    };
    SInt32 statuses = 0;
    for (const auto& [name, value] : parameters) {
        float read = 0;
        statuses += QelAudioAnalysisSetParameter(mHandle, name, value);
        statuses += QelAudioAnalysisGetParameter(mHandle, name, &read);
    }
    return statuses;
}

SInt32 Client::AskProperties() {
    CFMutableArrayRef list = mParameterNames.Get();
    CFArrayRemoveAllValues(list);
    UInt32 size = 0;
    SInt32 statuses = 0;
    for (UInt32 id = 0; id <= kQelAnalysisProperty_ParameterValueInfo; ++id) {
        for (CFIndex i = 0; i < CFArrayGetCount(mKeys); ++i) {
            QelAudioAnalysisKeyMetaData record{};
            void* const out =
                id == kQelAnalysisProperty_ParameterList ? static_cast<void*>(&list) : &record;
            statuses += QelAudioAnalysisGetProperty(mHandle, id, CFArrayGetValueAtIndex(mKeys, i),
                                                    sizeof(CFStringRef), out, sizeof record, &size);
        }
    }
    return statuses + QelAudioAnalysisSetProperty(mHandle, 0, nullptr, 0, nullptr, 0);
}

void Client::Receive(QelAudioAnalysisRef, CFStringRef key, UInt32 count,
                     QelAudioAnalysisBlock* blocks, void* refCon) {
    auto& self = *static_cast<Client*>(refCon);
    if (self.mHook != nullptr) {
        self.mHook(self, key, count, blocks, self.mHookContext);
    }
    self.mResults.Add(self.mSetup.channels, key, count, blocks);
}

int Client::Progress(void*, float, void* refCon) {
    auto& self = *static_cast<Client*>(refCon);
    if (self.mHook != nullptr) {
        self.mHook(self, nullptr, 0, nullptr, self.mHookContext);
    }
    return 0;
}

} // namespace qel::trust
