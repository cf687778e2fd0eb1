#include "page/SongDescription.h"

#include "page/PageWriter.h"

#include <cmath>
#include <filesystem>
#include <optional>

namespace qel::page {
namespace {

using Json = nlohmann::ordered_json;

Json OrNull(const std::optional<double>& value) {
    return value && std::isfinite(*value) ? Json(*value) : Json(nullptr);
}

Json OrNull(double value) {
    return value > 0 ? Json(value) : Json(nullptr);
}

Json DescribeTempo(const readings::Tempo& tempo) {
    return {{"bpm", OrNull(tempo.bpm)},
            {"isSteady", tempo.isSteady},
            {"alternativeBpm", OrNull(tempo.alternativeBpm)},
            {"strength", tempo.strength}};
}

Json DescribeKey(const readings::KeyAnswer& key) {
    const bool isKnown = key.strength > 0;
    Json segments = Json::array();
    for (const readings::KeySegment& segment : key.segments) {
        if (isKnown) {
            segments.push_back({{"begin", segment.beginSeconds},
                                {"end", segment.endSeconds},
                                {"name", segment.key.name()}});
        }
    }
    return {{"main", isKnown ? Json(key.main.name()) : Json(nullptr)},
            {"runnerUp", isKnown ? Json(key.runnerUp.name()) : Json(nullptr)},
            {"strength", key.strength},
            {"segments", segments}};
}

Json DescribeLoudness(const readings::Loudness& loudness) {
    return {{"integratedLufs", OrNull(loudness.integratedLufs)},
            {"rangeLu", OrNull(loudness.rangeLu)},
            {"truePeakDbtp", OrNull(loudness.truePeakDbtp)},
            {"samplePeakDbfs", OrNull(loudness.samplePeakDbfs)}};
}

Json DescribeReadings(const readings::Answers& answers) {
    return {{"tempo", DescribeTempo(*answers.tempo)},
            {"bars",
             {{"beatsPerBar", OrNull(answers.bars->beatsPerBar)},
              {"strength", answers.bars->strength}}},
            {"key", DescribeKey(*answers.key)},
            {"loudness", DescribeLoudness(*answers.loudness)},
            {"bandwidth", {{"cutoffHz", OrNull(answers.bandwidth->cutoffHz)}}}};
}

Json Warnings(const Song& song) {
    Json texts = Json::array();
    for (const media::Warning& warning : song.report.warnings) {
        texts.push_back(ShownText(warning.text));
    }
    for (const std::string& warning : song.answers.warnings()) {
        texts.push_back(ShownText(warning));
    }
    return texts;
}

} // namespace

Json DescribeSong(const Song& song) {
    return {{"name", ShownText(std::filesystem::path(song.path).filename().string())},
            {"title", ShownText(song.report.title)},
            {"artist", ShownText(song.report.artist)},
            {"album", ShownText(song.report.album)},
            {"seconds", static_cast<double>(song.frames) / song.sampleRateHz},
            {"sampleRateHz", song.sampleRateHz},
            {"channels", song.channels},
            {"container", song.report.container},
            {"codec", song.report.codec},
            {"bytes", song.bytes},
            {"warnings", Warnings(song)},
            {"readings", DescribeReadings(song.answers)}};
}

} // namespace qel::page
