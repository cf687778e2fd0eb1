#include "bindings/python/src/StreamEngine.h"

#include "bindings/python/src/Faults.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <algorithm>

namespace qel::python {
namespace {

StreamSetup AnalyzedSetup(const StreamPlan& plan) {
    StreamSetup setup = plan.setup;
    setup.channels = plan.isMixed ? 1 : setup.channels;
    return setup;
}

std::vector<Collected> EmptyResults(const StreamPlan& plan, const BlockAnalyzer& analyzer) {
    std::vector<Collected> keys;
    for (const std::string& name : plan.keys) {
        Collected& key = keys.emplace_back();
        key.info = findKey(name);
        key.metaData = analyzer.metaData(name);
    }
    return keys;
}

// The mean of the channels, as files are mixed: in double precision, rounded once.
void Mix(std::span<const float* const> channels, std::size_t at, std::size_t count, float* mono) {
    const auto divisor = static_cast<double>(channels.size());
    for (std::size_t i = 0; i < count; ++i) {
        double sum = 0;
        for (const float* channel : channels) {
            sum += channel[at + i];
        }
        mono[i] = static_cast<float>(sum / divisor);
    }
}

} // namespace

StreamEngine::StreamEngine(const StreamPlan& plan)
    : mPlan(plan), mAnalyzer(plan.keys, plan.parameters, AnalyzedSetup(plan)),
      mCollector(EmptyResults(plan, mAnalyzer), AnalyzedSetup(plan)),
      mBlock(AnalyzedSetup(plan).channels) {
    mAnalyzer.onResult([this](const Result& result) { mCollector.Add(result); });
}

void StreamEngine::PushBlock(std::span<const float* const> channels, std::size_t count,
                             const BeforePush& before) {
    before();
    mIsCut = true;
    // Shorter blocks are a single push, before which has been asked already.
    const bool isLong = count > BlockAnalyzer::kMostPushSamples;
    mAnalyzer.push(channels, count, isLong ? before : BeforePush());
    mIsCut = false;
    mAnalyzed += count;
}

void StreamEngine::PushPending(const BeforePush& before) {
    std::vector<const float*> channels;
    for (const std::vector<float>& channel : mBlock) {
        channels.push_back(channel.data());
    }
    PushBlock(channels, mPending, before);
    mPending = 0;
}

// Adds to the block what it takes of the samples from `at` on.
std::size_t StreamEngine::Fill(std::span<const float* const> channels, std::size_t at,
                               std::size_t count) {
    const std::size_t taken = std::min(count - at, mPlan.setup.maxFrames - mPending);
    for (std::size_t c = 0; c < mBlock.size(); ++c) {
        mBlock[c].resize(mPlan.setup.maxFrames);
        float* end = mBlock[c].data() + mPending;
        if (mPlan.isMixed) {
            Mix(channels, at, taken, end);
        } else {
            std::copy_n(channels[c] + at, taken, end);
        }
    }
    mPending += taken;
    return taken;
}

void StreamEngine::RequireWhole() const {
    if (mIsCut) {
        throw Refusal(kAudioAnalysisErr_NotInitialized,
                      "the analysis of a block was interrupted; call reset() first");
    }
}

void StreamEngine::Push(std::span<const float* const> channels, std::size_t count,
                        SignalWatch& watch) {
    RequireWhole();
    const std::size_t block = mPlan.setup.maxFrames;
    std::size_t at = 0;
    const BeforePush before = [&] { watch.Check(at); };
    std::vector<const float*> whole(channels.begin(), channels.end());
    while (at < count || mPending == block) {
        if (mPending == block) {
            PushPending(before);
        } else if (mPending > 0 || mPlan.isMixed || count - at < block) {
            at += Fill(channels, at, count);
        } else {
            std::transform(channels.begin(), channels.end(), whole.begin(),
                           [at](const float* channel) { return channel + at; });
            PushBlock(whole, block, before);
            at += block;
        }
    }
}

SInt32 StreamEngine::Finish(const Progress& progress) {
    RequireWhole();
    if (mPending > 0) {
        PushPending([] {});
    }
    mIsCut = true;
    const SInt32 status = mAnalyzer.finish(progress);
    mIsCut = false;
    return status;
}

void StreamEngine::Reset() {
    mAnalyzer.reset();
    mCollector.Reset();
    mPending = 0;
    mAnalyzed = 0;
    mIsCut = false;
}

} // namespace qel::python
