#include "bench/BareAnalyzer.h"

#include <QelAudioAnalysis.hpp>

namespace qel::bench {

BareAnalyzer::BareAnalyzer(const std::vector<std::string>& keys, std::size_t blockSamples)
    : mBlockSamples(blockSamples) {
    const auto array = detail::makeArray();
    for (const std::string& key : detail::withCompanions(keys)) {
        CFArrayAppendValue(array.get(), detail::makeString(key).get());
    }
    detail::check(QelAudioAnalysisNew(array.get(), Receive, this, &mHandle), "making an analyzer");
}

BareAnalyzer::~BareAnalyzer() {
    QelAudioAnalysisDispose(mHandle);
}

void BareAnalyzer::Initialize(std::size_t streamSamples, double sampleRateHz) {
    const AudioStreamBasicDescription format = {sampleRateHz,
                                                kAudioFormatLinearPCM,
                                                kAudioFormatFlagsNativeFloatPacked,
                                                sizeof(float),
                                                1,
                                                sizeof(float),
                                                1,
                                                8 * sizeof(float),
                                                0};
    const AudioChannelLayout layout = {};
    detail::check(QelAudioAnalysisInitialize(mHandle, static_cast<UInt32>(mBlockSamples), &format,
                                             &layout, static_cast<SInt64>(streamSamples)),
                  "initializing");
}

void BareAnalyzer::Push(std::span<const float> audio) {
    for (std::size_t start = 0; start < audio.size(); start += mBlockSamples) {
        // The record is not const, but the library only reads.
        auto* const block = const_cast<float*>(audio.data() + start);
        const auto frames = static_cast<UInt32>(mBlockSamples);
        AudioBufferList list = {1, {{1, frames * UInt32{sizeof(float)}, block}}};
        detail::check(QelAudioAnalysisPushAudio(mHandle, frames, &list), "pushing audio");
    }
}

void BareAnalyzer::Finish() {
    detail::check(QelAudioAnalysisProcess(mHandle, 1, nullptr, nullptr), "finishing");
}

void BareAnalyzer::Reset() {
    detail::check(QelAudioAnalysisReset(mHandle), "resetting");
}

// Names belong to whoever receives them.
void BareAnalyzer::Receive(QelAudioAnalysisRef, CFStringRef key, UInt32 count,
                           QelAudioAnalysisBlock* blocks, void* refCon) {
    ++static_cast<BareAnalyzer*>(refCon)->mResults;
    if (CFEqual(key, CFSTR("dominant key")) || CFEqual(key, CFSTR("global key"))) {
        const detail::ReceivedNames names(findKey("global key"), {blocks, count});
    }
}

} // namespace qel::bench
