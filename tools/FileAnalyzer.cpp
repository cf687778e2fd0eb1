#include "tools/FileAnalyzer.h"

#include "tools/AudioDecoder.h"
#include "tools/ChannelMixer.h"
#include "tools/Interrupt.h"
#include "tools/KeyList.h"
#include "tools/ToolError.h"

#include <QelAudioAnalysis/Analyzer.hpp>

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <limits>
#include <set>

namespace qel::tool {
namespace {

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

using Keys = std::set<const KeyInfo*>;

// The analyzer may also deliver keys of the same group that nobody asked for: those are dropped.
// Whatever key has a result is added to delivered.
void ConnectWriter(Analyzer& analyzer, const AnalysisPlan& plan, ResultWriter& writer,
                   Keys& delivered) {
    analyzer.onResult([&plan, &writer, &delivered](const Result& result) {
        const auto found = std::find(plan.keys.begin(), plan.keys.end(), result.info());
        if (found != plan.keys.end()) {
            delivered.insert(result.info());
            writer.Write(static_cast<std::size_t>(found - plan.keys.begin()), result);
        }
    });
}

// Ends the stream. Audio may well be without a tempo or a meter: that is told by the returned
// status, and is no reason to drop what else was found.
SInt32 FinishStream(Analyzer& analyzer, ProgressBar& progress) {
    try {
        analyzer.finish([&progress](float percent) {
            Interrupt::Check();
            progress.Finishing(percent);
            return true;
        });
    } catch (const Error& error) {
        if (error.status() != kStatusNoTempo && error.status() != kStatusNoMeter) {
            throw;
        }
        return error.status();
    }
    return 0;
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

FileHeader DescribeFile(const AnalysisPlan& plan, const std::string& path, std::size_t index,
                        const AudioDecoder& decoder, const Analyzer& analyzer) {
    FileHeader header;
    header.path = path;
    header.index = index;
    header.sampleRateHz = decoder.SampleRateHz();
    header.fileChannels = decoder.Channels();
    header.analyzedChannels = analyzer.setup().channels;
    header.mix = plan.mix;
    header.blockSamples = plan.blockSamples;
    header.parameters = plan.parameters;
    header.minStrength = plan.minStrength;
    for (const KeyInfo* info : plan.keys) {
        header.keys.push_back({info, analyzer.metaData(std::string(info->key))});
    }
    return header;
}

FileSummary Run(const AnalysisPlan& plan, const std::string& path, std::size_t index,
                ResultWriter& writer, ProgressBar& progress) {
    AudioDecoder decoder(path);
    ChannelMixer mixer(decoder.Channels(), plan.blockSamples, plan.mix);
    Analyzer analyzer(NamesOf(plan.keys),
                      {.sampleRateHz = static_cast<double>(decoder.SampleRateHz()),
                       .channels = static_cast<std::uint32_t>(mixer.OutputChannels()),
                       .maxFrames = plan.blockSamples,
                       .lengthFrames = LengthHint(decoder.ExpectedFrames())});
    for (const auto& [name, value] : plan.parameters) {
        analyzer.setParameter(name, value);
    }
    Keys delivered;
    ConnectWriter(analyzer, plan, writer, delivered);
    writer.BeginFile(DescribeFile(plan, path, index, decoder, analyzer));
    progress.Begin(path, decoder.ExpectedFrames(), decoder.SampleRateHz());

    FileSummary summary;
    while (const std::size_t count = decoder.Read(mixer.Input(), plan.blockSamples)) {
        Interrupt::Check();
        analyzer.push(mixer.Mix(count), count);
        summary.frames += static_cast<std::int64_t>(count);
        progress.Advance(summary.frames);
    }
    summary.missing = DescribeMissing(plan, delivered, FinishStream(analyzer, progress));
    summary.decoder = decoder.Report();
    writer.EndFile(summary);
    return summary;
}

} // namespace

void CheckParameters(const AnalysisPlan& plan) {
    Analyzer analyzer(NamesOf(plan.keys), {.maxFrames = 1});
    for (const auto& [name, value] : plan.parameters) {
        try {
            analyzer.setParameter(name, value);
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

FileSummary AnalyzeFile(const AnalysisPlan& plan, const std::string& path, std::size_t index,
                        ResultWriter& writer, ProgressBar& progress) {
    try {
        return Run(plan, path, index, writer, progress);
    } catch (const Error& error) {
        throw ToolError(error.what());
    }
}

} // namespace qel::tool
