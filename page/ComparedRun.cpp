#include "page/ComparedRun.h"

#include "page/PageWriter.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace qel::page {
namespace {

using Json = nlohmann::ordered_json;

std::string NameOf(const std::string& path) {
    return std::filesystem::path(path).filename().string();
}

Json Parsed(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path)) {
        throw RunError(fmt::format("{}: cannot be read", path));
    }
    Json document = Json::parse(file, nullptr, false);
    if (!document.is_object() || !document.contains("files") || !document["files"].is_array()) {
        throw RunError(fmt::format("{}: is no output of qel read --format json", path));
    }
    return document;
}

const Json& EntryOf(const Json& document, const std::string& path, const std::string& song) {
    const Json& files = document["files"];
    if (files.size() == 1) {
        return files.front();
    }
    for (const Json& entry : files) {
        if (entry.is_object() && NameOf(entry.value("path", std::string())) == NameOf(song)) {
            return entry;
        }
    }
    throw RunError(
        fmt::format("{}: has {} songs and none is named {}", path, files.size(), NameOf(song)));
}

double NumberOr0(const Json& entry, const char* name) {
    const auto found = entry.find(name);
    return found != entry.end() && found->is_number() ? found->get<double>() : 0;
}

double SecondsOf(const Json& entry, const char* name) {
    const auto found = entry.find(name);
    if (!entry.is_object() || found == entry.end() || !found->is_number()) {
        throw RunError(fmt::format("\"{}\" is missing or no number", name));
    }
    return found->get<double>();
}

std::string TextOf(const Json& entry, const char* name) {
    const auto found = entry.find(name);
    return found != entry.end() && found->is_string() ? ShownText(found->get<std::string>()) : "";
}

void TakeBeats(ComparedRun& run, const Json& beats) {
    double last = -1;
    for (const Json& beat : beats) {
        const double seconds = SecondsOf(beat, "seconds");
        if (!std::isfinite(seconds) || seconds <= last) {
            throw RunError("its beats are not in order");
        }
        last = seconds;
        run.beatSeconds.push_back(seconds);
        if (NumberOr0(beat, "position") == 1) {
            run.downBeatSeconds.push_back(seconds);
        }
    }
}

void TakeKeys(ComparedRun& run, const Json& segments) {
    for (const Json& segment : segments) {
        run.keySegments.push_back({SecondsOf(segment, "begin_seconds"),
                                   SecondsOf(segment, "end_seconds"), TextOf(segment, "key")});
    }
}

} // namespace

ComparedRun ReadComparedRun(const std::string& path, const std::string& song) {
    const Json document = Parsed(path);
    const Json& entry = EntryOf(document, path, song);
    if (!entry.is_object() || !entry.contains("beats") || !entry["beats"].is_array()) {
        throw RunError(fmt::format("{}: has no beats: write it with qel read --format json --beats "
                                   "--key-segments",
                                   path));
    }
    ComparedRun run;
    run.file = NameOf(entry.value("path", std::string()));
    run.label = ShownText(NameOf(path));
    run.tempoBpm = NumberOr0(entry, "tempo_bpm");
    run.beatsPerBar = NumberOr0(entry, "beats_per_bar");
    run.key = TextOf(entry, "key");
    const std::string version = TextOf(document, "qel");
    run.label += version.empty() ? "" : " (qel " + version + ")";
    try {
        TakeBeats(run, entry["beats"]);
        TakeKeys(run, entry.value("key_segments", Json::array()));
    } catch (const std::exception& error) {
        throw RunError(fmt::format("{}: cannot be compared: {}", path, error.what()));
    }
    return run;
}

Json DescribeRuns(const std::vector<ComparedRun>& runs) {
    Json list = Json::array();
    for (const ComparedRun& run : runs) {
        Json segments = Json::array();
        for (const ComparedRun::Stretch& stretch : run.keySegments) {
            segments.push_back({{"begin", stretch.beginSeconds},
                                {"end", stretch.endSeconds},
                                {"name", stretch.key}});
        }
        list.push_back(
            {{"label", run.label},
             {"tempoBpm", run.tempoBpm > 0 ? Json(run.tempoBpm) : Json(nullptr)},
             {"beatsPerBar", run.beatsPerBar > 0 ? Json(run.beatsPerBar) : Json(nullptr)},
             {"key", run.key.empty() ? Json(nullptr) : Json(run.key)},
             {"segments", segments}});
    }
    return list;
}

} // namespace qel::page
