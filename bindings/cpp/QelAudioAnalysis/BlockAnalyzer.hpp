// A stream that is analyzed in blocks of any size, as the tool `qel` does it.
#pragma once

#include <QelAudioAnalysis/Analyzer.hpp>
#include <QelAudioAnalysis/Error.hpp>
#include <QelAudioAnalysis/Keys.hpp>
#include <QelAudioAnalysis/StreamSetup.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace qel {

// Called before every push to the library. May throw, which ends the call.
using BeforePush = std::function<void()>;

// Analyzes a stream block by block. The size of the blocks changes the results of the keys that are
// delivered per push, and of no other key.
//
// A flush adds as much silence as the largest push, and the results of some keys at the end depend
// on it. Therefore the largest push is the same for all sizes of blocks, and longer blocks are
// pushed in pieces. Keys that are delivered per push need a block as a whole, so for longer blocks
// they get an analyzer of their own.
//
// Life, threads and errors are those of Analyzer.
class BlockAnalyzer {
public:
    // The largest push for all keys but those that are delivered per push.
    static constexpr std::uint32_t kMostPushSamples = 4096;

    using Parameters = std::vector<std::pair<std::string, float>>;

    //   keys        names of the table in Keys.hpp or aliases of KeyAliases.hpp
    //   parameters  have their values from the first sample on
    //   setup       maxFrames is the size of the blocks
    //
    // Throws Error as the constructor of Analyzer and Analyzer::setParameter do.
    BlockAnalyzer(const std::vector<std::string>& keys, const Parameters& parameters,
                  const StreamSetup& setup) {
        std::vector<std::string> perPush;
        std::vector<std::string> others;
        for (const std::string& key : keys) {
            (isPerPush(key) ? perPush : others).push_back(key);
            const KeyInfo* info = findKey(keyNamed(key));
            mMultiple = std::lcm(mMultiple, info ? info->pushMultiple : 1);
        }
        StreamSetup pieces = setup;
        pieces.maxFrames = kMostPushSamples;
        if (perPush.empty() || setup.maxFrames <= kMostPushSamples) {
            mAnalyzers.emplace_back(keys, pieces);
        } else {
            mAnalyzers.emplace_back(perPush, setup);
            if (!others.empty()) {
                mAnalyzers.emplace_back(others, pieces);
            }
        }
        for (const auto& [name, value] : parameters) {
            setParameter(name, value);
        }
        if (!parameters.empty()) {
            reset(); // some values take effect here only
        }
    }

    // As Analyzer::onResult.
    void onResult(const ResultCallback& callback) {
        for (Analyzer& analyzer : mAnalyzers) {
            analyzer.onResult(callback);
        }
    }

    // Analyzes the next block: `count` samples of each channel, with one pointer per channel. If
    // some keys accept only multiples of a number of samples (KeyInfo::pushMultiple), the rest of
    // the block is pushed separately, and only the other keys analyze it. Throws Error as
    // Analyzer::push does.
    void push(std::span<const float* const> channels, std::size_t count,
              const BeforePush& before = {}) {
        const std::size_t whole = count - count % mMultiple;
        for (Analyzer& analyzer : mAnalyzers) {
            pushPieces(analyzer, channels, 0, whole, before);
            try {
                pushPieces(analyzer, channels, whole, count, before);
            } catch (const Error& error) {
                if (error.status() != kAudioAnalysisErr_BadFormat) {
                    throw;
                }
            }
        }
    }

    // Ends the stream. Returns 0, or kStatusNoTempo or kStatusNoMeter for audio without a tempo or
    // a meter, which does not make other results invalid. Throws Error for any other status.
    SInt32 finish(const Progress& progress = {}) {
        SInt32 status = 0;
        for (Analyzer& analyzer : mAnalyzers) {
            try {
                analyzer.finish(progress);
            } catch (const Error& error) {
                if (error.status() != kStatusNoTempo && error.status() != kStatusNoMeter) {
                    throw;
                }
                status = error.status();
            }
        }
        return status;
    }

    // As Analyzer::reset.
    void reset() {
        for (Analyzer& analyzer : mAnalyzers) {
            analyzer.reset();
        }
    }

    // As those of Analyzer. Keys that are delivered per push have no parameters.
    void setParameter(const std::string& name, float value) {
        mAnalyzers.back().setParameter(name, value);
    }
    float parameter(const std::string& name) const { return mAnalyzers.back().parameter(name); }
    std::vector<std::string> parameterNames() const { return mAnalyzers.back().parameterNames(); }

    // As Analyzer::metaData.
    KeyMetaData metaData(const std::string& key) const {
        return (isPerPush(key) ? mAnalyzers.front() : mAnalyzers.back()).metaData(key);
    }

private:
    static bool isPerPush(const std::string& key) noexcept {
        const KeyInfo* info = findKey(keyNamed(key));
        return info && info->delivery == Delivery::PerPush;
    }

    void pushPieces(Analyzer& analyzer, std::span<const float* const> channels, std::size_t begin,
                    std::size_t end, const BeforePush& before) {
        const std::size_t most = analyzer.setup().maxFrames;
        for (std::size_t at = begin; at < end; at += most) {
            if (before) {
                before();
            }
            mPieces.assign(channels.begin(), channels.end());
            for (const float*& piece : mPieces) {
                piece += at;
            }
            analyzer.push(std::span<const float* const>(mPieces), std::min(most, end - at));
        }
    }

    std::deque<Analyzer> mAnalyzers; // of all keys, or of those per push and of the others
    std::vector<const float*> mPieces;
    std::uint32_t mMultiple = 1;
};

} // namespace qel
