#include "readings/BandwidthMeter.h"
#include "readings/LoudnessMeter.h"
#include "readings/onsets/OnsetDetector.h"
#include "readings/rhythm/RhythmReader.h"
#include "readings/rhythm/RunningTempoCurve.h"
#include "readings/stream/KeyStream.h"
#include "readings/stream/MonoBlocks.h"
#include "readings/stream/RateChange.h"
#include "readings/stream/Requests.h"
#include "readings/tone/KeyFinder.h"
#include "readings/tone/MelCepstrum.h"
#include "readings/tone/PitchTracker.h"

#include <QelAudioAnalysis.hpp>
#include <QelReadings.hpp>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace qel::readings {
namespace {

constexpr std::string_view kSpectrum = "spectrum";
constexpr std::string_view kTempo = "tempo";
constexpr std::string_view kMelSpectrum = "mel spectrum";

} // namespace

class Reader::State {
public:
    State(std::span<const Reading> readings, const Setup& setup, const TimbreSettings& timbre)
        : mSetup(requireUsable(setup)), mReadings(requireKnown(readings)), mBlocks(setup.channels),
          mRatio(ratioToCommonRate(setup.sampleRateHz)),
          mOwnRate(ownRateKeys(), setup.sampleRateHz, setup.lengthFrames,
                   [this](const Result& result) { takeAtOwnRate(result); }),
          mCommonRate(commonRateKeys(), setup.sampleRateHz * mRatio.value(),
                      commonLength(setup.lengthFrames),
                      [this](const Result& result) { takeAtCommonRate(result); }) {
        if (!mRatio.isOne()) {
            mRateChange.emplace(mRatio);
        }
        if (wants(Reading::Key)) {
            mKeyFinder.emplace(mCommonRate.sampleRateHz());
        }
        if (wants(Reading::Timbre)) {
            const KeyInfo& info = *findKey(kMelSpectrum);
            mMelCepstrum.emplace(timbre, info.payloadBytes / sizeof(float),
                                 mSetup.sampleRateHz / info.frameSamples);
        }
        if (wants(Reading::Bandwidth)) {
            mBandwidthMeter.emplace(mSetup.sampleRateHz, mSetup.lengthFrames);
        }
        if (wants(Reading::Loudness)) {
            mLoudnessMeter.emplace(mSetup);
        }
        if (wantsRhythm()) {
            mRhythm.emplace(mCommonRate.sampleRateHz());
        }
        if (wants(Reading::RunningTempo)) {
            mRunningTempo.emplace(mCommonRate.sampleRateHz());
        }
        if (wants(Reading::Onsets)) {
            mOnsetDetector.emplace(mCommonRate.sampleRateHz());
        }
        if (wants(Reading::Pitch)) {
            mPitchTracker.emplace(mCommonRate.sampleRateHz());
        }
    }

    void push(std::span<const float* const> channels, std::size_t frames) {
        requireRunning();
        if (channels.size() != mSetup.channels) {
            throw std::invalid_argument("readings: push of " + std::to_string(channels.size()) +
                                        (channels.size() == 1 ? " channel" : " channels") +
                                        " to a stream of " + std::to_string(mSetup.channels));
        }
        if (mLoudnessMeter) {
            mLoudnessMeter->add(channels, frames);
        }
        mBlocks.add(channels, frames, [this](std::span<const float> block) { analyze(block); });
        analyze(mBlocks.rest()); // at once, so that onsets are not late
        mBlocks.clear();
        mFrames += frames;
    }

    Answers finish();

    std::span<const Onset> onsets() const {
        return mOnsetDetector ? std::span(mOnsetDetector->onsets()) : std::span<const Onset>();
    }

    void reset() {
        mFrames = 0;
        mIsFinished = false;
        mBlocks.reset();
        mOwnRate.reset();
        mCommonRate.reset();
        if (mRateChange) {
            mRateChange->reset();
        }
        if (mBandwidthMeter) {
            mBandwidthMeter->reset();
        }
        if (mKeyFinder) {
            mKeyFinder->reset();
        }
        if (mMelCepstrum) {
            mMelCepstrum->reset();
        }
        if (mLoudnessMeter) {
            mLoudnessMeter->reset();
        }
        if (mRhythm) {
            mRhythm->reset();
        }
        if (mRunningTempo) {
            mRunningTempo->reset();
        }
        if (mOnsetDetector) {
            mOnsetDetector->reset();
        }
        if (mPitchTracker) {
            mPitchTracker->reset();
        }
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

    // Keys of the readings that hold at any rate, or say what rate they hold at.
    std::vector<std::string_view> ownRateKeys() const {
        std::vector<std::string_view> keys;
        if (wants(Reading::Timbre)) {
            keys.push_back(kMelSpectrum);
        }
        return keys;
    }

    // Keys whose frames must last as long as the readings expect.
    std::vector<std::string_view> commonRateKeys() const {
        std::vector<std::string_view> keys;
        if (wantsRhythm()) {
            keys.push_back(kSpectrum);
        }
        if (wantsRhythm() || wants(Reading::Key) || wants(Reading::Pitch)) {
            keys.push_back(kMelSpectrum);
        }
        if (wants(Reading::RunningTempo)) {
            keys.push_back(kTempo);
        }
        return keys;
    }

    std::uint64_t commonLength(std::uint64_t frames) const {
        return static_cast<std::uint64_t>(std::ceil(static_cast<double>(frames) * mRatio.value()));
    }

    void analyze(std::span<const float> samples) {
        mOwnRate.add(samples);
        if (mBandwidthMeter) {
            mBandwidthMeter->add(samples);
        }
        analyzeAtCommonRate(mRateChange ? mRateChange->add(samples) : samples);
    }

    void analyzeAtCommonRate(std::span<const float> samples) {
        mCommonRate.add(samples);
        if (mRunningTempo) {
            mRunningTempo->addSamples(samples);
        }
        if (mOnsetDetector) {
            mOnsetDetector->add(samples);
        }
    }

    void takeAtOwnRate(const Result& result);
    void takeAtCommonRate(const Result& result);
    void endAnalysis();
    void answerRhythm(Answers& answers);

    const Setup mSetup;
    const std::vector<Reading> mReadings;
    MonoBlocks mBlocks;
    const RateRatio mRatio; // of the common rate to that of the stream
    std::optional<RateChange> mRateChange;
    KeyStream mOwnRate;
    KeyStream mCommonRate;
    std::optional<BandwidthMeter> mBandwidthMeter;
    std::uint64_t mFrames = 0;
    std::optional<KeyFinder> mKeyFinder;
    std::optional<MelCepstrum> mMelCepstrum;
    std::optional<LoudnessMeter> mLoudnessMeter;
    std::optional<RhythmReader> mRhythm;
    std::optional<RunningTempoCurve> mRunningTempo;
    std::optional<OnsetDetector> mOnsetDetector;
    std::optional<PitchTracker> mPitchTracker;
    bool mIsFinished = false;
};

void Reader::State::takeAtOwnRate(const Result& result) {
    if (result.key() == kMelSpectrum) {
        mMelCepstrum->add(result.floats(), 0.5f); // twice the transform's magnitudes
    }
}

void Reader::State::takeAtCommonRate(const Result& result) {
    if (result.key() == kSpectrum) {
        mRhythm->addSpectrum(result.floats());
    } else if (result.key() == kTempo) {
        mRunningTempo->addTempo(result.floats()[0]);
    } else if (result.key() == kMelSpectrum) {
        if (mRhythm) {
            mRhythm->addMelSpectrum(result.floats());
        }
        if (mKeyFinder) {
            mKeyFinder->add(result.floats());
        }
        if (mPitchTracker) {
            mPitchTracker->add(result.floats());
        }
    }
}

void Reader::State::endAnalysis() {
    if (mRateChange) {
        analyzeAtCommonRate(mRateChange->end());
    }
    mOwnRate.end();
    mCommonRate.end();
    if (mOnsetDetector) {
        mOnsetDetector->end();
    }
}

void Reader::State::answerRhythm(Answers& answers) {
    RhythmReader::Answer found = mRhythm->finish(wants(Reading::Bars));
    if (wants(Reading::Tempo)) {
        answers.tempo = found.tempo;
    }
    if (wants(Reading::Beats)) {
        answers.beats = std::move(found.beats);
    }
    if (wants(Reading::Bars)) {
        answers.bars = std::move(found.bars);
    }
}

Answers Reader::State::finish() {
    requireRunning();
    mIsFinished = true;
    endAnalysis();
    Answers answers;
    answers.seconds = static_cast<double>(mFrames) / mSetup.sampleRateHz;
    answers.channelsCancel = mBlocks.channelsCancel();
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
    if (mBandwidthMeter) {
        answers.bandwidth = mBandwidthMeter->finish();
    }
    if (mRhythm) {
        answerRhythm(answers);
    }
    if (mOnsetDetector) {
        answers.onsets = mOnsetDetector->onsets();
    }
    if (mPitchTracker) {
        answers.pitch = mPitchTracker->finish();
    }
    if (mRunningTempo) {
        answers.runningTempo = mRunningTempo->finish();
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

std::span<const Onset> Reader::onsets() const {
    return state().onsets();
}

void Reader::reset() {
    state().reset();
}

} // namespace qel::readings
