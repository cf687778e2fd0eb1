#pragma once

#include "bench/BenchAudio.h"

#include <QelAudioAnalysis.h>

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace qel::bench {

// The exported functions and nothing around them: what a call costs here is the library's. The
// stream is mono, and every push is one block. A status other
// than 0 raises qel::Error.
class BareAnalyzer {
public:
    // An analyzer of these keys (and the companions without which some deliver nothing) that is not
    // initialized yet.
    explicit BareAnalyzer(const std::vector<std::string>& keys,
                          std::size_t blockSamples = kBlockSamples);
    BareAnalyzer(const BareAnalyzer&) = delete;
    BareAnalyzer& operator=(const BareAnalyzer&) = delete;
    ~BareAnalyzer();

    // A length of 0 is unknown.
    void Initialize(std::size_t streamSamples, double sampleRateHz = kSampleRateHz);
    // `audio` is a whole number of blocks.
    void Push(std::span<const float> audio);
    // Delivers what is about the whole stream.
    void Finish();
    void Reset();

    // How many results came, whichever they were.
    std::size_t Results() const { return mResults; }

private:
    static void Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon);

    const std::size_t mBlockSamples;
    std::size_t mResults = 0;
    QelAudioAnalysisRef mHandle = nullptr;
};

} // namespace qel::bench
