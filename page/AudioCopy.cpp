#include "page/AudioCopy.h"

#include "output/files/Interrupt.h"
#include "page/SongCollector.h"
#include "page/WavFormat.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

namespace qel::page {
namespace {

// What the browsers of today play, as FFmpeg names containers and codecs.
struct Format {
    std::string_view container;
    std::string_view codec;
    const char* type;
};
constexpr Format kPlayed[] = {
    {"wav", "pcm_s16le", "audio/wav"}, {"wav", "pcm_s24le", "audio/wav"},
    {"wav", "pcm_f32le", "audio/wav"}, {"wav", "pcm_u8", "audio/wav"},
    {"mp3", "mp3", "audio/mpeg"},      {"flac", "flac", "audio/flac"},
    {"ogg", "vorbis", "audio/ogg"},    {"ogg", "opus", "audio/ogg"},
    {"ogg", "flac", "audio/ogg"},      {"mov", "aac", "audio/mp4"},
    {"mov", "mp3", "audio/mp4"},       {"mov", "flac", "audio/mp4"},
};

std::optional<std::string> TypeOf(const media::Report& report) {
    for (const Format& format : kPlayed) {
        if (format.container == report.container && format.codec == report.codec) {
            return format.type;
        }
    }
    return std::nullopt;
}

std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (bytes.empty() || file.bad()) {
        throw SongError("its bytes cannot be read for the page");
    }
    return bytes;
}

// Calls take with every block of the file.
template <typename Take>
void Decode(media::Reader& file, Take take) {
    for (media::Block block = file.read(); block.frames > 0; block = file.read()) {
        output::Interrupt::Check();
        take(block);
    }
}

media::Reader Open(const std::string& path) {
    media::Reader file(path, {.isCancelled = output::Interrupt::IsRequested});
    constexpr std::size_t kMostChannels = 2; // more are mixed: browsers disagree about their order
    return file.channels() <= kMostChannels
               ? std::move(file)
               : media::Reader(path, {.mix = media::ChannelMix::Mono,
                                      .isCancelled = output::Interrupt::IsRequested});
}

std::string CodedAsOpus(media::Reader& file) {
    media::OpusEncoder encoder(file.sampleRateHz(), file.channels());
    Decode(file, [&](const media::Block& block) { encoder.write(block.channels, block.frames); });
    return encoder.finish();
}

std::string CodedAsWav(media::Reader& file) {
    std::string samples;
    Decode(file,
           [&](const media::Block& block) { samples += WavSamples(block.channels, block.frames); });
    return WavHeader(file.sampleRateHz(), file.channels(), samples.size()) + samples;
}

} // namespace

AudioCopy::AudioCopy(const std::string& path, const media::Report& report) {
    const std::optional<std::string> type = TypeOf(report);
    std::error_code unknown;
    if (type && std::filesystem::file_size(path, unknown) <= kMostBytes) {
        mType = *type;
        mBytes = BytesOf(path);
        return;
    }
    media::Reader file = Open(path);
    mIsCoded = true;
    const bool canOpus = media::OpusEncoder::isAvailable();
    mType = canOpus ? "audio/ogg" : "audio/wav";
    mBytes = canOpus ? CodedAsOpus(file) : CodedAsWav(file);
}

} // namespace qel::page
