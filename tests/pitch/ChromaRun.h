// The keys of pitch classes and musical keys through the exported functions: what a stream
// delivers, decoded and kept.
#pragma once

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"
#include "tests/pitch/ReferenceChroma.h"

#include <functional>
#include <string>
#include <vector>

namespace qel::test {

inline const std::string kPitchClassKey = "pitch class profile";
inline const std::string kCorrelationKey = "pitch class porofile key correlation";
inline const std::string kCentroidKey = "pitch class profile tonal centroid";
inline const std::string kDominantKey = "dominant key";
inline const std::string kGlobalKey = "global key";
inline const std::vector<std::string> kAllChromaKeys = {kPitchClassKey, kCorrelationKey,
                                                        kCentroidKey, kDominantKey, kGlobalKey};

inline constexpr std::size_t kChromaFrame = 8192;
inline constexpr std::size_t kChromaHop = 512;

// Frames that lie wholly within a stream.
constexpr std::size_t ChromaFramesIn(std::size_t samples) {
    return samples < kChromaFrame ? 0 : (samples - kChromaFrame) / kChromaHop + 1;
}
// As many samples as so many frames need, one or more.
constexpr std::size_t SamplesForChroma(std::size_t frames) {
    return kChromaFrame + (frames - 1) * kChromaHop;
}

// What one call of the data callback brought, by channel: floats, or names.
struct ChromaDelivery {
    std::string key;
    std::vector<std::vector<float>> floats;
    std::vector<std::string> names;

    // To the bit, so that values that are no numbers can be compared.
    bool operator==(const ChromaDelivery& other) const;
};

class ChromaRun {
public:
    ChromaRun(const std::vector<std::string>& keys, const StreamSetup& setup);
    ~ChromaRun();
    ChromaRun(const ChromaRun&) = delete;
    ChromaRun& operator=(const ChromaRun&) = delete;

    void Push(const Audio& audio, UInt32 blockFrames = 4096);
    // From there on, so many frames in one push.
    void PushPart(const Audio& audio, std::size_t firstFrame, UInt32 frames);
    SInt32 Process(UInt8 flush = 1);
    SInt32 Reset();
    void Forget() { mDeliveries.clear(); }

    QelAudioAnalysisRef Handle() const { return mHandle; }
    const std::vector<ChromaDelivery>& Deliveries() const { return mDeliveries; }
    std::vector<std::string> Order() const; // of the keys
    std::vector<std::vector<float>> Rows(const std::string& key, std::size_t channel = 0) const;
    std::vector<std::size_t> DominantKeys(std::size_t channel = 0) const;
    // The newest names of "global key", by channel.
    std::vector<std::string> GlobalKeys() const;

    // Called, if set, within every data callback, before the names are given back.
    std::function<void(CFStringRef, UInt32, QelAudioAnalysisBlock*)> onDelivery;

private:
    static void Receive(QelAudioAnalysisRef handle, CFStringRef key, UInt32 count,
                        QelAudioAnalysisBlock* blocks, void* refCon);

    QelAudioAnalysisRef mHandle = nullptr;
    UInt32 mChannels;
    std::vector<ChromaDelivery> mDeliveries;
};

// A whole stream of a length that is not declared, processed once.
std::vector<ChromaDelivery> DeliverChroma(const Audio& audio, double rateHz,
                                          UInt32 blockFrames = 4096,
                                          const std::vector<std::string>& keys = kAllChromaKeys);

// How far single precision may stray. The magnitudes of a frame have some 1e-6 of error, and so
// have the sums of them.
inline constexpr double kProfileError = 1e-5; // relative
// Cosines: the profile's 1e-6, and roundings of a dozen products of values below 1.
inline constexpr double kCorrelationError = 2e-6;
// Sines and cosines of angles up to 40, which single precision holds to 2e-6.
inline constexpr double kCentroidError = 5e-6;
// Two correlations that lie nearer than this may change places.
inline constexpr double kKeyDoubt = 2.0 * kCorrelationError;

struct ChromaAgreement {
    std::size_t frames = 0;
    std::size_t doubtfulKeys = 0;
};

// Holds all frames of one channel to the reference: profile, correlations, centroid and key.
ChromaAgreement ExpectReferenceChroma(const ReferenceChroma& reference,
                                      const std::vector<float>& samples, const ChromaRun& run,
                                      std::size_t channel = 0);

} // namespace qel::test
