#include "tools/qel/FileAnalyzer.h"

#include "output/files/Interrupt.h"
#include "tools/qel/FileRun.h"
#include "tools/qel/ToolError.h"

#include <QelAudioAnalysis/Analyzer.hpp>
#include <QelMedia.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

namespace qel::tool {
namespace {

constexpr int kHighestRateHz = 768000; // of converters in use

// A length is only a hint to the library; one that does not fit is left out.
std::uint32_t LengthHint(std::int64_t frames) {
    const bool fits = frames > 0 && frames <= std::numeric_limits<std::uint32_t>::max();
    return fits ? static_cast<std::uint32_t>(frames) : 0;
}

// Some keys keep the frames of the declared length alone, and what a file states is but a hint: the
// way to know is to decode it once more.
std::uint32_t LengthFor(const AnalysisPlan& plan, const std::string& path,
                        const media::Reader& reader) {
    const bool mustKnow = std::any_of(plan.keys.begin(), plan.keys.end(), [](const KeyInfo* info) {
        return info->delivery == Delivery::FramesAtEnd;
    });
    return LengthHint(mustKnow ? media::countFrames(path, output::Interrupt::IsRequested)
                               : reader.expectedFrames());
}

// Whether a reset analyzer gives the same results as a new one. At the end of a stream, keys of
// rhythm may have changed the genre hint, and "audio range" goes on counting after a reset. Keys
// that keep frames by the declared length need an analyzer of that length.
bool MayShareAnalyzer(const AnalysisPlan& plan) {
    return std::none_of(plan.keys.begin(), plan.keys.end(), [](const KeyInfo* info) {
        return info->delivery == Delivery::AtEnd || info->delivery == Delivery::FramesAtEnd;
    });
}

using Keys = std::set<const KeyInfo*>;

// The analyzer may also deliver keys of the same group that were not requested: those are dropped.
// Whatever key has a result is added to delivered.
void ConnectWriter(StreamAnalysis& analysis, const AnalysisPlan& plan, output::ResultWriter& writer,
                   Keys& delivered) {
    analysis.OnResult([&plan, &writer, &delivered](const Result& result) {
        const auto found = std::find(plan.keys.begin(), plan.keys.end(), result.info());
        if (found != plan.keys.end()) {
            delivered.insert(result.info());
            writer.Write(static_cast<std::size_t>(found - plan.keys.begin()), result);
        }
    });
}

SInt32 FinishStream(StreamAnalysis& analysis, ProgressBar& progress) {
    return analysis.Finish([&progress](float percent) {
        output::Interrupt::Check();
        progress.Finishing(percent);
        return true;
    });
}

// The whole-stream keys without a result, and why. The status is that of the last group of keys, so
// that it may be silent about another group's.
std::string DescribeMissing(const AnalysisPlan& plan, const Keys& delivered, SInt32 status) {
    std::vector<std::string> missing;
    for (const KeyInfo* info : plan.keys) {
        if (info->delivery == Delivery::AtEnd && !delivered.contains(info)) {
            missing.push_back(fmt::format("\"{}\"", info->key));
        }
    }
    std::string keys =
        missing.empty() ? "" : fmt::format("no values for {}", fmt::join(missing, ", "));
    if (status == 0) {
        return keys;
    }
    return keys.empty() ? std::string(statusText(status))
                        : fmt::format("{}; {}", statusText(status), keys);
}

output::FileHeader DescribeFile(const AnalysisPlan& plan, const std::string& path,
                                const media::Reader& reader, const StreamAnalysis& analysis) {
    output::FileHeader header;
    header.path = path;
    header.sampleRateHz = reader.sampleRateHz();
    header.fileChannels = reader.fileChannels();
    header.analyzedChannels = reader.channels();
    header.mix = plan.mix == media::ChannelMix::Mono ? "mono" : "keep";
    header.blockSamples = plan.blockSamples;
    header.parameters = plan.parameters;
    header.minStrength = plan.minStrength;
    for (const KeyInfo* info : plan.keys) {
        header.keys.push_back({info, analysis.MetaData(*info)});
    }
    return header;
}

// Beyond it, tables that some keys need take half a minute to make, and no audio is made.
void RefuseRate(int rateHz) {
    if (rateHz > kHighestRateHz) {
        throw ToolError(fmt::format("the sample rate of {} Hz is above the highest one, {} Hz",
                                    rateHz, kHighestRateHz));
    }
}

} // namespace

output::DecoderFacts FactsOf(const media::Report& report) {
    return {.container = report.container,
            .codec = report.codec,
            .decoder = report.decoder,
            .library = report.library,
            .leadingFramesTrimmed = report.leadingFramesTrimmed,
            .trailingFramesTrimmed = report.trailingFramesTrimmed,
            .damagedPackets = report.damagedPackets};
}

FileAnalyzer::FileAnalyzer(AnalysisPlan plan)
    : mPlan(std::move(plan)), mMayShare(MayShareAnalyzer(mPlan)) {}

std::unique_ptr<StreamAnalysis> FileAnalyzer::TakeAnalysis(const StreamSetup& setup) {
    const bool isAlike = mKept != nullptr && mKeptSetup.sampleRateHz == setup.sampleRateHz &&
                         mKeptSetup.channels == setup.channels;
    if (isAlike) {
        mKept->Reset();
        return std::move(mKept);
    }
    mKept.reset(); // its memory first
    return std::make_unique<StreamAnalysis>(mPlan.keys, mPlan.parameters, setup);
}

void FileAnalyzer::KeepAnalysis(std::unique_ptr<StreamAnalysis> analysis,
                                const StreamSetup& setup) {
    if (mMayShare) {
        analysis->OnResult({});
        mKept = std::move(analysis);
        mKeptSetup = setup;
    }
}

std::vector<std::string> FileAnalyzer::Analyze(const std::string& path,
                                               output::ResultWriter& writer,
                                               ProgressBar& progress) {
    const FileWarnings fileWarnings;
    media::Reader reader(path, {.mix = mPlan.mix,
                                .blockFrames = mPlan.blockSamples,
                                .isCancelled = output::Interrupt::IsRequested});
    RefuseRate(reader.sampleRateHz());
    const StreamSetup setup{.sampleRateHz = static_cast<double>(reader.sampleRateHz()),
                            .channels = static_cast<std::uint32_t>(reader.channels()),
                            .maxFrames = mPlan.blockSamples,
                            .lengthFrames = LengthFor(mPlan, path, reader)};
    std::unique_ptr<StreamAnalysis> analysis = TakeAnalysis(setup);
    Keys delivered;
    ConnectWriter(*analysis, mPlan, writer, delivered);
    writer.BeginFile(DescribeFile(mPlan, path, reader, *analysis));
    progress.Begin(path, reader.expectedFrames(), reader.sampleRateHz());

    output::FileSummary summary;
    for (media::Block block = reader.read(); block.frames > 0; block = reader.read()) {
        analysis->Push(block.channels, block.frames);
        summary.frames += static_cast<std::int64_t>(block.frames);
        progress.Advance(summary.frames);
    }
    summary.missing = DescribeMissing(mPlan, delivered, FinishStream(*analysis, progress));
    const media::Report report = reader.report();
    summary.decoder = FactsOf(report);
    writer.EndFile(summary);
    KeepAnalysis(std::move(analysis), setup);
    std::vector<std::string> warnings = fileWarnings.Of(report);
    if (!summary.missing.empty()) {
        warnings.push_back(summary.missing);
    }
    return warnings;
}

} // namespace qel::tool
