#include "output/BeatWriter.h"

#include "output/KeyFacts.h"
#include "output/formats/Numbers.h"
#include "output/formats/Strength.h"

#include <iterator>

namespace qel::output {

void BeatWriter::BeginFile(const FileHeader& header) {
    mHeader = header;
    mEvents.Clear();
    mFiles.Begin(header.path);
    for (std::size_t c = 0; c < header.analyzedChannels; ++c) {
        mFiles.Add("beats" + ResultFiles::ChannelSuffix(c, header.analyzedChannels) + ".txt");
    }
}

void BeatWriter::Write(std::size_t, const Result& result) {
    mEvents.Add(result);
}

// Positions are those among all beats: that weak ones are left out moves none.
void BeatWriter::WriteChannel(TextSink& sink, std::size_t channel) const {
    const std::vector<Event>& beats = mEvents.Events(kBeatKey, channel);
    const std::vector<std::size_t> positions = mEvents.BeatPositions(channel);
    for (std::size_t i = 0; i < beats.size(); ++i) {
        if (IsStrong(beats[i], mHeader.minStrength)) {
            fmt::memory_buffer& buffer = sink.Buffer();
            AppendSeconds(buffer, beats[i].timeSeconds);
            if (positions[i] != 0) {
                fmt::format_to(std::back_inserter(buffer), "\t{}", positions[i]);
            }
            sink.Append("\n");
        }
    }
}

void BeatWriter::EndFile(const FileSummary&) {
    for (std::size_t c = 0; c < mHeader.analyzedChannels; ++c) {
        WriteChannel(mFiles.Sink(c), c);
    }
    mFiles.Commit();
}

void BeatWriter::FailFile(const std::string&, const std::string&) {
    mFiles.Drop();
}

} // namespace qel::output
