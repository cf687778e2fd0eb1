#include "bindings/python/src/ReadingAnswers.h"

#include "bindings/python/src/Arrays.h"

#include <nanobind/stl/optional.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>

namespace qel::python {
namespace {

// One number of each record.
template <class Value, class Record, class Number>
nb::object Column(const std::vector<Record>& records, Number number) {
    std::vector<Value> values;
    values.reserve(records.size());
    std::transform(
        records.begin(), records.end(), std::back_inserter(values),
        [&](const Record& record) { return static_cast<Value>(std::invoke(number, record)); });
    return ArrayOf(std::move(values));
}

nb::dict Plain(const readings::Tempo& tempo) {
    nb::dict plain;
    plain["bpm"] = tempo.bpm;
    plain["alternative_bpm"] = tempo.alternativeBpm;
    plain["is_steady"] = tempo.isSteady;
    plain["strength"] = tempo.strength;
    return plain;
}

nb::dict Plain(const readings::Beats& beats) {
    nb::dict plain;
    plain["times"] = Column<double>(beats.beats, &readings::Beat::seconds);
    plain["strengths"] = Column<float>(beats.beats, &readings::Beat::strength);
    plain["positions"] = Column<std::int32_t>(beats.beats, &readings::Beat::position);
    plain["grid_first"] = beats.grid ? nb::cast(beats.grid->firstBeatSeconds) : nb::none();
    plain["grid_bpm"] = beats.grid ? nb::cast(beats.grid->bpm) : nb::none();
    return plain;
}

nb::dict Plain(const readings::Bars& bars) {
    nb::dict plain;
    plain["beats_per_bar"] = bars.beatsPerBar;
    plain["strength"] = bars.strength;
    plain["downbeats"] = ArrayOf(std::vector<double>(bars.downBeatSeconds));
    return plain;
}

nb::tuple Plain(const readings::MusicalKey& key) {
    return nb::make_tuple(key.tonic, key.isMinor, key.name());
}

nb::dict Plain(const readings::KeyAnswer& key) {
    nb::list segments;
    for (const readings::KeySegment& segment : key.segments) {
        segments.append(
            nb::make_tuple(segment.beginSeconds, segment.endSeconds, Plain(segment.key)));
    }
    nb::dict plain;
    plain["main"] = Plain(key.main);
    plain["runner_up"] = Plain(key.runnerUp);
    plain["strength"] = key.strength;
    plain["segments"] = segments;
    return plain;
}

nb::dict Plain(const std::vector<readings::Onset>& onsets) {
    nb::dict plain;
    plain["times"] = Column<double>(onsets, &readings::Onset::seconds);
    plain["strengths"] = Column<float>(onsets, &readings::Onset::strength);
    return plain;
}

nb::dict Plain(const std::vector<readings::Pitch>& pitch) {
    nb::dict plain;
    plain["times"] = Column<double>(pitch, &readings::Pitch::seconds);
    plain["frequencies"] = Column<float>(pitch, &readings::Pitch::frequencyHz);
    plain["strengths"] = Column<float>(pitch, &readings::Pitch::strength);
    // Of what is not voiced there is neither.
    plain["notes"] = Column<std::int32_t>(
        pitch, [](const readings::Pitch& p) { return p.isVoiced() ? p.note() : -1; });
    plain["cents"] = Column<float>(
        pitch, [](const readings::Pitch& p) { return p.isVoiced() ? p.cents() : 0.0; });
    return plain;
}

nb::dict Plain(const readings::Timbre& timbre) {
    const std::size_t frames =
        timbre.coefficients != 0 ? timbre.values.size() / timbre.coefficients : 0;
    const std::array<std::size_t, 2> shape{frames, timbre.coefficients};
    nb::dict plain;
    plain["values"] = ArrayOf(std::vector<float>(timbre.values), shape);
    plain["frame_seconds"] = timbre.frameSeconds;
    plain["hop_seconds"] = timbre.hopSeconds;
    return plain;
}

nb::dict Plain(const readings::Loudness& loudness) {
    nb::dict plain;
    plain["integrated_lufs"] = nb::cast(loudness.integratedLufs);
    plain["range_lu"] = nb::cast(loudness.rangeLu);
    plain["true_peak_dbtp"] = nb::cast(loudness.truePeakDbtp);
    plain["sample_peak_dbfs"] = nb::cast(loudness.samplePeakDbfs);
    plain["momentary_lufs"] = ArrayOf(std::vector<float>(loudness.momentaryLufs));
    plain["momentary_hop_seconds"] = loudness.momentaryHopSeconds;
    return plain;
}

nb::dict Plain(const readings::Bandwidth& bandwidth) {
    nb::dict plain;
    plain["cutoff_hz"] = nb::cast(bandwidth.cutoffHz);
    return plain;
}

nb::dict Plain(const readings::RunningTempo& tempo) {
    nb::dict plain;
    plain["bpm"] = ArrayOf(std::vector<float>(tempo.bpm));
    plain["hop_seconds"] = tempo.hopSeconds;
    return plain;
}

template <class Answer>
void Add(nb::dict& dict, const char* name, const std::optional<Answer>& answer) {
    if (answer) {
        dict[name] = Plain(*answer);
    }
}

} // namespace

nb::dict DictOf(const readings::Answers& answers) {
    nb::dict dict;
    dict["seconds"] = answers.seconds;
    dict["channels_cancel"] = answers.channelsCancel;
    nb::list warnings;
    for (const std::string& warning : answers.warnings()) {
        warnings.append(warning);
    }
    dict["warnings"] = warnings;
    Add(dict, "tempo", answers.tempo);
    Add(dict, "beats", answers.beats);
    Add(dict, "bars", answers.bars);
    Add(dict, "key", answers.key);
    Add(dict, "onsets", answers.onsets);
    Add(dict, "pitch", answers.pitch);
    Add(dict, "mfcc", answers.timbre);
    Add(dict, "loudness", answers.loudness);
    Add(dict, "bandwidth", answers.bandwidth);
    Add(dict, "running_tempo", answers.runningTempo);
    return dict;
}

} // namespace qel::python
