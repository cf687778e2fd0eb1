#include "page/SongPage.h"

#include "page/PictureWriter.h"
#include "page/SongDescription.h"
#include "page/TempoCurve.h"
#include "page/pictures/ColourMap.h"
#include "page/pictures/LaneList.h"

#include <fmt/format.h>

namespace qel::page {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kAudioPart = 12582912; // bytes: browsers limit the length of a text

std::vector<double> BeatTimes(const readings::Answers& answers) {
    std::vector<double> times;
    for (const readings::Beat& beat : answers.beats->beats) {
        times.push_back(beat.seconds);
    }
    return times;
}

std::vector<double> OnsetTimes(const readings::Answers& answers) {
    std::vector<double> times;
    for (const readings::Onset& onset : *answers.onsets) {
        times.push_back(onset.seconds);
    }
    return times;
}

void WriteEvents(PageWriter& page, const readings::Answers& answers) {
    page.AddArray<double>("marks:beats", BeatTimes(answers));
    page.AddArray<double>("marks:downBeats", answers.bars->downBeatSeconds);
    page.AddArray<double>("marks:onsets", OnsetTimes(answers));
    std::vector<float> strengths;
    std::vector<std::uint8_t> positions;
    for (const readings::Beat& beat : answers.beats->beats) {
        strengths.push_back(beat.strength);
        positions.push_back(static_cast<std::uint8_t>(beat.position));
    }
    page.AddArray<float>("beats:strengths", strengths);
    page.AddArray<std::uint8_t>("beats:positions", positions);
}

void WriteCurves(PageWriter& page, const readings::Answers& answers) {
    const std::vector<double> beats = BeatTimes(answers);
    page.AddArray<float>("curve:tempo:running", answers.runningTempo->bpm);
    page.AddArray<float>("curve:tempo:beats", TempoOfBeats(beats));
    page.AddArray<float>("curve:loudness:momentary", answers.loudness->momentaryLufs);
}

void WriteWaveform(PageWriter& page, const Waveform& waveform) {
    page.AddArray<std::int16_t>("waveform:least", waveform.least);
    page.AddArray<std::int16_t>("waveform:greatest", waveform.greatest);
    page.AddArray<std::int16_t>("waveform:rms", waveform.rootMeanSquare);
}

// The lanes of run n have ids that end with -n.
void WriteRuns(PageWriter& page, const std::vector<ComparedRun>& runs) {
    for (std::size_t n = 0; n < runs.size(); ++n) {
        page.AddArray<double>(fmt::format("marks:beats-{}", n), runs[n].beatSeconds);
        page.AddArray<double>(fmt::format("marks:downBeats-{}", n), runs[n].downBeatSeconds);
        page.AddArray<float>(fmt::format("curve:tempo-{}:beats", n),
                             TempoOfBeats(runs[n].beatSeconds));
    }
}

Json DescribeCurves(const readings::Answers& answers) {
    return {{"tempo:running", {{"hopSeconds", answers.runningTempo->hopSeconds}}},
            {"tempo:beats", {{"at", "marks:beats"}}},
            {"loudness:momentary", {{"hopSeconds", answers.loudness->momentaryHopSeconds}}}};
}

Json Colours() {
    Json colours = Json::array();
    for (const Colour& colour : PerceptualColours()) {
        colours.push_back(
            fmt::format("#{:02x}{:02x}{:02x}", colour.red, colour.green, colour.blue));
    }
    return colours;
}

bool IsOverlay(const std::string& id) {
    return LaneList::Get().LaneOf(id).kind == "overlay";
}

} // namespace

void WriteSongPage(PageWriter& page, const Song& song, const AudioCopy* audio) {
    Json description{{"version", 1}, {"kind", "song"}, {"generator", "qel " QEL_VERSION}};
    description["song"] = DescribeSong(song);
    description["waveform"] = {{"stepSeconds", song.waveform.stepSeconds}};
    description["curves"] = DescribeCurves(song.answers);
    if (!song.runs.empty()) {
        description["runs"] = DescribeRuns(song.runs);
    }
    description["colours"] = Colours();
    for (const auto& [id, picture] : song.pictures) {
        description["pictures"][id] = PictureWriter(id, picture, IsOverlay(id)).Describe();
    }
    const std::size_t parts =
        audio == nullptr ? 0 : (audio->Bytes().size() + kAudioPart - 1) / kAudioPart;
    description["audio"] =
        parts == 0 ? Json(nullptr)
                   : Json{{"type", audio->Type()}, {"parts", parts}, {"coded", audio->IsCoded()}};
    page.Describe(description);
    WriteEvents(page, song.answers);
    WriteCurves(page, song.answers);
    WriteRuns(page, song.runs);
    WriteWaveform(page, song.waveform);
    for (const auto& [id, picture] : song.pictures) {
        PictureWriter(id, picture, IsOverlay(id)).Write(page);
    }
    for (std::size_t part = 0; part < parts; ++part) {
        page.Add(fmt::format("audio:{}", part),
                 audio->Bytes().substr(part * kAudioPart, kAudioPart));
    }
    page.Finish();
}

} // namespace qel::page
