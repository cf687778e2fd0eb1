#include "media/MediaFormats.h"

extern "C" {
#include <libavutil/avstring.h>
}

#include <string_view>

namespace qel::media {
namespace {

constexpr const char* kContainers[] = {
    "aac",        // ADTS
    "ac3",        //
    "adx",        //
    "aea",        // MiniDisc
    "aiff",       // with AIFF-C
    "amr",        //
    "ape",        //
    "apm",        // ADPCM of games, as "argo_asf", "ast" and "wsaud"
    "argo_asf",   //
    "asf",        // Windows Media
    "ast",        //
    "au",         //
    "avi",        // the audio of a video
    "caf",        //
    "codec2",     //
    "dsf",        // DSD
    "dts",        //
    "dtshd",      //
    "eac3",       //
    "flac",       //
    "flv",        //
    "gxf",        // recorders of broadcasters
    "iff",        // 8SVX and DSDIFF
    "ircam",      //
    "loas",       // AAC in LATM
    "matroska",   // with WebM
    "mlp",        //
    "mmf",        // ring tones with sampled audio
    "mov",        // with MP4, M4A and 3GP
    "mp3",        // with MP1 and MP2
    "mpc",        // Musepack 7
    "mpc8",       //
    "mpeg",       // program streams: MPG, VOB
    "mpegts",     //
    "mxf",        //
    "nistsphere", //
    "nut",        //
    "ogg",        //
    "oma",        //
    "qcp",        //
    "rm",         // RealAudio
    "shn",        //
    "smjpeg",     // audio beside still images, which are not decoded
    "sox",        //
    "swf",        // the sound of an animation
    "tak",        //
    "truehd",     //
    "tta",        //
    "voc",        //
    "w64",        //
    "wav",        // with RF64, BW64 and RIFX
    "wsaud",      //
    "wtv",        //
    "wv",         //
    "xwma",       //
};

// Where the library has several decoders for a codec, the one that it chooses itself.
constexpr const char* kDecoders[] = {
    // PCM
    "pcm_alaw", "pcm_bluray", "pcm_dvd", "pcm_f16le", "pcm_f24le", "pcm_f32be", "pcm_f32le",
    "pcm_f64be", "pcm_f64le", "pcm_lxf", "pcm_mulaw", "pcm_s16be", "pcm_s16be_planar", "pcm_s16le",
    "pcm_s16le_planar", "pcm_s24be", "pcm_s24daud", "pcm_s24le", "pcm_s24le_planar", "pcm_s32be",
    "pcm_s32le", "pcm_s32le_planar", "pcm_s64be", "pcm_s64le", "pcm_s8", "pcm_s8_planar",
    "pcm_u16be", "pcm_u16le", "pcm_u24be", "pcm_u24le", "pcm_u32be", "pcm_u32le", "pcm_u8",
    "pcm_vidc",
    "s302m", // PCM in MPEG transport streams
    // DSD
    "dsd_lsbf", "dsd_lsbf_planar", "dsd_msbf", "dsd_msbf_planar", "dst",
    // Lossless
    "alac", "als", "ape", "flac", "mlp", "ralf", "shorten", "tak", "truehd", "tta", "wavpack",
    "wmalossless",
    // ADPCM; g722 and the g726s are called so though their codecs are adpcm_...
    "adpcm_adx", "adpcm_argo", "adpcm_ct", "adpcm_ima_alp", "adpcm_ima_apm", "adpcm_ima_qt",
    "adpcm_ima_smjpeg", "adpcm_ima_wav", "adpcm_ima_ws", "adpcm_ms", "adpcm_sbpro_2",
    "adpcm_sbpro_3", "adpcm_sbpro_4", "adpcm_swf", "adpcm_yamaha", "g722", "g726", "g726le",
    "8svx_exp", "8svx_fib", "mace3", "mace6", "ws_snd1",
    // Music
    "aac", "aac_latm", "ac3", "atrac1", "atrac3", "atrac3al", "atrac3plus", "atrac3plusal", "cook",
    "dca", "eac3", "mp1", "mp2", "mp3float", "mp3adufloat", "mp3on4float", "mpc7", "mpc8",
    "nellymoser", "opus", "qdm2", "qdmc", "vorbis", "wmapro", "wmav1", "wmav2",
    // Speech
    "amrnb", "amrwb", "g723_1", "gsm", "gsm_ms", "ilbc", "libcodec2", "qcelp", "real_144",
    "real_288", "sipr", "speex", "truespeech", "wmavoice"};

template <std::size_t kCount>
std::string Joined(const char* const (&names)[kCount]) {
    std::string text;
    for (const char* name : names) {
        text += (text.empty() ? "" : ",");
        text += name;
    }
    return text;
}

} // namespace

const std::string& MediaFormats::Containers() {
    static const std::string names = Joined(kContainers);
    return names;
}

const std::string& MediaFormats::Decoders() {
    static const std::string names = Joined(kDecoders);
    return names;
}

const std::string& MediaFormats::Protocols() {
    static const std::string names = "file";
    return names;
}

bool MediaFormats::IsContainer(const AVInputFormat& format) {
    return av_match_list(format.name, Containers().c_str(), ',') > 0;
}

const AVCodec* MediaFormats::FindDecoder(AVCodecID id) {
    void* place = nullptr;
    while (const AVCodec* codec = av_codec_iterate(&place)) {
        if (codec->id == id && av_codec_is_decoder(codec) != 0 &&
            av_match_list(codec->name, Decoders().c_str(), ',') > 0) {
            return codec;
        }
    }
    return nullptr;
}

} // namespace qel::media
