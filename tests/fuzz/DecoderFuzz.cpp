// Any bytes as an audio file: they are decoded or refused with a reason, and twice the same.

#include "media/AudioDecoder.h"
#include "media/ChannelMixer.h"
#include "media/checks/ChunkLength.h"
#include "media/checks/EbmlLength.h"
#include "media/checks/MovieTiming.h"
#include "media/checks/OggEnding.h"
#include "tests/fuzz/MemoryFile.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <sstream>
#include <string>
#include <vector>

namespace {

using qel::fuzz::MemoryFile;
using qel::fuzz::Require;

// FFmpeg is not instrumented: what came out of it tells the fuzzer that an input is a new one.
// libFuzzer takes counters in a section of this name for coverage.
constexpr std::size_t kOutcomes = 4096;
[[gnu::section("__libfuzzer_extra_counters")]] std::uint8_t gOutcomes[kOutcomes];

void NoteOutcome(const std::string& text) {
    gOutcomes[std::hash<std::string>()(text) % kOutcomes] = 1;
}

void CheckMix(std::span<const float* const> channels, std::span<const float> mono) {
    for (std::size_t i = 0; i < mono.size(); ++i) {
        float low = std::numeric_limits<float>::infinity();
        float high = -low;
        bool finite = true;
        for (const float* channel : channels) {
            low = std::min(low, channel[i]);
            high = std::max(high, channel[i]);
            finite = finite && std::isfinite(channel[i]);
        }
        // A mean in double precision, rounded once, cannot leave the range of floats it is of.
        Require(!finite || (low <= mono[i] && mono[i] <= high),
                "a mean lies between the lowest and the highest channel");
    }
}

// The first channel's block is where the mix goes, so that it is decoded into blocks of its own.
std::int64_t Decode(qel::media::AudioDecoder& decoder, std::size_t blockSamples) {
    qel::media::ChannelMixer mixer(decoder.Channels(), blockSamples, qel::media::ChannelMix::Mono);
    std::vector<std::vector<float>> kept(decoder.Channels());
    std::vector<const float*> channels(decoder.Channels());
    std::int64_t frames = 0;
    while (const std::size_t count = decoder.Read(mixer.Input(), blockSamples)) {
        Require(count <= blockSamples, "a block is not overfilled");
        frames += static_cast<std::int64_t>(count);
        for (std::size_t c = 0; c < channels.size(); ++c) {
            kept[c].assign(mixer.Input()[c], mixer.Input()[c] + count);
            channels[c] = kept[c].data();
        }
        Require(mixer.OutputChannels() == 1, "the mix has one channel");
        CheckMix(channels, {mixer.Mix(count).front(), count});
        if (count < blockSamples) {
            break;
        }
    }
    Require(decoder.Read(mixer.Input(), blockSamples) == 0, "the end stays the end");
    return frames;
}

std::string DecodeAll(const std::string& path, std::size_t blockSamples) {
    try {
        qel::media::AudioDecoder decoder(path);
        const int rateHz = decoder.SampleRateHz();
        const std::size_t channelCount = decoder.Channels();
        Require(rateHz > 0 && channelCount > 0, "audio has a rate and channels");
        Require(decoder.ExpectedFrames() >= 0, "no length below 0 is expected");
        NoteOutcome(decoder.Report().container + decoder.Report().codec);
        const std::int64_t frames = Decode(decoder, blockSamples);
        Require(decoder.SampleRateHz() == rateHz && decoder.Channels() == channelCount,
                "rate and channels stay");
        const qel::media::Report report = decoder.Report();
        Require(report.leadingFramesTrimmed >= 0 && report.trailingFramesTrimmed >= 0 &&
                    report.damagedPackets >= 0,
                "counts are not below 0");
        NoteOutcome(report.codec + (report.damagedPackets > 0 ? "damaged" : "whole") +
                    (report.leadingFramesTrimmed > 0 ? "delayed" : "") +
                    (report.trailingFramesTrimmed > 0 ? "padded" : ""));
        return std::to_string(frames);
    } catch (const qel::media::Error& error) {
        return error.what();
    }
}

std::string CountFrames(const std::string& path) {
    try {
        return std::to_string(qel::media::AudioDecoder::CountFrames(path));
    } catch (const qel::media::Error& error) {
        return error.what();
    }
}

std::string WithoutDigits(std::string text) {
    std::erase_if(text, [](char c) { return c >= '0' && c <= '9'; });
    return text;
}

// The readers of headers see every input, whatever FFmpeg takes it for.
void ReadHeaders(std::span<const std::uint8_t> bytes) {
    const std::string text(bytes.begin(), bytes.end());
    std::istringstream chunks(text);
    std::istringstream matroska(text);
    std::istringstream ogg(text);
    qel::media::AudioChunkIsCut(chunks);
    qel::media::MatroskaIsCut(matroska);
    qel::media::OggIsTruncated(ogg);
    for (const std::int64_t track : {0, 1, 2}) {
        std::istringstream movie(text);
        const auto timing = qel::media::MovieTiming::Read(movie, track);
        Require(!timing || (timing->length > 0 && timing->clock > 0),
                "a track that is timed lasts, and its clock ticks");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qel::media::AudioDecoder::SilenceLibrary();
    ReadHeaders({data, size});
    const MemoryFile file({data, size});
    constexpr std::size_t kBlocks[] = {1, 512, 1000, 4096, 65536};
    const std::string outcome = DecodeAll(file.Path(), kBlocks[size % std::size(kBlocks)]);
    Require(!outcome.empty(), "a refusal has a reason");
    Require(outcome == CountFrames(file.Path()), "the same bytes end in the same way");
    NoteOutcome(WithoutDigits(outcome));
    return 0;
}
