// What clients see, over AudioDecoder and ChannelMixer.

#include "media/AudioDecoder.h"
#include "media/Cancellation.h"
#include "media/ChannelMixer.h"

#include <QelMedia.hpp>

#include <stdexcept>
#include <utility>

namespace qel::media {

struct Reader::Inside {
    Inside(const std::string& path, ReaderSettings&& settings)
        : decoder(path, Cancellation(std::move(settings.isCancelled))),
          mixer(decoder.Channels(), settings.blockFrames, settings.mix),
          blockFrames(settings.blockFrames) {}

    AudioDecoder decoder;
    ChannelMixer mixer;
    std::size_t blockFrames;
};

namespace {

ReaderSettings Checked(ReaderSettings&& settings) {
    if (settings.blockFrames == 0) {
        throw std::invalid_argument("qel::media::Reader: blocks of no frames");
    }
    return std::move(settings);
}

} // namespace

Reader::Reader(const std::string& path, ReaderSettings settings)
    : mInside(std::make_unique<Inside>(path, Checked(std::move(settings)))) {}

Reader::~Reader() = default;
Reader::Reader(Reader&& other) noexcept = default;
Reader& Reader::operator=(Reader&& other) noexcept = default;

int Reader::sampleRateHz() const noexcept {
    return mInside->decoder.SampleRateHz();
}

std::size_t Reader::fileChannels() const noexcept {
    return mInside->decoder.Channels();
}

std::size_t Reader::channels() const noexcept {
    return mInside->mixer.OutputChannels();
}

std::int64_t Reader::expectedFrames() const noexcept {
    return mInside->decoder.ExpectedFrames();
}

Block Reader::read() {
    const std::size_t frames = mInside->decoder.Read(mInside->mixer.Input(), mInside->blockFrames);
    return {mInside->mixer.Mix(frames), frames};
}

Report Reader::report() const {
    return mInside->decoder.Report();
}

std::int64_t countFrames(const std::string& path, const CancelQuestion& isCancelled) {
    return AudioDecoder::CountFrames(path, Cancellation(isCancelled));
}

std::vector<std::string> libraryVersions() {
    return AudioDecoder::LibraryVersions();
}

bool isProcessSpent() noexcept {
    return AudioDecoder::IsProcessSpent();
}

void silenceLibraries() {
    AudioDecoder::SilenceLibrary();
}

} // namespace qel::media
