#include "tools/qel/FileAnalyzer.h"

#include "media/AudioDecoder.h"
#include "media/ChannelMixer.h"
#include "output/files/Interrupt.h"
#include "tools/qel/KeyList.h"
#include "tools/qel/StreamAnalysis.h"
#include "tools/qel/ToolError.h"

#include <QelAudioAnalysis/Analyzer.hpp>

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <limits>
#include <new>
#include <set>

namespace qel::tool {
namespace {

constexpr int kHighestRateHz = 768000; // of converters in use

std::vector<std::string> NamesOf(const std::vector<const KeyInfo*>& keys) {
    std::vector<std::string> names;
    for (const KeyInfo* info : keys) {
        names.emplace_back(info->key);
    }
    return names;
}

// A length is only a hint to the library; one that does not fit is left out.
std::uint32_t LengthHint(std::int64_t frames) {
    const bool fits = frames > 0 && frames <= std::numeric_limits<std::uint32_t>::max();
    return fits ? static_cast<std::uint32_t>(frames) : 0;
}

// Some keys keep the frames of the declared length alone, and what a file states is but a hint: the
// way to know is to decode it once more.
std::uint32_t LengthFor(const AnalysisPlan& plan, const std::string& path,
                        const AudioDecoder& decoder) {
    const bool mustKnow = std::any_of(plan.keys.begin(), plan.keys.end(), [](const KeyInfo* info) {
        return info->delivery == Delivery::FramesAtEnd;
    });
    return LengthHint(mustKnow ? AudioDecoder::CountFrames(path) : decoder.ExpectedFrames());
}

using Keys = std::set<const KeyInfo*>;

// The analyzer may also deliver keys of the same group that nobody asked for: those are dropped.
// Whatever key has a result is added to delivered.
void ConnectWriter(StreamAnalysis& analysis, const AnalysisPlan& plan, ResultWriter& writer,
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
        Interrupt::Check();
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
    const std::string keys =
        missing.empty() ? "" : fmt::format("no values for {}", fmt::join(missing, ", "));
    if (status == 0) {
        return keys;
    }
    return keys.empty() ? std::string(statusText(status))
                        : fmt::format("{}; {}", statusText(status), keys);
}

FileHeader DescribeFile(const AnalysisPlan& plan, const std::string& path,
                        const AudioDecoder& decoder, std::size_t channels,
                        const StreamAnalysis& analysis) {
    FileHeader header;
    header.path = path;
    header.sampleRateHz = decoder.SampleRateHz();
    header.fileChannels = decoder.Channels();
    header.analyzedChannels = channels;
    header.mix = plan.mix;
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

FileSummary Run(const AnalysisPlan& plan, const std::string& path, ResultWriter& writer,
                ProgressBar& progress) {
    AudioDecoder decoder(path);
    RefuseRate(decoder.SampleRateHz());
    ChannelMixer mixer(decoder.Channels(), plan.blockSamples, plan.mix);
    StreamAnalysis analysis(plan.keys, plan.parameters,
                            {.sampleRateHz = static_cast<double>(decoder.SampleRateHz()),
                             .channels = static_cast<std::uint32_t>(mixer.OutputChannels()),
                             .maxFrames = plan.blockSamples,
                             .lengthFrames = LengthFor(plan, path, decoder)});
    Keys delivered;
    ConnectWriter(analysis, plan, writer, delivered);
    writer.BeginFile(DescribeFile(plan, path, decoder, mixer.OutputChannels(), analysis));
    progress.Begin(path, decoder.ExpectedFrames(), decoder.SampleRateHz());

    FileSummary summary;
    while (const std::size_t count = decoder.Read(mixer.Input(), plan.blockSamples)) {
        analysis.Push(mixer.Mix(count), count);
        summary.frames += static_cast<std::int64_t>(count);
        progress.Advance(summary.frames);
    }
    summary.missing = DescribeMissing(plan, delivered, FinishStream(analysis, progress));
    summary.decoder = decoder.Report();
    writer.EndFile(summary);
    return summary;
}

} // namespace

void CheckBlock(const AnalysisPlan& plan) {
    for (const KeyInfo* info : plan.keys) {
        if (plan.blockSamples % info->pushMultiple != 0) {
            throw UsageError(fmt::format("--block must be a multiple of {} for \"{}\"",
                                         info->pushMultiple, info->key));
        }
    }
}

void CheckParameters(const AnalysisPlan& plan) {
    Analyzer analyzer(NamesOf(plan.keys), {.maxFrames = 1});
    for (const auto& [name, value] : plan.parameters) {
        try {
            analyzer.setParameter(name, value);
            analyzer.reset(); // where a value takes effect
        } catch (const std::bad_alloc&) {
            throw UsageError(fmt::format(
                "parameter \"{}\" cannot be {}: it takes more memory than there is", name, value));
        } catch (const Error& error) {
            if (error.status() != kAudioAnalysisErr_UnknownProperty) {
                throw UsageError(error.what());
            }
            const std::vector<std::string> known = analyzer.parameterNames();
            throw UsageError(fmt::format(
                "unknown parameter \"{}\": {}", name,
                known.empty() ? std::string("the keys asked for have no parameters")
                              : fmt::format("the keys asked for have {}", fmt::join(known, ", "))));
        }
    }
}

FileSummary AnalyzeFile(const AnalysisPlan& plan, const std::string& path, ResultWriter& writer,
                        ProgressBar& progress) {
    try {
        return Run(plan, path, writer, progress);
    } catch (const Error& error) {
        throw ToolError(error.what());
    }
}

} // namespace qel::tool
