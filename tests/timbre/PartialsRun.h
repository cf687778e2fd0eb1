// "partials", "fundamental frequency" and "inharmonicity" through the exported functions: what a
// stream delivers, decoded and kept.
#pragma once

#include "tests/harness/TestAnalyzer.h"

#include <string>
#include <vector>

namespace qel::test {

inline const std::string kPartialsKey = "partials";
inline const std::string kFundamentalKey = "fundamental frequency";
inline const std::string kInharmonicityKey = "inharmonicity";
inline const std::vector<std::string> kPartialKeys = {kPartialsKey, kFundamentalKey,
                                                      kInharmonicityKey};

inline constexpr std::size_t kPartialsFrame = 1024;
inline constexpr std::size_t kPartialsHop = 512;

using PartialRow = std::vector<PartialRecord>;

// Frames that lie wholly within a stream.
inline constexpr std::size_t PartialFramesIn(std::size_t samples) {
    return samples < kPartialsFrame ? 0 : (samples - kPartialsFrame) / kPartialsHop + 1;
}

// As many samples as so many frames need.
inline constexpr std::size_t SamplesForPartials(std::size_t frames) {
    return kPartialsFrame + (frames - 1) * kPartialsHop;
}

// The results of one channel, by frame.
struct PartialResults {
    std::vector<PartialRow> partials;
    std::vector<float> fundamentalsHz;
    std::vector<float> inharmonicities;

    std::size_t Greatest() const; // number of tracks in the fullest frame
};

class PartialsRun {
public:
    explicit PartialsRun(const StreamSetup& setup,
                         const std::vector<std::string>& keys = kPartialKeys);

    TestAnalyzer& Analyzer() { return mAnalyzer; }
    const PartialResults& Channel(std::size_t channel = 0) const { return mChannels.at(channel); }
    const std::vector<PartialResults>& Channels() const { return mChannels; }
    // The keys of all deliveries, in order.
    const std::vector<std::string>& Order() const { return mOrder; }
    void Forget();

private:
    void Take(const std::string& key, UInt32 count, const QelAudioAnalysisBlock* blocks);

    TestAnalyzer mAnalyzer;
    std::vector<PartialResults> mChannels;
    std::vector<std::string> mOrder;
};

// A whole stream, pushed in blocks and ended. Results by channel.
std::vector<PartialResults> AnalyzePartials(const Audio& audio, double rateHz = 44100.0,
                                            UInt32 blockFrames = 4096);

bool SameBytes(const PartialRecord& a, const PartialRecord& b);

// Equal in every bit of every value.
bool SameResults(const std::vector<PartialResults>& a, const std::vector<PartialResults>& b);

} // namespace qel::test
