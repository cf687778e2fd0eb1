#include "tools/qel/AnalysisPlan.h"

#include "output/KeyFacts.h"
#include "tools/qel/KeyList.h"
#include "tools/qel/ToolError.h"

#include <QelAudioAnalysis/Analyzer.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <new>

namespace qel::tool {
namespace {

using KeyRows = std::vector<const KeyInfo*>;

// "a", "b", "c"
std::string QuotedList(const KeyRows& keys) {
    std::string list;
    for (const KeyInfo* info : keys) {
        list += fmt::format("{}\"{}\"", list.empty() ? "" : ", ", info->key);
    }
    return list;
}

// Keys that a format has no place for would be analyzed for nothing, and silently.
void RequirePlaces(const KeyRows& keys, const KeyRows& places, const char* format) {
    for (const KeyInfo* info : keys) {
        if (std::find(places.begin(), places.end(), info) == places.end()) {
            throw UsageError(fmt::format("--format {} is for the keys {}, not for \"{}\"", format,
                                         QuotedList(places), info->key));
        }
    }
}

// The keys that were asked for, of those that a format has a place for; all of these if no key was
// says, or says all.
KeyRows ChooseAmong(const AnalyzeOptions& options, const KeyRows& places, const char* format) {
    if (options.keyLists.empty()) {
        return places;
    }
    KeyRows keys = ParseKeys(options.keyLists);
    RequirePlaces(keys, places, format);
    return keys;
}

KeyRows ChooseBeatKeys(const AnalyzeOptions& options) {
    KeyRows keys = ChooseAmong(options, BeatKeys(), "beats");
    if (std::find(keys.begin(), keys.end(), RequireKey(output::kBeatKey)) == keys.end()) {
        throw UsageError(fmt::format("--format beats needs the key \"{}\"", output::kBeatKey));
    }
    return keys;
}

KeyRows ChooseKeys(const AnalyzeOptions& options) {
    switch (options.format) {
    case OutputFormat::Labels:
        return ChooseAmong(options, LabelKeys(), "labels");
    case OutputFormat::Beats:
        return ChooseBeatKeys(options);
    default:
        break;
    }
    if (options.allKeys) {
        return AllKeys();
    }
    return options.keyLists.empty() ? DefaultKeys() : ParseKeys(options.keyLists);
}

// Sizes of blocks that some of the plan's keys do not take.
void CheckBlock(const AnalysisPlan& plan) {
    for (const KeyInfo* info : plan.keys) {
        if (plan.blockSamples % info->pushMultiple != 0) {
            throw UsageError(fmt::format("--block must be a multiple of {} for \"{}\"",
                                         info->pushMultiple, info->key));
        }
    }
}

// Parameters that none of the plan's keys has: the message tells those that there are.
void CheckParameters(const AnalysisPlan& plan) {
    if (plan.parameters.empty()) {
        return; // an analyzer for nothing takes as long as a short file
    }
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

} // namespace

AnalysisPlan MakePlan(const AnalyzeOptions& options) {
    AnalysisPlan plan;
    plan.keys = ChooseKeys(options);
    plan.mix = options.mix;
    plan.blockSamples = options.blockSamples;
    plan.minStrength = ParseStrength(options.minStrength);
    for (const std::string& text : options.parameters) {
        plan.parameters.push_back(ParseParameter(text));
    }
    CheckBlock(plan);
    CheckParameters(plan);
    return plan;
}

} // namespace qel::tool
