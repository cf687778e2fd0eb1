#include "tests/harness/TestSignals.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <compare>
#include <complex>
#include <map>
#include <mutex>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

namespace qel::test {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

// The distributions of the standard library may differ between its makers; this does not.
double UniformBetweenMinusOneAndOne(std::mt19937& generator) {
    constexpr double kScale = 2.0 / 4294967296.0;
    return static_cast<double>(generator()) * kScale - 1.0;
}

// A note of decaying harmonics that starts at a time of the stream.
struct Note {
    double startSeconds;
    double frequencyHz;
    double amplitude;
    double decaySeconds;
};

constexpr std::size_t kMostHarmonics = 6;
using Harmonics = std::array<double, kMostHarmonics>;

// Harmonics, which turn and decay from sample to sample. All go together, in vectors.
struct Phasors {
    Harmonics real{};
    Harmonics imag{};
    Harmonics stepReal{};
    Harmonics stepImag{};

    void Step() {
        Harmonics nextReal;
        for (std::size_t i = 0; i < kMostHarmonics; ++i) {
            nextReal[i] = real[i] * stepReal[i] - imag[i] * stepImag[i];
            imag[i] = real[i] * stepImag[i] + imag[i] * stepReal[i];
        }
        real = nextReal;
    }
};

void AddNote(const Note& note, double rateHz, std::vector<double>& samples) {
    const auto first = static_cast<std::size_t>(std::ceil(note.startSeconds * rateHz));
    const double decay = std::exp(-1.0 / (note.decaySeconds * rateHz));
    // By then it has fallen by e^-50, of which no sample shows a bit. Much later it would be
    // denormal, and slow.
    const double lengthSeconds = 50.0 * note.decaySeconds;
    const auto end =
        std::min(samples.size(), first + static_cast<std::size_t>(lengthSeconds * rateHz));
    // Those that are left out add 0, which changes no sum.
    Phasors phasors;
    for (std::size_t i = 0; i < kMostHarmonics; ++i) {
        const auto harmonic = static_cast<double>(i + 1);
        const double frequencyHz = harmonic * note.frequencyHz;
        if (frequencyHz > 0.45 * rateHz) {
            break;
        }
        const std::complex<double> step = std::polar(decay, kTwoPi * frequencyHz / rateHz);
        phasors.real[i] = note.amplitude / harmonic;
        phasors.stepReal[i] = step.real();
        phasors.stepImag[i] = step.imag();
    }
    for (std::size_t i = first; i < end; ++i) {
        double sum = samples[i];
        for (const double value : phasors.imag) {
            sum += value;
        }
        samples[i] = sum;
        phasors.Step();
    }
}

// What one channel of MusicLike is made from.
struct Music {
    double rateHz;
    std::size_t frames;
    std::uint32_t seed;
    UInt32 channel;

    auto operator<=>(const Music&) const = default;
};

std::vector<float> MakeMusic(const Music& music) {
    constexpr double kNoteEverySeconds = 0.11;
    constexpr double kBurstEverySeconds = 0.23;
    constexpr double kBurstDecaySeconds = 0.02;
    constexpr double kFloorAmplitude = 0.01;
    constexpr double kScale[] = {55.0, 110.0, 146.8, 164.8, 220.0, 261.6, 329.6, 392.0, 523.3};
    const double rateHz = music.rateHz;
    std::mt19937 generator(music.seed * 1000u + music.channel);
    std::vector<double> samples(music.frames);
    const double length = static_cast<double>(music.frames) / rateHz;
    for (double start = 0.0; start < length; start += kNoteEverySeconds) {
        const double frequencyHz = kScale[generator() % std::size(kScale)];
        AddNote({start + 0.01 * music.channel, frequencyHz, 0.12, 0.15}, rateHz, samples);
    }
    const double burstDecay = std::exp(-1.0 / (kBurstDecaySeconds * rateHz));
    const auto burstEvery = static_cast<std::size_t>(kBurstEverySeconds * rateHz);
    double burst = 0.0;
    std::vector<float> rounded(music.frames);
    for (std::size_t i = 0; i < music.frames; ++i) {
        burst = (i + music.channel * burstEvery / 5) % burstEvery == 0 ? 0.3 : burst * burstDecay;
        samples[i] += UniformBetweenMinusOneAndOne(generator) * (kFloorAmplitude + burst);
        rounded[i] = static_cast<float>(samples[i]);
    }
    return rounded;
}

// Suites ask for the same music once per parameter. What they asked for last is kept, up to 16 MB.
std::vector<float> MusicOf(const Music& music) {
    constexpr std::size_t kMostFrames = 4'000'000;
    static std::mutex mutex;
    static std::map<Music, std::vector<float>> kept;
    static std::size_t keptFrames = 0;
    const std::lock_guard lock(mutex);
    const auto found = kept.find(music);
    if (found != kept.end()) {
        return found->second;
    }
    std::vector<float> samples = MakeMusic(music);
    if (keptFrames + samples.size() > kMostFrames) {
        kept.clear();
        keptFrames = 0;
    }
    if (samples.size() <= kMostFrames) {
        keptFrames += samples.size();
        kept.emplace(music, samples);
    }
    return samples;
}

} // namespace

Audio MusicLike(double rateHz, UInt32 channels, std::size_t frames, std::uint32_t seed) {
    Audio audio;
    for (UInt32 c = 0; c < channels; ++c) {
        audio.push_back(MusicOf({rateHz, frames, seed, c}));
    }
    return audio;
}

Audio MusicWithStrokes(double rateHz, UInt32 channels, std::size_t frames) {
    Audio audio = MusicLike(rateHz, channels, frames);
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

Audio Sine(double rateHz, double frequencyHz, double amplitude, std::size_t frames) {
    Audio audio(1, std::vector<float>(frames));
    for (std::size_t i = 0; i < frames; ++i) {
        const double phase = kTwoPi * frequencyHz * static_cast<double>(i) / rateHz;
        audio[0][i] = static_cast<float>(amplitude * std::sin(phase));
    }
    return audio;
}

Audio Constant(float value, UInt32 channels, std::size_t frames) {
    return Audio(channels, std::vector<float>(frames, value));
}

Audio Silence(UInt32 channels, std::size_t frames) {
    return Constant(0.0f, channels, frames);
}

Audio Noise(float amplitude, UInt32 channels, std::size_t frames, std::uint32_t seed) {
    Audio audio = Silence(channels, frames);
    std::mt19937 generator(seed);
    for (std::vector<float>& channel : audio) {
        for (float& sample : channel) {
            sample = amplitude * static_cast<float>(UniformBetweenMinusOneAndOne(generator));
        }
    }
    return audio;
}

Audio Impulses(std::size_t frames, const std::vector<Impulse>& impulses) {
    Audio audio = Silence(1, frames);
    for (const Impulse& impulse : impulses) {
        audio[0].at(impulse.frame) = impulse.value;
    }
    return audio;
}

Audio Joined(Audio first, const Audio& second) {
    for (std::size_t c = 0; c < first.size(); ++c) {
        first[c].insert(first[c].end(), second.at(c).begin(), second.at(c).end());
    }
    return first;
}

} // namespace qel::test
