#include "page/SongCollector.h"

#include "output/files/Interrupt.h"
#include "page/pictures/LaneList.h"
#include "page/pictures/ReassignedCollector.h"
#include "page/pictures/SpectrumCollector.h"
#include "page/pictures/WaveformBuilder.h"

#include <array>
#include <cmath>
#include <filesystem>

namespace qel::page {
namespace {

using readings::Reading;

constexpr std::size_t kBlockFrames = 4096;
constexpr std::array kAsked{Reading::Tempo,     Reading::Beats,       Reading::Bars,
                            Reading::Key,       Reading::Onsets,      Reading::Loudness,
                            Reading::Bandwidth, Reading::RunningTempo};

// The mean of all channels. Samples that are infinite or no numbers count as 0.
class Mixer {
public:
    std::span<const float> Mix(const media::Block& block) {
        mMixed.assign(block.frames, 0.0f);
        const auto count = static_cast<double>(block.channels.size());
        for (std::size_t i = 0; i < block.frames; ++i) {
            double sum = 0;
            for (const float* channel : block.channels) {
                sum += channel[i];
            }
            mMixed[i] = std::isfinite(sum) ? static_cast<float>(sum / count) : 0;
        }
        return mMixed;
    }

private:
    std::vector<float> mMixed;
};

// Everything that reads the samples of a file.
class Collectors {
public:
    explicit Collectors(const media::Reader& file)
        : mReader(ReaderOf(kAsked, file)),
          mSpectrum(LaneList::Get(), file.sampleRateHz(), kBlockFrames),
          mReassigned(LaneList::Get(), file.sampleRateHz()), mWaveform(file.sampleRateHz()) {}

    void Push(const media::Block& block) {
        mReader.push(block.channels, block.frames);
        const std::span<const float> mixed = mMixer.Mix(block);
        mSpectrum.Push(mixed);
        mReassigned.Push(mixed);
        mWaveform.Add(mixed);
    }

    void Finish(Song& song) {
        const double seconds = static_cast<double>(song.frames) / song.sampleRateHz;
        song.answers = mReader.finish();
        song.pictures = mSpectrum.Finish(seconds);
        song.pictures.emplace("reassigned", mReassigned.Finish(seconds));
        song.waveform = mWaveform.Finish();
    }

private:
    readings::Reader mReader;
    SpectrumCollector mSpectrum;
    ReassignedCollector mReassigned;
    WaveformBuilder mWaveform;
    Mixer mMixer;
};

} // namespace

Song CollectSong(const std::string& path, const SongProgress& progress) {
    media::Reader file(
        path, {.blockFrames = kBlockFrames, .isCancelled = output::Interrupt::IsRequested});
    Song song;
    song.path = path;
    song.sampleRateHz = file.sampleRateHz();
    song.channels = file.fileChannels();
    std::error_code unknown;
    song.bytes = std::filesystem::file_size(path, unknown);
    Collectors collectors(file);
    if (progress.begin) {
        progress.begin(file.expectedFrames(), file.sampleRateHz());
    }
    for (media::Block block = file.read(); block.frames > 0; block = file.read()) {
        output::Interrupt::Check();
        collectors.Push(block);
        song.frames += static_cast<std::int64_t>(block.frames);
        if (progress.advance) {
            progress.advance(song.frames);
        }
    }
    const output::Interrupt::AtOnce atOnce; // what follows cannot be asked to stop
    collectors.Finish(song);
    song.report = file.report();
    return song;
}

} // namespace qel::page
