#include "output/LabelWriter.h"

#include "output/KeyFacts.h"
#include "output/formats/Numbers.h"
#include "output/formats/Strength.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace qel::output {
namespace {

std::vector<std::string> Ordinals(std::size_t count) {
    std::vector<std::string> texts;
    for (std::size_t i = 1; i <= count; ++i) {
        texts.push_back(std::to_string(i));
    }
    return texts;
}

// Three decimals: a label is for the eye.
std::string StrengthText(float strength) {
    return std::isnan(strength) ? std::string("nan") : fmt::format("{:.3f}", strength);
}

// The position in the bar. Without any down beat there is none to tell, and beats are numbered.
std::vector<std::string> BeatTexts(const std::vector<std::size_t>& positions) {
    if (std::all_of(positions.begin(), positions.end(), [](std::size_t p) { return p == 0; })) {
        return Ordinals(positions.size());
    }
    std::vector<std::string> texts;
    texts.reserve(positions.size());
    for (const std::size_t position : positions) {
        texts.push_back(position == 0 ? std::string() : std::to_string(position));
    }
    return texts;
}

// The texts of all events of a key: what its kind is read for.
std::vector<std::string> Texts(const EventCollector& collected, std::string_view key,
                               std::size_t channel) {
    const std::vector<Event>& events = collected.Events(key, channel);
    if (key == kBeatKey) {
        return BeatTexts(collected.BeatPositions(channel));
    }
    if (key == kDownBeatKey) {
        return Ordinals(events.size());
    }
    std::vector<std::string> texts;
    texts.reserve(events.size());
    for (const Event& event : events) {
        texts.push_back(StrengthText(event.strength));
    }
    return texts;
}

void AppendLabel(TextSink& sink, const Region& region) {
    fmt::memory_buffer& buffer = sink.Buffer();
    AppendSeconds(buffer, region.startSeconds);
    buffer.push_back('\t');
    AppendSeconds(buffer, region.endSeconds);
    buffer.push_back('\t');
    sink.Append(region.text);
    sink.Append("\n");
}

} // namespace

void LabelWriter::BeginFile(const FileHeader& header) {
    mHeader = header;
    mEvents.Clear();
    mRegions.Clear();
    mFiles.Begin(header.path);
    for (const AnalyzedKey& key : header.keys) {
        for (std::size_t c = 0; c < header.analyzedChannels; ++c) {
            mFiles.Add(ResultFiles::KeyName(key.info->key) +
                       ResultFiles::ChannelSuffix(c, header.analyzedChannels) + ".txt");
        }
    }
}

void LabelWriter::Write(std::size_t key, const Result& result) {
    if (result.info()->payload == PayloadKind::Name) {
        const KeyMetaData& metaData = mHeader.keys.at(key).metaData;
        mRegions.Add(result, metaData.frameSamples / metaData.sampleRateHz);
    } else {
        mEvents.Add(result);
    }
}

// Texts are those of all events: that weak ones are left out renumbers nothing.
void LabelWriter::WriteEvents(TextSink& sink, std::string_view key, std::size_t channel) const {
    const std::vector<Event>& events = mEvents.Events(key, channel);
    const std::vector<std::string> texts = Texts(mEvents, key, channel);
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (IsStrong(events[i], mHeader.minStrength)) {
            AppendLabel(sink, {events[i].timeSeconds, events[i].timeSeconds, texts[i]});
        }
    }
}

void LabelWriter::WriteTrack(TextSink& sink, const KeyInfo& info, std::size_t channel) const {
    if (info.payload == PayloadKind::Name) {
        for (const Region& region : mRegions.Regions(info.key, channel)) {
            AppendLabel(sink, region);
        }
    } else {
        WriteEvents(sink, info.key, channel);
    }
}

void LabelWriter::EndFile(const FileSummary&) {
    std::size_t file = 0;
    for (const AnalyzedKey& key : mHeader.keys) {
        for (std::size_t c = 0; c < mHeader.analyzedChannels; ++c) {
            WriteTrack(mFiles.Sink(file++), *key.info, c);
        }
    }
    mFiles.Commit();
}

void LabelWriter::FailFile(const std::string&, const std::string&) {
    mFiles.Drop();
}

} // namespace qel::output
