#include "tools/qel/StreamAnalysis.h"

#include "output/files/Interrupt.h"
#include "tools/qel/KeyList.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace qel::tool {
namespace {

using Keys = std::vector<const KeyInfo*>;

bool IsPerPush(const KeyInfo* info) {
    return info->delivery == Delivery::PerPush;
}

// What the samples of every push but the last one must be a multiple of.
std::uint32_t PushMultiple(const Keys& keys) {
    std::uint32_t multiple = 1;
    for (const KeyInfo* info : keys) {
        multiple = std::lcm(multiple, info->pushMultiple);
    }
    return multiple;
}

} // namespace

StreamAnalysis::StreamAnalysis(const Keys& keys,
                               const std::vector<std::pair<std::string, float>>& parameters,
                               const StreamSetup& setup)
    : mMultiple(PushMultiple(keys)) {
    const output::Interrupt::AtOnce atOnce;
    Keys perPush;
    Keys others;
    std::partition_copy(keys.begin(), keys.end(), std::back_inserter(perPush),
                        std::back_inserter(others), IsPerPush);
    StreamSetup pieces = setup;
    pieces.maxFrames = kMostPushSamples;
    if (perPush.empty() || setup.maxFrames <= kMostPushSamples) {
        Add(keys, pieces);
    } else {
        Add(perPush, setup);
        if (!others.empty()) {
            Add(others, pieces);
        }
    }
    // Keys that are delivered per push have no parameters. Some values take effect at a reset only.
    Analyzer& analyzer = mAnalyzers.back();
    for (const auto& [name, value] : parameters) {
        analyzer.setParameter(name, value);
    }
    if (!parameters.empty()) {
        analyzer.reset();
    }
}

void StreamAnalysis::Add(const Keys& keys, const StreamSetup& setup) {
    mAnalyzers.emplace_back(NamesOf(keys), setup);
}

void StreamAnalysis::OnResult(const ResultCallback& callback) {
    for (Analyzer& analyzer : mAnalyzers) {
        analyzer.onResult(callback);
    }
}

void StreamAnalysis::Push(Analyzer& analyzer, std::span<const float* const> channels,
                          std::size_t begin, std::size_t end) {
    const std::size_t most = analyzer.setup().maxFrames;
    for (std::size_t at = begin; at < end; at += most) {
        output::Interrupt::Check();
        mPieces.assign(channels.begin(), channels.end());
        for (const float*& piece : mPieces) {
            piece += at;
        }
        analyzer.push(std::span<const float* const>(mPieces), std::min(most, end - at));
    }
}

void StreamAnalysis::Push(std::span<const float* const> channels, std::size_t count) {
    const std::size_t whole = count - count % mMultiple;
    for (Analyzer& analyzer : mAnalyzers) {
        Push(analyzer, channels, 0, whole);
        try {
            Push(analyzer, channels, whole, count);
        } catch (const Error& error) {
            if (error.status() != kAudioAnalysisErr_BadFormat) {
                throw;
            }
        }
    }
}

SInt32 StreamAnalysis::Finish(const Progress& progress) {
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

KeyMetaData StreamAnalysis::MetaData(const KeyInfo& info) const {
    const Analyzer& analyzer = IsPerPush(&info) ? mAnalyzers.front() : mAnalyzers.back();
    return analyzer.metaData(std::string(info.key));
}

} // namespace qel::tool
