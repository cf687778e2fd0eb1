/*
 * The analyzer: keys and a stream in, results out.
 */
#pragma once

#include <QelAudioAnalysis.h>
#include <QelAudioAnalysis/CFOwner.hpp>
#include <QelAudioAnalysis/Error.hpp>
#include <QelAudioAnalysis/Stream.hpp>
#include <QelAudioAnalysis/StreamSetup.hpp>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qel {

/*
 * Owns an analyzer of the library. Move only; a moved-from analyzer can be assigned to and
 * destroyed, and answers everything else with kAudioAnalysisErr_NotInitialized.
 *
 * Life: construct, onResult, setParameter, push any number of times, finish; reset starts a new
 * stream with the same keys and setup.
 *
 * Threads: one thread at a time per analyzer; different analyzers may run in different threads.
 * Callbacks run on the calling thread inside push, process and finish.
 *
 * Faults: every refusal is an Error. An exception out of a callback does not cross the library: it
 * is kept, no further result of that call is handed out, and the call that caused it raises it at
 * its end. The stream goes on behind the audio of that call. Using an analyzer from inside of its
 * own callback raises std::logic_error (for destroying it there nothing can be raised: do not).
 */
class Analyzer {
public:
    /*
     * Makes an analyzer that is ready for audio.
     *
     *   keys   what is wanted, exact texts of the table in Keys.hpp, in any order. Without keys
     *          nothing arrives. A key that works only along with another one (KeyInfo::companion)
     *          gets it, and the other one's results are kept back unless it is wanted too.
     *   setup  the stream; its values are checked
     *
     * Error with kAudioAnalysisErr_UnknownProperty names the first key that nothing in this version
     * of the library answers to (the library itself would silently drop it and all keys behind it).
     * Error with kAudioAnalysisErr_BadFormat
     * for a setup that is out of range.
     */
    Analyzer(const std::vector<std::string>& keys, const StreamSetup& setup)
        : mStream(std::make_unique<detail::Stream>(keys, setup)) {}
    Analyzer(std::initializer_list<std::string_view> keys, const StreamSetup& setup)
        : Analyzer(std::vector<std::string>(keys.begin(), keys.end()), setup) {}
    Analyzer(std::span<const std::string_view> keys, const StreamSetup& setup)
        : Analyzer(std::vector<std::string>(keys.begin(), keys.end()), setup) {}

    /* Whether there is an analyzer behind this object: false after it was moved from. */
    explicit operator bool() const noexcept { return mStream != nullptr; }

    /* The stream as it was set up. */
    const StreamSetup& setup() const { return stream().setup(); }

    /* Sets who receives the results from now on; an empty function drops them. */
    void onResult(ResultCallback callback) { stream().setCallback(std::move(callback)); }

    /*
     * Analyzes the next stretch of a stream of one channel.
     *
     * Any number of samples from 0 to setup().maxFrames. More are refused with
     * kAudioAnalysisErr_TooManyFrames and nothing is analyzed: they are not cut up silently, as
     * "temporal properties" depend on how the audio is cut. kAudioAnalysisErr_BadFormat if the
     * stream has another number of channels. Results arrive before the call returns.
     *
     * Some keys take pushes of certain sizes only (KeyInfo::pushMultiple). Any other push ends in
     * kAudioAnalysisErr_BadFormat for their sake: such a key has taken nothing of it, and all other
     * keys have taken it whole.
     */
    void push(std::span<const float> samples) {
        requireChannels(1);
        stream().push(samples.size(), [&](std::uint32_t) { return present(samples.data()); });
    }

    /* The same with one span per channel, all of one length (else kAudioAnalysisErr_BadFormat). */
    void push(std::span<const std::span<const float>> channels) {
        requireChannels(channels.size());
        const std::size_t frames = channels.front().size();
        for (const std::span<const float> channel : channels) {
            if (channel.size() != frames) {
                throw Error(kAudioAnalysisErr_BadFormat, "channels of different lengths");
            }
        }
        stream().push(frames, [&](std::uint32_t c) { return present(channels[c].data()); });
    }

    /* The same with one pointer per channel, each to `frames` samples. */
    void push(std::span<const float* const> channels, std::size_t frames) {
        requireChannels(channels.size());
        stream().push(frames, [&](std::uint32_t c) { return channels[c]; });
    }

    /*
     * The same with the channels' samples taking turns. The number of samples must be a multiple of
     * the number of channels, else kAudioAnalysisErr_BadFormat. The first call allocates room for
     * the largest push.
     */
    void pushInterleaved(std::span<const float> samples) {
        const std::size_t channels = stream().setup().channels;
        if (samples.size() % channels != 0) {
            throw Error(kAudioAnalysisErr_BadFormat, "interleaved samples end inside of a frame");
        }
        const std::size_t frames = samples.size() / channels;
        stream().push(frames, [&](std::uint32_t c) {
            float* out = stream().scratch(c);
            for (std::size_t i = 0; i < frames; ++i) {
                out[i] = samples[i * channels + c];
            }
            return static_cast<const float*>(out);
        });
    }

    /*
     * Ends the stream: whole-stream results arrive. `progress` may be empty. Returns false if
     * `progress` asked to stop, in which case results may be missing; else true.
     *
     * Each group of keys reports its progress from its own beginning, so that percentages can fall.
     * A stop while beats are tracked still delivers the tempo, with a list of beats that may be
     * empty or short.
     *
     * Error with kStatusNoTempo: the audio of some channel has no tempo. "global tempo", "beat
     * data" and "down beat data" do not arrive, and neither does "global number of beats per bar"
     * if it was asked for along with one of them. Error with kStatusNoMeter: some channel has no
     * meter. Tempi, beats and meters have arrived, the meter of that channel as 0; down beats have
     * not. What arrived before an Error stays good, and so does what came of other groups of keys.
     *
     * The library tells the status of its last group of keys and no other. With keys of several
     * groups an Error can therefore be missing: a key without a result says the same.
     *
     * Call it once per stream, and go on with reset.
     */
    bool finish(const Progress& progress = {}) { return stream().process(true, progress); }

    /* As finish, without ending the stream: kAudioAnalysisErr_NotEnoughData where a group of keys
       has had too little audio for a result. */
    bool process(const Progress& progress = {}) { return stream().process(false, progress); }

    /* Starts a new stream with the same setup; time and frame indices count from 0 again. */
    void reset() { stream().reset(); }

    /* Sets a parameter; kAudioAnalysisErr_UnknownProperty if no key of this analyzer has it. */
    void setParameter(const std::string& name, float value) {
        const detail::CFOwner<CFStringRef> string = detail::makeString(name);
        detail::check(QelAudioAnalysisSetParameter(stream().handle(), string.get(), value),
                      "parameter \"" + name + "\"");
    }

    /* Reads a parameter; statuses as for setParameter. */
    float parameter(const std::string& name) const {
        const detail::CFOwner<CFStringRef> string = detail::makeString(name);
        float value = 0;
        detail::check(QelAudioAnalysisGetParameter(stream().handle(), string.get(), &value),
                      "parameter \"" + name + "\"");
        return value;
    }

    /* The parameters that the keys of this analyzer have. */
    std::vector<std::string> parameterNames() const {
        const detail::CFOwner<CFMutableArrayRef> names = detail::makeArray();
        CFMutableArrayRef array = names.get();
        UInt32 size = 0;
        detail::check(QelAudioAnalysisGetProperty(stream().handle(),
                                                  kQelAnalysisProperty_ParameterList, nullptr, 0,
                                                  &array, sizeof array, &size),
                      "listing parameters");
        return detail::textsOf(names.get());
    }

    /* Sample rate, frame and hop of a key; kAudioAnalysisErr_UnknownProperty if nothing in this
       analyzer answers to it. */
    KeyMetaData metaData(const std::string& key) const { return stream().metaData(key); }

    /* Every public key, in the library's order, whether this version builds it or not. */
    static std::vector<std::string> allKeys() {
        const auto keys = detail::own(QelAudioAnalysisGlobalCopyKeys());
        return detail::textsOf(keys.get());
    }

    /* Those of allKeys() that this version of the library builds, each tried by itself. */
    static std::vector<std::string> availableKeys() {
        std::vector<std::string> keys = allKeys();
        std::erase_if(keys, [](const std::string& key) { return !isAvailable(key); });
        return keys;
    }

    /* Whether an analyzer can be made for this key alone. */
    static bool isAvailable(const std::string& key) {
        try {
            Analyzer(std::vector<std::string>{key}, StreamSetup{.maxFrames = 1});
            return true;
        } catch (const Error& error) {
            if (error.status() != kAudioAnalysisErr_UnknownProperty) {
                throw;
            }
            return false;
        }
    }

private:
    detail::Stream& stream() const {
        if (!mStream) {
            throw Error(kAudioAnalysisErr_NotInitialized, "use of a moved-from analyzer");
        }
        return *mStream;
    }

    void requireChannels(std::size_t channels) const {
        if (channels != stream().setup().channels) {
            throw Error(kAudioAnalysisErr_BadFormat, "push of " + std::to_string(channels) +
                                                         " channels to a stream of " +
                                                         std::to_string(stream().setup().channels));
        }
    }

    /* The library wants a pointer that is not null, an empty push included. */
    static const float* present(const float* data) noexcept {
        static constexpr float kNothing = 0;
        return data ? data : &kNothing;
    }

    std::unique_ptr<detail::Stream> mStream;
};

} // namespace qel
