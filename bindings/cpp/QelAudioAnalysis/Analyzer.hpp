// The analyzer: keys and a stream in, results out.
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

// Owns an analyzer of the library. Move only. A moved-from analyzer can be assigned to and
// destroyed; everything else throws Error with kAudioAnalysisErr_NotInitialized.
//
// Life:
//   1. construct
//   2. onResult, setParameter
//   3. push, any number of times
//   4. finish
//   5. reset starts a new stream with the same keys and setup: continue with step 2 or 3
//
// Threads: use one analyzer in one thread at a time; different analyzers may run in different
// threads. Callbacks run in the calling thread inside push, process and finish.
//
// Errors: every refusal throws Error. An exception from a callback does not pass through the
// library: it is stored, no further result of that call is delivered, and the call throws it at its
// end. The stream then continues after the audio of that call. Using an analyzer inside its own
// callback throws std::logic_error. Do not destroy it there, because destruction cannot throw.
class Analyzer {
public:
    // Creates an analyzer that is ready for audio.
    //
    //   keys   names of the table in Keys.hpp or aliases of KeyAliases.hpp, in any order. Results
    //          carry the name of the table. Without keys no result arrives.
    //          A key that needs another one (KeyInfo::companion) gets it; the results of the other
    //          one are dropped unless it was requested too.
    //   setup  the stream; its values are checked
    //
    // Throws Error with
    //   kAudioAnalysisErr_UnknownProperty  for the first key that this version of the library does
    //                                      not know (the C function would drop it and all keys
    //                                      after it without an error)
    //   kAudioAnalysisErr_BadFormat        for a setup that is out of range
    Analyzer(const std::vector<std::string>& keys, const StreamSetup& setup)
        : mStream(std::make_unique<detail::Stream>(keys, setup)) {}
    Analyzer(std::initializer_list<std::string_view> keys, const StreamSetup& setup)
        : Analyzer(std::vector<std::string>(keys.begin(), keys.end()), setup) {}
    Analyzer(std::span<const std::string_view> keys, const StreamSetup& setup)
        : Analyzer(std::vector<std::string>(keys.begin(), keys.end()), setup) {}

    // False for a moved-from analyzer.
    explicit operator bool() const noexcept { return mStream != nullptr; }

    // The setup of the stream.
    const StreamSetup& setup() const { return stream().setup(); }

    // Sets the receiver of results; an empty function drops them.
    void onResult(ResultCallback callback) { stream().setCallback(std::move(callback)); }

    // Analyzes the next samples of a stream of one channel. Results arrive before the call returns.
    //
    // Accepts 0 to setup().maxFrames samples. More samples throw kAudioAnalysisErr_TooManyFrames,
    // and nothing is analyzed: the client does not split them, because "temporal properties" depend
    // on how the audio is cut. A stream with another number of channels throws
    // kAudioAnalysisErr_BadFormat.
    //
    // Some keys accept pushes of certain sizes only (KeyInfo::pushMultiple). Any other push throws
    // kAudioAnalysisErr_BadFormat. Such a key has then ignored the push, and all other keys have
    // analyzed it.
    void push(std::span<const float> samples) {
        requireChannels(1);
        stream().push(samples.size(), [&](std::uint32_t) { return present(samples.data()); });
    }

    // The same with one span per channel, all of one length (else kAudioAnalysisErr_BadFormat).
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

    // The same with one pointer per channel, each to `frames` samples.
    void push(std::span<const float* const> channels, std::size_t frames) {
        requireChannels(channels.size());
        stream().push(frames, [&](std::uint32_t c) { return channels[c]; });
    }

    // The same with interleaved channels. The number of samples must be a multiple of the number of
    // channels, else kAudioAnalysisErr_BadFormat. The first call allocates memory for the largest
    // push.
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

    // Ends the stream and delivers the results of the whole stream. `progress` may be empty.
    // Returns true, or false if `progress` asked to stop; results may then be missing.
    //
    // Each group of keys reports its progress from its own start, so percentages can decrease. A
    // stop while beats are tracked still delivers the tempo, with a list of beats that may be empty
    // or short.
    //
    // Throws Error with
    //   kStatusNoTempo  the audio of a channel has no tempo. "global tempo", "beat data" and "down
    //                   beat data" do not arrive, nor does "global number of beats per bar" if it
    //                   was requested together with one of them.
    //   kStatusNoMeter  a channel has no meter. Tempi, beats and meters have arrived, the meter of
    //                   that channel as 0. Down beats have not.
    // Results that arrived before an Error are valid, and so are those of other groups of keys.
    //
    // The library returns the status of its last group of keys only. With keys of several groups an
    // Error may therefore not be thrown; a key without a result means the same.
    //
    // Call it once per stream, then reset.
    bool finish(const Progress& progress = {}) { return stream().process(true, progress); }

    // As finish, without ending the stream. Throws kAudioAnalysisErr_NotEnoughData if a group of
    // keys has too little audio for a result.
    bool process(const Progress& progress = {}) { return stream().process(false, progress); }

    // Starts a new stream with the same setup. Times and frame indices count from 0 again.
    void reset() { stream().reset(); }

    // Sets a parameter. Throws kAudioAnalysisErr_UnknownProperty if no key of this analyzer has it.
    void setParameter(const std::string& name, float value) {
        const detail::CFOwner<CFStringRef> string = detail::makeString(name);
        detail::check(QelAudioAnalysisSetParameter(stream().handle(), string.get(), value),
                      "parameter \"" + name + "\"");
    }

    // Reads a parameter; throws as setParameter does.
    float parameter(const std::string& name) const {
        const detail::CFOwner<CFStringRef> string = detail::makeString(name);
        float value = 0;
        detail::check(QelAudioAnalysisGetParameter(stream().handle(), string.get(), &value),
                      "parameter \"" + name + "\"");
        return value;
    }

    // The parameters of the keys of this analyzer.
    std::vector<std::string> parameterNames() const {
        const detail::CFOwner<CFMutableArrayRef> names = detail::makeArray();
        CFMutableArrayRef array = names.get();
        // NOLINTNEXTLINE(bugprone-sizeof-expression): the library takes the size of the reference.
        constexpr UInt32 kArrayBytes = sizeof array;
        UInt32 size = 0;
        detail::check(QelAudioAnalysisGetProperty(stream().handle(),
                                                  kQelAnalysisProperty_ParameterList, nullptr, 0,
                                                  &array, kArrayBytes, &size),
                      "listing parameters");
        return detail::textsOf(names.get());
    }

    // Sample rate, frame and hop of a key. Throws kAudioAnalysisErr_UnknownProperty if this
    // analyzer does not compute it.
    KeyMetaData metaData(const std::string& key) const { return stream().metaData(key); }

    // All public keys, in the library's order, whether or not this version computes them.
    static std::vector<std::string> allKeys() {
        const auto keys = detail::own(QelAudioAnalysisGlobalCopyKeys());
        return detail::textsOf(keys.get());
    }

    // The keys of allKeys() that this version computes. Each is tried on its own.
    static std::vector<std::string> availableKeys() {
        std::vector<std::string> keys = allKeys();
        std::erase_if(keys, [](const std::string& key) { return !isAvailable(key); });
        return keys;
    }

    // Whether an analyzer can be created for this key alone.
    static bool isAvailable(const std::string& key) {
        try {
            const Analyzer tried(std::vector<std::string>{key}, StreamSetup{.maxFrames = 1});
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

    // The library needs a non-null pointer, also for an empty push.
    static const float* present(const float* data) noexcept {
        static constexpr float kNothing = 0;
        return data ? data : &kNothing;
    }

    std::unique_ptr<detail::Stream> mStream;
};

} // namespace qel
