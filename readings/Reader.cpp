#include "readings/BarFinder.h"
#include "readings/BeatFinder.h"
#include "readings/Harmony.h"
#include "readings/KeyFinder.h"
#include "readings/LoudnessMeter.h"
#include "readings/MelCepstrum.h"
#include "readings/MonoBlocks.h"
#include "readings/OnsetFinder.h"
#include "readings/OnsetStrength.h"
#include "readings/PitchTracker.h"
#include "readings/RunningMedian.h"
#include "readings/TempoFit.h"

#include <QelAudioAnalysis.hpp>
#include <QelReadings.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

namespace qel::readings {
namespace {

constexpr std::array kAll{
    Reading::Tempo, Reading::Beats,  Reading::Bars,     Reading::Key,       Reading::Onsets,
    Reading::Pitch, Reading::Timbre, Reading::Loudness, Reading::Bandwidth, Reading::RunningTempo};

constexpr double kLowestRateHz = 8000;
constexpr double kHighestRateHz = 768000;
constexpr std::uint32_t kMostChannels = 64; // of libebur128

constexpr std::string_view kKeyCorrelation = "pitch class porofile key correlation";
constexpr std::string_view kSpectrum = "spectrum";
constexpr std::string_view kTempo = "tempo";
constexpr std::string_view kMelSpectrum = "mel spectrum";
constexpr std::string_view kAudioRange = "audio range";

const Setup& requireUsable(const Setup& setup) {
    const bool rate = setup.sampleRateHz >= kLowestRateHz && setup.sampleRateHz <= kHighestRateHz;
    if (!rate || setup.channels == 0 || setup.channels > kMostChannels) {
        throw std::invalid_argument(
            "readings: a sample rate from 8000 to 768000 Hz and 1 to 64 channels are needed");
    }
    return setup;
}

// The position of beat `i` in its bar, from 1 on.
int positionOf(std::size_t i, const BarFinder::Result& bars) {
    if (bars.beatsPerBar == 0) {
        return 0;
    }
    const auto length = static_cast<std::size_t>(bars.beatsPerBar);
    return static_cast<int>((i + length - bars.phase) % length) + 1;
}

Bars barsOf(const BarFinder::Result& found, const BeatFinder::Result& beats) {
    Bars bars;
    bars.beatsPerBar = found.beatsPerBar;
    if (found.beatsPerBar > 0) {
        bars.strength = barStrength(found, beats);
        for (std::size_t i = found.phase; i < beats.seconds.size();
             i += static_cast<std::size_t>(found.beatsPerBar)) {
            bars.downBeatSeconds.push_back(beats.seconds[i]);
        }
    }
    return bars;
}

} // namespace

std::span<const Reading> allReadings() noexcept {
    return kAll;
}

class Reader::State {
public:
    State(std::span<const Reading> readings, const Setup& setup, const TimbreSettings& timbre)
        : mSetup(requireUsable(setup)), mReadings(readings.begin(), readings.end()),
          mBlocks(setup.channels) {
        if (wants(Reading::Key)) {
            mKeyFinder.emplace(hopSeconds(kKeyCorrelation));
            mKeys.push_back(kKeyCorrelation);
        }
        if (wants(Reading::Timbre)) {
            const KeyInfo& info = *findKey(kMelSpectrum);
            mMelCepstrum.emplace(timbre, info.payloadBytes / sizeof(float),
                                 mSetup.sampleRateHz / info.frameSamples);
        }
        if (wants(Reading::Loudness)) {
            mLoudnessMeter.emplace(mSetup);
        }
        if (wants(Reading::Bandwidth)) {
            mKeys.push_back(kAudioRange);
        }
        if (wantsRhythm()) {
            mHarmony.emplace(mSetup.sampleRateHz);
        }
        if (wantsRhythm() || wants(Reading::Onsets)) {
            mOnsetStrength.emplace(mSetup.sampleRateHz);
            mKeys.push_back(kSpectrum);
        }
        if (wants(Reading::Pitch)) {
            mPitchTracker.emplace(mSetup.sampleRateHz);
        }
        if (mHarmony || mPitchTracker || mMelCepstrum) {
            mKeys.push_back(kMelSpectrum);
        }
        if (wants(Reading::RunningTempo)) {
            mKeys.push_back(kTempo);
        }
        makeAnalyzer();
    }

    void push(std::span<const float* const> channels, std::size_t frames) {
        requireRunning();
        if (channels.size() != mSetup.channels) {
            throw std::invalid_argument("readings: push of " + std::to_string(channels.size()) +
                                        " channels to a stream of " +
                                        std::to_string(mSetup.channels));
        }
        if (mLoudnessMeter) {
            mLoudnessMeter->add(channels, frames);
        }
        if (mAnalyzer) {
            mBlocks.add(channels, frames,
                        [this](std::span<const float> block) { mAnalyzer->push(block); });
        }
        mFrames += frames;
    }

    Answers finish();

    void reset() {
        mFrames = 0;
        mEnds = false;
        mIsFinished = false;
        mBlocks.clear();
        mBandwidth = {};
        if (mKeyFinder) {
            mKeyFinder->reset();
        }
        if (mMelCepstrum) {
            mMelCepstrum->reset();
        }
        if (mLoudnessMeter) {
            mLoudnessMeter->reset();
        }
        if (mHarmony) {
            mHarmony->reset();
        }
        if (mOnsetStrength) {
            mOnsetStrength->reset();
        }
        if (mPitchTracker) {
            mPitchTracker->reset();
        }
        mTempi.clear();
        makeAnalyzer();
    }

private:
    bool wants(Reading reading) const {
        return std::ranges::find(mReadings, reading) != mReadings.end();
    }

    void requireRunning() const {
        if (mIsFinished) {
            throw std::logic_error("qel::readings::Reader: the stream has ended; reset it first");
        }
    }

    bool wantsRhythm() const {
        return wants(Reading::Tempo) || wants(Reading::Beats) || wants(Reading::Bars);
    }

    double hopSeconds(std::string_view key) const {
        return findKey(key)->hopSamples / mSetup.sampleRateHz;
    }

    void makeAnalyzer() {
        if (mKeys.empty()) {
            return;
        }
        const std::uint64_t length =
            std::min<std::uint64_t>(mSetup.lengthFrames, std::numeric_limits<std::uint32_t>::max());
        mAnalyzer.emplace(mKeys, StreamSetup{.sampleRateHz = mSetup.sampleRateHz,
                                             .channels = 1,
                                             .maxFrames = MonoBlocks::kFrames,
                                             .lengthFrames = static_cast<std::uint32_t>(length)});
        mAnalyzer->onResult([this](const Result& result) { take(result); });
    }

    void take(const Result& result);
    void takeMelSpectrum(std::span<const float> magnitudes);
    void endAnalysis();
    void answerRhythm(Answers& answers) const;
    RunningTempo runningTempo() const;

    const Setup mSetup;
    const std::vector<Reading> mReadings;
    std::vector<std::string_view> mKeys;
    MonoBlocks mBlocks;
    std::uint64_t mFrames = 0;
    std::optional<Analyzer> mAnalyzer;
    std::optional<KeyFinder> mKeyFinder;
    std::optional<MelCepstrum> mMelCepstrum;
    std::optional<LoudnessMeter> mLoudnessMeter;
    std::optional<OnsetStrength> mOnsetStrength;
    std::optional<Harmony> mHarmony;
    std::optional<PitchTracker> mPitchTracker;
    std::vector<float> mTempi;
    Bandwidth mBandwidth;
    bool mEnds = false; // what comes now is silence after the stream
    bool mIsFinished = false;
};

void Reader::State::take(const Result& result) {
    if (mEnds && result.info()->delivery != Delivery::AtEnd) {
        return;
    }
    if (result.key() == kKeyCorrelation) {
        mKeyFinder->add(result.floats());
    } else if (result.key() == kMelSpectrum) {
        takeMelSpectrum(result.floats());
    } else if (result.key() == kSpectrum) {
        mOnsetStrength->add(result.floats());
    } else if (result.key() == kTempo) {
        mTempi.push_back(result.floats()[0]);
    } else if (result.key() == kAudioRange) {
        if (const auto cutoff = result.range().cutoffHz) {
            mBandwidth.cutoffHz = *cutoff;
        }
    }
}

void Reader::State::takeMelSpectrum(std::span<const float> magnitudes) {
    if (mMelCepstrum) {
        mMelCepstrum->add(magnitudes, 0.5f); // the key has twice the transform's magnitudes
    }
    if (mHarmony) {
        mHarmony->add(magnitudes);
    }
    if (mPitchTracker) {
        mPitchTracker->add(magnitudes);
    }
}

// The samples of an incomplete block are followed by silence, as "audio range" takes no shorter
// push. Frames that this completes do not count: the silence would be heard as an end.
void Reader::State::endAnalysis() {
    if (!mAnalyzer) {
        return;
    }
    if (!mBlocks.rest().empty()) {
        std::array<float, MonoBlocks::kFrames> last{};
        std::ranges::copy(mBlocks.rest(), last.begin());
        mEnds = true;
        mAnalyzer->push(std::span<const float>(last));
    }
    mAnalyzer->finish();
}

void Reader::State::answerRhythm(Answers& answers) const {
    const double framesPerSecond = 1 / hopSeconds(kSpectrum);
    const BeatFinder::Result found = BeatFinder(*mOnsetStrength, *mHarmony, framesPerSecond).find();
    const std::optional<Grid> grid = fitGrid(found.seconds, found.bpm);
    const Tempo tempo = tempoOf(found, grid);
    BarFinder::Result bars; // none, unless they are wanted
    if (wants(Reading::Bars)) {
        bars = BarFinder(*mOnsetStrength, *mHarmony, framesPerSecond).find(found.seconds);
        answers.bars = barsOf(bars, found);
    }
    if (wants(Reading::Tempo)) {
        answers.tempo = tempo;
    }
    if (wants(Reading::Beats)) {
        Beats& beats = answers.beats.emplace();
        for (std::size_t i = 0; i < found.seconds.size(); ++i) {
            beats.beats.push_back({found.seconds[i], found.strengths[i], positionOf(i, bars)});
        }
        if (tempo.isSteady) {
            beats.grid = grid;
        }
    }
}

// The key is made for 172 values per second, and reads low at all other rates.
RunningTempo Reader::State::runningTempo() const {
    constexpr double kRateOfTheKey = 44032; // 172 hops of 256 samples
    constexpr double kMedianSeconds = 3;
    RunningTempo tempo;
    tempo.hopSeconds = hopSeconds(kTempo) / findKey(kTempo)->resultsPerFrame;
    const double length = std::round(kMedianSeconds / tempo.hopSeconds);
    tempo.bpm = runningMedian(mTempi, static_cast<std::size_t>(length));
    for (float& bpm : tempo.bpm) {
        bpm = static_cast<float>(bpm * mSetup.sampleRateHz / kRateOfTheKey);
    }
    return tempo;
}

Answers Reader::State::finish() {
    requireRunning();
    mIsFinished = true;
    endAnalysis();
    Answers answers;
    answers.seconds = static_cast<double>(mFrames) / mSetup.sampleRateHz;
    if (mKeyFinder) {
        answers.key = mKeyFinder->finish(answers.seconds);
    }
    if (mMelCepstrum) {
        const KeyInfo& info = *findKey(kMelSpectrum);
        answers.timbre = mMelCepstrum->finish(info.frameSamples / mSetup.sampleRateHz,
                                              info.hopSamples / mSetup.sampleRateHz);
    }
    if (mLoudnessMeter) {
        answers.loudness = mLoudnessMeter->finish();
    }
    if (wants(Reading::Bandwidth)) {
        answers.bandwidth = mBandwidth;
    }
    if (wantsRhythm()) {
        answerRhythm(answers);
    }
    if (wants(Reading::Onsets)) {
        answers.onsets = findOnsets(*mOnsetStrength, 1 / hopSeconds(kSpectrum));
    }
    if (mPitchTracker) {
        answers.pitch = mPitchTracker->finish();
    }
    if (wants(Reading::RunningTempo)) {
        answers.runningTempo = runningTempo();
    }
    return answers;
}

Reader::Reader(std::span<const Reading> readings, const Setup& setup, const TimbreSettings& timbre)
    : mState(std::make_unique<State>(readings, setup, timbre)) {}
Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;
Reader::~Reader() = default;

Reader::State& Reader::state() const {
    if (mState == nullptr) {
        throw std::logic_error("qel::readings::Reader: use of a moved-from reader");
    }
    return *mState;
}

void Reader::push(std::span<const float* const> channels, std::size_t frames) {
    state().push(channels, frames);
}

void Reader::push(std::span<const float> samples) {
    const float* const channel = samples.data();
    state().push({&channel, 1}, samples.size());
}

Answers Reader::finish() {
    return state().finish();
}

void Reader::reset() {
    state().reset();
}

} // namespace qel::readings
