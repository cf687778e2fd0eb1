// Musical answers computed from the keys of QelAudioAnalysis: tempo, beats, bars, key, onsets,
// pitch, timbre, loudness and bandwidth.
//
//     qel::readings::Reader reader({Reading::Tempo, Reading::Key}, {.sampleRateHz = 44100});
//     reader.push(samples);
//     const qel::readings::Answers answers = reader.finish();
//     std::cout << answers.tempo->bpm << " BPM, " << answers.key->main.name() << '\n';
//
// docs/readings.md describes how each reading is computed, and its limits.
//
// A program links libQelReadings (CMake target QelAudioAnalysis::Readings).
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#if defined(__GNUC__)
#define QEL_READINGS_EXPORT __attribute__((visibility("default")))
#else
#define QEL_READINGS_EXPORT
#endif

namespace qel::readings {

// What can be asked for. Each costs only the keys it needs.
enum class Reading {
    Tempo,        // beats per minute of the whole stream
    Beats,        // times of the beats, and a grid where a steady tempo does not drift
    Bars,         // beats per bar, and each beat's position in its bar
    Key,          // the musical key, and segments of constant key
    Onsets,       // times at which notes and strokes begin
    Pitch,        // fundamental frequency of one voice, per frame
    Timbre,       // mel-frequency cepstral coefficients, per frame
    Loudness,     // loudness, loudness range and peaks, EBU R 128
    Bandwidth,    // up to which frequency the sound reaches
    RunningTempo, // tempo from what was heard so far, per frame
};

// Every reading, in the order of the enumeration.
QEL_READINGS_EXPORT std::span<const Reading> allReadings() noexcept;

// The stream to be read.
struct Setup {
    double sampleRateHz = 44100;    // 8000 to 768000
    std::uint32_t channels = 1;     // 1 to 64
    std::uint64_t lengthFrames = 0; // expected length in samples per channel; 0: unknown
};

// The tempo of a stream.
struct Tempo {
    bool isSteady = false;     // false: there is no steady tempo, and bpm is the best guess
    double bpm = 0;            // beats per minute, a real number; 0: nothing was found
    double alternativeBpm = 0; // at half, double, a third or three times that; 0: none
    float strength = 0;        // 0 to 1: the estimated chance that it is right
};

// One beat.
struct Beat {
    double seconds = 0; // on the attack
    float strength = 0; // onset strength there, 0 to 1; 1 is a stroke out of silence
    int position = 0;   // within its bar, from 1 on; 0: not asked for, or not known
};

// A grid of beats at equal distances.
struct Grid {
    double firstBeatSeconds = 0;
    double bpm = 0;
};

struct Beats {
    std::vector<Beat> beats;
    std::optional<Grid> grid; // where a steady tempo does not drift
};

struct Bars {
    int beatsPerBar = 0; // 2 to 7; 0: no steady tempo, or beats that sound all the same
    float strength = 0;  // 0 to 1: the estimated chance that it is right
    std::vector<double> downBeatSeconds;
};

// One of 24 keys.
struct MusicalKey {
    int tonic = 0; // semitones above C: 0 to 11
    bool isMinor = false;

    // "C major", "F# minor", "Bb major": the spelling with at most six sharps or flats. A flat is
    // a small b.
    QEL_READINGS_EXPORT std::string name() const;
    bool operator==(const MusicalKey&) const = default;
};

// A stretch of one key. Segments follow each other without gaps.
struct KeySegment {
    double beginSeconds = 0;
    double endSeconds = 0;
    MusicalKey key;
};

struct KeyAnswer {
    MusicalKey main;
    MusicalKey runnerUp;
    // 0 to 1: the estimated chance that main is right; 0: no key was found, and main and runnerUp
    // mean nothing
    float strength = 0;
    std::vector<KeySegment> segments;
};

struct Onset {
    double seconds = 0; // of the attack
    float strength = 0; // 0 to 1: how certain it is that something begins
};

// The fundamental frequency in one frame.
struct Pitch {
    double seconds = 0;    // middle of the frame
    float frequencyHz = 0; // 0: not voiced
    float strength = 0;    // 0 to 1

    bool isVoiced() const noexcept { return frequencyHz > 0; }
    // Deviation from the nearest note of equal temperament, -50 to 50, at an A of 440 Hz.
    QEL_READINGS_EXPORT double cents() const;
    // The nearest note as a MIDI number; 69 is A at 440 Hz.
    QEL_READINGS_EXPORT int note() const;
};

// Parameters of Timbre. Names and meanings are those of librosa's mfcc.
struct TimbreSettings {
    std::uint32_t n_mfcc = 13;
    std::uint32_t n_mels = 40;
    double fmin = 0;
    double fmax = 0; // 0: half the sample rate, at most 16000 Hz
    bool htk = false;
    double lifter = 0;
    double top_db = 80; // infinity: no limit
};

struct Timbre {
    std::uint32_t coefficients = 0;
    double frameSeconds = 0; // length of a frame
    double hopSeconds = 0;
    std::vector<float> values; // `coefficients` per frame, frame after frame
};

// Values that do not exist are empty. A silent stream has none of the first four.
struct Loudness {
    std::optional<double> integratedLufs;
    std::optional<double> rangeLu;
    std::optional<double> truePeakDbtp;
    std::optional<double> samplePeakDbfs;
    // Value i is the loudness of the 0.4 s that end (i + 1) * momentaryHopSeconds after the start
    // of the stream, with silence before it; -infinity for silence.
    double momentaryHopSeconds = 0; // 0.1, to the nearest sample
    std::vector<float> momentaryLufs;
};

struct Bandwidth {
    std::optional<double> cutoffHz; // empty: none was found above a quarter of the sample rate
};

struct RunningTempo {
    double hopSeconds = 0;
    std::vector<float> bpm; // one per hop; NaN where no tempo is known, as in silence
};

// The readings that were asked for; the others are empty.
struct Answers {
    double seconds = 0; // length of the stream
    // Of two channels, the difference has more than 10 times the energy of the sum: their mean
    // would be nearly silent, and all readings but Loudness are of the first channel.
    bool channelsCancel = false;
    std::optional<Tempo> tempo;
    std::optional<Beats> beats;
    std::optional<Bars> bars;
    std::optional<KeyAnswer> key;
    std::optional<std::vector<Onset>> onsets;
    std::optional<std::vector<Pitch>> pitch;
    std::optional<Timbre> timbre;
    std::optional<Loudness> loudness;
    std::optional<Bandwidth> bandwidth;
    std::optional<RunningTempo> runningTempo;

    // What a person should know about the stream, a line each; usually none.
    QEL_READINGS_EXPORT std::vector<std::string> warnings() const;
};

// Reads a stream. Life: construct, push any number of times, finish; reset begins another stream.
//
// The answers depend on the samples alone, not on how they are cut into pushes.
//
// Threads: one thread at a time per reader; different readers may run in different threads. No
// reader starts a thread.
//
// Errors: std::invalid_argument for a setup or settings out of range; std::logic_error for push and
// finish after finish, and for a moved-from reader, which can be assigned to and destroyed;
// std::bad_alloc when memory runs out; qel::Error (QelAudioAnalysis/Error.hpp) for what the library
// refuses. After an exception from push or finish, reset the reader.
class QEL_READINGS_EXPORT Reader {
public:
    Reader(std::span<const Reading> readings, const Setup& setup,
           const TimbreSettings& timbre = {});
    Reader(std::initializer_list<Reading> readings, const Setup& setup,
           const TimbreSettings& timbre = {})
        : Reader(std::span(readings.begin(), readings.size()), setup, timbre) {}
    Reader(Reader&&) noexcept;
    Reader& operator=(Reader&&) noexcept;
    ~Reader();

    // Reads the next `frames` samples of every channel, any number of them. One pointer per
    // channel; a stream of several channels is mixed to their mean for all readings but
    // Loudness. Of two channels that cancel in the mean, the first is read.
    void push(std::span<const float* const> channels, std::size_t frames);

    // The same for a stream of one channel.
    void push(std::span<const float> samples);

    // The onsets found so far, in order of time: all those up to 0.12 s before the end of the
    // pushed audio. Later pushes add onsets and change none, so the answer of finish begins with
    // these. Valid until the next call of push, finish or reset. Empty if
    // Reading::Onsets was not asked for.
    std::span<const Onset> onsets() const;

    // Ends the stream and returns the answers. Once per stream.
    Answers finish();

    // Begins another stream with the same setup.
    void reset();

private:
    class State;
    State& state() const;
    std::unique_ptr<State> mState;
};

} // namespace qel::readings
