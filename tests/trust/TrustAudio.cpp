#include "tests/trust/TrustAudio.h"

#include "tests/harness/TestSignals.h"

#include <vector>

namespace qel::trust {

test::Audio MusicWithStrokes(double rateHz, UInt32 channels, std::size_t frames) {
    test::Audio audio = test::MusicLike(rateHz, channels, frames);
    const auto period = static_cast<std::size_t>(rateHz / 2);
    const std::size_t stroke = period / 20;
    for (std::vector<float>& samples : audio) {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const float loudness = i / period % 4 == 0 ? 0.6f : 0.3f;
            samples[i] *= 0.3f;
            if (i % period < stroke) {
                samples[i] += i % 2 == 0 ? loudness : -loudness;
            }
        }
    }
    return audio;
}

} // namespace qel::trust
