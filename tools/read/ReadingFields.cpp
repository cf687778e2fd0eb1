#include "tools/read/ReadingFields.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace qel::tool {
namespace {

using Json = nlohmann::ordered_json;
using readings::Answers;
using readings::Reading;

constexpr int kTimeDigits = 6; // a microsecond, finer than a sample
constexpr int kTempoDigits = 3;
constexpr int kStrengthDigits = 3;
constexpr int kLevelDigits = 2;
constexpr int kFrequencyDigits = 2;

// A number without the digits that mean nothing.
Json Rounded(double value, int digits) {
    const double scale = std::pow(10.0, digits);
    return std::round(value * scale) / scale + 0.0; // no negative zero
}

Json Rounded(std::optional<double> value, int digits) {
    return value ? Rounded(*value, digits) : Json(nullptr);
}

// 0 means that nothing was found.
Json RoundedOrNull(double value, int digits) {
    return value > 0 ? Rounded(value, digits) : Json(nullptr);
}

Json NameOrNull(const readings::KeyAnswer& answer, const readings::MusicalKey& key) {
    return answer.strength > 0 ? Json(key.name()) : Json(nullptr);
}

struct Field {
    Reading reading;
    const char* name;
    Json (*value)(const Answers& answers);
};

constexpr Field kFields[] = {
    {Reading::Tempo, "tempo_bpm",
     [](const Answers& a) { return RoundedOrNull(a.tempo->bpm, kTempoDigits); }},
    {Reading::Tempo, "tempo_is_steady", [](const Answers& a) { return Json(a.tempo->isSteady); }},
    {Reading::Tempo, "tempo_alternative_bpm",
     [](const Answers& a) { return RoundedOrNull(a.tempo->alternativeBpm, kTempoDigits); }},
    {Reading::Tempo, "tempo_strength",
     [](const Answers& a) { return Rounded(a.tempo->strength, kStrengthDigits); }},
    {Reading::Bars, "beats_per_bar",
     [](const Answers& a) {
         return a.bars->beatsPerBar > 0 ? Json(a.bars->beatsPerBar) : Json(nullptr);
     }},
    {Reading::Bars, "beats_per_bar_strength",
     [](const Answers& a) { return Rounded(a.bars->strength, kStrengthDigits); }},
    {Reading::Key, "key", [](const Answers& a) { return NameOrNull(*a.key, a.key->main); }},
    {Reading::Key, "key_runner_up",
     [](const Answers& a) { return NameOrNull(*a.key, a.key->runnerUp); }},
    {Reading::Key, "key_strength",
     [](const Answers& a) { return Rounded(a.key->strength, kStrengthDigits); }},
    {Reading::Loudness, "loudness_lufs",
     [](const Answers& a) { return Rounded(a.loudness->integratedLufs, kLevelDigits); }},
    {Reading::Loudness, "loudness_range_lu",
     [](const Answers& a) { return Rounded(a.loudness->rangeLu, kLevelDigits); }},
    {Reading::Loudness, "true_peak_dbtp",
     [](const Answers& a) { return Rounded(a.loudness->truePeakDbtp, kLevelDigits); }},
    {Reading::Loudness, "sample_peak_dbfs",
     [](const Answers& a) { return Rounded(a.loudness->samplePeakDbfs, kLevelDigits); }},
    {Reading::Bandwidth, "bandwidth_hz",
     [](const Answers& a) { return Rounded(a.bandwidth->cutoffHz, 0); }},
};

Json BeatsOf(const Answers& answers) {
    Json list = Json::array();
    for (const readings::Beat& beat : answers.beats->beats) {
        list.push_back({{"seconds", Rounded(beat.seconds, kTimeDigits)},
                        {"position", beat.position > 0 ? Json(beat.position) : Json(nullptr)},
                        {"strength", Rounded(beat.strength, kStrengthDigits)}});
    }
    return list;
}

Json DownBeatsOf(const Answers& answers) {
    Json list = Json::array();
    for (const double seconds : answers.bars->downBeatSeconds) {
        list.push_back({{"seconds", Rounded(seconds, kTimeDigits)}});
    }
    return list;
}

Json OnsetsOf(const Answers& answers) {
    Json list = Json::array();
    for (const readings::Onset& onset : *answers.onsets) {
        list.push_back({{"seconds", Rounded(onset.seconds, kTimeDigits)},
                        {"strength", Rounded(onset.strength, kStrengthDigits)}});
    }
    return list;
}

Json KeySegmentsOf(const Answers& answers) {
    Json list = Json::array();
    for (const readings::KeySegment& segment : answers.key->segments) {
        list.push_back({{"begin_seconds", Rounded(segment.beginSeconds, kTimeDigits)},
                        {"end_seconds", Rounded(segment.endSeconds, kTimeDigits)},
                        {"key", segment.key.name()}});
    }
    return list;
}

Json PitchOf(const Answers& answers) {
    Json list = Json::array();
    for (const readings::Pitch& pitch : *answers.pitch) {
        list.push_back({{"seconds", Rounded(pitch.seconds, kTimeDigits)},
                        {"frequency_hz", RoundedOrNull(pitch.frequencyHz, kFrequencyDigits)},
                        {"midi_note", pitch.isVoiced() ? Json(pitch.note()) : Json(nullptr)},
                        {"cents", pitch.isVoiced() ? Rounded(pitch.cents(), 0) : Json(nullptr)},
                        {"strength", Rounded(pitch.strength, kStrengthDigits)}});
    }
    return list;
}

} // namespace

Json FieldsOf(const FileReadings& file, const std::vector<Reading>& shown) {
    const bool isRead = file.error.empty();
    const auto ifRead = [&](const Json& value) { return isRead ? value : Json(nullptr); };
    Json fields{{"path", file.path},
                {"error", isRead ? Json(nullptr) : Json(file.error)},
                {"length_seconds", ifRead(Rounded(file.answers.seconds, kTimeDigits))},
                {"sample_rate_hz", ifRead(file.sampleRateHz)},
                {"channels", ifRead(file.channels)}};
    for (const Field& field : kFields) {
        if (std::ranges::find(shown, field.reading) != shown.end()) {
            fields[field.name] = isRead ? field.value(file.answers) : Json(nullptr);
        }
    }
    return fields;
}

Json ListsOf(const FileReadings& file, const ReadOptions& options) {
    Json lists = Json::object();
    const auto add = [&](bool isAsked, const char* name, Json (*list)(const Answers&)) {
        if (isAsked) {
            lists[name] = file.error.empty() ? list(file.answers) : Json(nullptr);
        }
    };
    add(options.beats, "beats", BeatsOf);
    add(options.downBeats, "down_beats", DownBeatsOf);
    add(options.onsets, "onsets", OnsetsOf);
    add(options.keySegments, "key_segments", KeySegmentsOf);
    add(options.pitch, "pitch", PitchOf);
    return lists;
}

} // namespace qel::tool
