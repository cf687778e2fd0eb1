#include "media/MediaFile.h"

#include "media/MediaFormats.h"
#include "media/checks/ChunkLength.h"
#include "media/checks/EbmlLength.h"
#include "media/checks/FlvTags.h"
#include "media/checks/MovieTiming.h"
#include "media/checks/OggEnding.h"
#include "media/checks/OggPages.h"
#include "media/checks/StatedSize.h"
#include "media/checks/SyncWords.h"
#include "media/checks/TsPackets.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <new>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/common.h>
}

namespace qel::media {
namespace {

// A damaged header may state tables of any size, and FFmpeg makes room for a table before it looks
// for its content. The largest that audio needs is an M4A file's index, 24 bytes a packet: this
// much is 36 hours at 44.1 kHz.
constexpr std::size_t kLargestTableBytes = std::size_t{128} << 20;
constexpr int kMostStreams = 64; // each has tables of its own

// A length counted in another unit. Empty for none, and where the numbers are too large to be true.
std::optional<std::int64_t> Positive(std::int64_t rescaled) {
    // What does not fit, FFmpeg makes the lowest number there is.
    return rescaled > 0 ? std::optional(rescaled) : std::nullopt;
}

// FFmpeg says "End of file" or "Invalid data" of a directory or an empty file, so that the plain
// cases are looked at before it is asked.
void CheckRegularFile(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        throw Error(Fault::Unreadable, std::strerror(errno));
    }
    if (S_ISDIR(info.st_mode)) {
        throw Error(Fault::Unreadable, "is a directory, not an audio file");
    }
    if (!S_ISREG(info.st_mode)) {
        throw Error(Fault::Unreadable, "is not a regular file");
    }
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw Error(Fault::Unreadable, std::strerror(errno));
    }
    close(descriptor);
    if (info.st_size == 0) {
        throw Error(Fault::Unreadable, "the file is empty");
    }
}

// FFmpeg may search a long way for the next packet; every read on it asks this first.
int WantsToEnd(void* cancellation) {
    return static_cast<const Cancellation*>(cancellation)->IsRequested() ? 1 : 0;
}

AvHandle<AVIOContext> OpenLocal(const std::string& path, Cancellation& cancellation) {
    AVIOContext* file = nullptr;
    const std::string address = "file:" + path;
    const AVIOInterruptCB interrupt{WantsToEnd, &cancellation};
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", MediaFormats::Protocols().c_str(), 0);
    const int status = avio_open2(&file, address.c_str(), AVIO_FLAG_READ, &interrupt, &options);
    av_dict_free(&options);
    if (status < 0) {
        cancellation.Check();
        throw Error(Fault::Unreadable, "cannot be read");
    }
    return AvHandle<AVIOContext>(file);
}

// Which container it is, by its content alone.
const AVInputFormat& ProbeContainer(AVIOContext& file, const Cancellation& cancellation) {
    const AVInputFormat* format = nullptr;
    const int status = av_probe_input_buffer2(&file, &format, "", nullptr, 0, 0);
    cancellation.Check();
    if (status < 0 || format == nullptr) {
        throw Error(Fault::NotAudio, "is not an audio file, or is damaged or truncated");
    }
    if (!MediaFormats::IsContainer(*format)) {
        const std::string_view names = format->name;
        if (names.ends_with("_pipe")) { // so the library names its readers of pictures
            throw Error(Fault::NotAudio, "holds no audio stream");
        }
        throw Error(Fault::NotAudio,
                    fmt::format("is not an audio file (its format is \"{}\"), or is damaged",
                                names.substr(0, names.find(','))));
    }
    return *format;
}

AvHandle<AVFormatContext> OpenContainer(AVIOContext& file, const Cancellation& cancellation) {
    const AVInputFormat& format = ProbeContainer(file, cancellation);
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    context->pb = &file;
    context->max_streams = kMostStreams;
    av_max_alloc(kLargestTableBytes);
    // Playlists and scripts name other files, and a file is data, not an order: with no protocol
    // allowed, nothing but what is open already can be read.
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "", 0);
    av_dict_set(&options, "format_whitelist", MediaFormats::Containers().c_str(), 0);
    av_dict_set(&options, "codec_whitelist", MediaFormats::Decoders().c_str(), 0);
    const int status = avformat_open_input(&context, nullptr, &format, &options);
    av_dict_free(&options);
    if (status < 0) {
        cancellation.Check();
    }
    if (status == AVERROR(ENOMEM)) { // also of sizes that a damaged header states
        throw Error(Fault::Damaged, "wants more memory than there is, or is damaged");
    }
    if (status < 0) {
        throw Error(Fault::NotAudio, "is not an audio file, or is damaged or truncated");
    }
    return AvHandle<AVFormatContext>(context);
}

// Whether FFmpeg will search the one stream for the frames of another codec, and not find any.
bool IsSearchedInVain(AVFormatContext& context) {
    const std::string_view name = context.iformat->name;
    if ((name != "wav" && name != "w64") || context.nb_streams != 1 ||
        context.streams[0]->codecpar->codec_id != AV_CODEC_ID_PCM_S16LE) {
        return false;
    }
    const std::int64_t begin = avio_tell(context.pb);
    std::vector<std::uint8_t> bytes(kSearchedBytes);
    const int count = avio_read(context.pb, bytes.data(), static_cast<int>(bytes.size()));
    return avio_seek(context.pb, begin, SEEK_SET) == begin && count > 0 &&
           !MayHoldFrames(std::span(bytes).first(static_cast<std::size_t>(count)));
}

} // namespace

MediaFile::MediaFile(const std::string& path, Cancellation cancellation)
    : mPath(path), mCancellation(std::move(cancellation)) {
    CheckRegularFile(path);
    mFile = OpenLocal(path, mCancellation);
    mContext = OpenContainer(*mFile, mCancellation);
    if (IsSearchedInVain(*mContext)) {
        mContext->probesize = 1; // one packet is enough
    }
    // A status below 0 leaves the streams as they are; the choice below then finds none.
    avformat_find_stream_info(mContext.get(), nullptr);
    mCancellation.Check();
    const int index = av_find_best_stream(mContext.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (index < 0) {
        throw Error(Fault::NotAudio, "holds no audio stream");
    }
    for (unsigned int i = 0; i < mContext->nb_streams; ++i) {
        if (static_cast<int>(i) != index) {
            mContext->streams[i]->discard = AVDISCARD_ALL;
        }
    }
    mStream = mContext->streams[index];
    if (ContainerName() == "sox") {
        std::ifstream file(path, std::ios::binary);
        mSoxSamples = SoxSamples(file);
    }
}

bool MediaFile::ReadPacket(AVPacket& packet) {
    int status = 0;
    while ((status = av_read_frame(mContext.get(), &packet)) >= 0) {
        if (packet.stream_index == mStream->index) {
            ++mPackets;
            if (packet.pts != AV_NOPTS_VALUE && packet.duration >= 0) {
                mEndTime = std::max(mEndTime, av_sat_add64(packet.pts, packet.duration));
            }
            return true;
        }
        av_packet_unref(&packet);
    }
    mCancellation.Check(); // reads fail when it is requested
    // Some readers call a short last packet an error.
    mReadFailed = status != AVERROR_EOF && avio_feof(mContext->pb) == 0;
    return false;
}

std::string MediaFile::ContainerName() const {
    // The MP4 family carries a list of names: the first one stands for all.
    const std::string_view names = mContext->iformat->name;
    return std::string(names.substr(0, names.find(',')));
}

std::optional<std::int64_t> MediaFile::DeclaredFrames(int rateHz) const {
    const int channels = mStream->codecpar->ch_layout.nb_channels;
    if (mSoxSamples > 0 && channels > 0) {
        return Positive(mSoxSamples / channels);
    }
    if (mStream->duration == AV_NOPTS_VALUE || mStream->duration <= 0 ||
        mContext->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return std::nullopt;
    }
    return Positive(av_rescale_q(mStream->duration, mStream->time_base, AVRational{1, rateHz}));
}

std::string MediaFile::Tag(const char* name) const {
    for (const AVDictionary* tags : {mContext->metadata, mStream->metadata}) {
        const AVDictionaryEntry* entry = av_dict_get(tags, name, nullptr, 0);
        if (entry != nullptr) {
            return entry->value;
        }
    }
    return "";
}

std::int64_t MediaFile::DeclaredSlack(int rateHz) const {
    const bool countsPackets = ContainerName() == "caf" && mPackets > 0;
    const std::int64_t ticks = countsPackets ? mStream->duration / mPackets : 1;
    const std::int64_t frames =
        av_rescale_q_rnd(ticks, mStream->time_base, AVRational{1, rateHz}, AV_ROUND_UP);
    return std::max<std::int64_t>(frames - 1, 0);
}

std::optional<std::int64_t> MediaFile::GaplessCommentFrames() const {
    const AVDictionaryEntry* entry = av_dict_get(mContext->metadata, "iTunSMPB", nullptr, 0);
    if (entry == nullptr) {
        return std::nullopt;
    }
    // Hexadecimal words: zero, priming, padding, length.
    std::istringstream words(entry->value);
    std::string word;
    for (int i = 0; i < 4; ++i) {
        if (!(words >> word)) {
            return std::nullopt;
        }
    }
    std::int64_t frames = 0;
    const auto parsed = std::from_chars(word.data(), word.data() + word.size(), frames, 16);
    if (parsed.ec != std::errc() || frames <= 0) {
        return std::nullopt;
    }
    return frames;
}

// Pictures that are attached to the audio last for no time.
bool MediaFile::IsOnlyStream() const {
    for (unsigned int i = 0; i < mContext->nb_streams; ++i) {
        const AVStream* stream = mContext->streams[i];
        if (stream != mStream && (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) {
            return false;
        }
    }
    return true;
}

std::optional<double> MediaFile::MissedDuration(std::int64_t decodedFrames, int rateHz,
                                                std::int64_t slackFrames) const {
    const bool isEstimate = mContext->duration_estimation_method != AVFMT_DURATION_FROM_STREAM;
    if (DeclaredFrames(rateHz) || isEstimate || mContext->duration <= 0 || !IsOnlyStream()) {
        return std::nullopt;
    }
    const double stated = static_cast<double>(mContext->duration) / AV_TIME_BASE;
    const double tick = av_q2d(mStream->time_base);
    const double decoded = static_cast<double>(decodedFrames) / rateHz;
    const double reached = std::max(decoded, static_cast<double>(mEndTime) * tick);
    if (decoded < 2 * tick) {
        return std::nullopt; // too short to be timed
    }
    // The end and the start of the stated time are rounded to ticks.
    const double slack = static_cast<double>(slackFrames) / rateHz + 2 * tick;
    return reached + slack < stated ? std::optional(stated) : std::nullopt;
}

bool MediaFile::HasPacketTimes() const {
    // The times of the MP4 family come from an index, which may leave pauses between them.
    return (mContext->iformat->flags & (AVFMT_TS_DISCONT | AVFMT_NOTIMESTAMPS)) == 0 &&
           ContainerName() != "mov";
}

bool MediaFile::TimesCountSamples() const {
    const AVCodecParameters& parameters = *mStream->codecpar;
    if (ContainerName() == "ogg") { // its times are those of pages
        return false;
    }
    // Vorbis has blocks of two lengths, of which the shorter is below the accuracy of a clock that
    // does not count samples.
    const bool isExact =
        mStream->time_base.num == 1 && mStream->time_base.den == parameters.sample_rate;
    return parameters.codec_id == AV_CODEC_ID_OPUS ||
           (parameters.codec_id == AV_CODEC_ID_VORBIS && isExact);
}

std::int64_t MediaFile::LeastFrames(const AVPacket& packet, int rateHz) const {
    const AVCodecID codec = mStream->codecpar->codec_id;
    const std::string container = ContainerName();
    if (packet.size == 0 || container == "ogg") { // where headers may stand between packets
        return 0;
    }
    if (codec == AV_CODEC_ID_OPUS && container == "mov") {
        return av_rescale_q(packet.duration, mStream->time_base, AVRational{1, rateHz});
    }
    constexpr AVCodecID kAtOnce[] = {AV_CODEC_ID_MP1,  AV_CODEC_ID_MP2,       AV_CODEC_ID_MP3,
                                     AV_CODEC_ID_AC3,  AV_CODEC_ID_EAC3,      AV_CODEC_ID_AAC,
                                     AV_CODEC_ID_OPUS, AV_CODEC_ID_NELLYMOSER};
    return std::find(std::begin(kAtOnce), std::end(kAtOnce), codec) != std::end(kAtOnce) ? 1 : 0;
}

bool MediaFile::IsDamaged(const AVPacket& packet) const {
    // Elsewhere FFmpeg reads blocks of a size of its own, and marks the last one as cut short.
    constexpr const char* kWithPackets = "adx,asf,codec2,flv,mpegts,nut,rm,swf,tta,wsaud,wv";
    return (packet.flags & AV_PKT_FLAG_CORRUPT) != 0 &&
           mStream->codecpar->codec_id != AV_CODEC_ID_S302M && // whose last packet is always marked
           av_match_list(mContext->iformat->name, kWithPackets, ',') > 0;
}

std::int64_t MediaFile::LostPackets() const {
    std::ifstream file(mPath, std::ios::binary);
    const std::string container = ContainerName();
    if (container == "ogg") {
        return CountDamagedOggPages(file);
    }
    if (container == "mpegts") {
        return CountTsGaps(file, mStream->id);
    }
    return container == "flv" && FlvTagIsBroken(file) ? 1 : 0;
}

std::span<const std::uint8_t> MediaFile::OwnFlacHeader() const {
    const AVCodecParameters& parameters = *mStream->codecpar;
    if (ContainerName() != "flac" || parameters.extradata_size <= 0) {
        return {};
    }
    return {parameters.extradata, static_cast<std::size_t>(parameters.extradata_size)};
}

bool MediaFile::EndsEarly() const {
    std::ifstream file(mPath, std::ios::binary);
    const std::string container = ContainerName();
    if (container == "ogg") {
        return OggIsTruncated(file);
    }
    return container == "matroska" ? MatroskaIsCut(file)
                                   : AudioChunkIsCut(file) || StatedSizeIsCut(file, container);
}

bool MediaFile::LacksEndMark() const {
    std::ifstream file(mPath, std::ios::binary);
    return ContainerName() == "ogg" && OggLacksEnd(file);
}

std::optional<std::int64_t> MediaFile::StatedEnd(int rateHz) const {
    constexpr const char* kWithSamplesAlone = "apm,au,sox";
    return av_match_list(mContext->iformat->name, kWithSamplesAlone, ',') > 0
               ? DeclaredFrames(rateHz)
               : std::nullopt;
}

std::optional<std::int64_t> MediaFile::PresentedFrames(int rateHz) const {
    if (ContainerName() != "mov") {
        return std::nullopt;
    }
    if (const auto frames = GaplessCommentFrames()) {
        return frames;
    }
    std::ifstream file(mPath, std::ios::binary);
    const auto timing = MovieTiming::Read(file, mStream->id);
    if (!timing) {
        return std::nullopt;
    }
    return Positive(av_rescale(timing->length, rateHz, timing->clock));
}

} // namespace qel::media
