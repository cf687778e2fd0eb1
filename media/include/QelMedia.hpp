// Audio files to samples: any file of a long list of containers and codecs, as floats, aligned to
// the sample, at its own rate.
//
//     qel::media::Reader reader("song.flac", {.mix = qel::media::ChannelMix::Mono});
//     for (auto block = reader.read(); block.frames > 0; block = reader.read()) {
//         use(block.channels[0], block.frames, reader.sampleRateHz());
//     }
//
// The library, libQelMedia, is independent: it needs FFmpeg's libraries and nothing of the
// analysis. Programs that read files by it get the samples that the tool `qel` analyzes.
// docs/output.md describes containers, codecs, alignment and the treatment of damage.
//
// A "frame" is one sample of every channel.
//
// The interface is of C++20. Client and library must be built with the same C++ standard library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#define QEL_MEDIA_API __attribute__((visibility("default")))

namespace qel::media {

// How several channels are delivered.
enum class ChannelMix {
    Keep, // each is delivered, in the file's order
    Mono  // their mean is delivered, computed in double precision and rounded once
};

// Why a file gives no samples, or no further ones.
enum class Fault {
    Unreadable, // it is missing, may not be read, is not a regular file, or is empty
    NotAudio,   // nothing in it can be decoded to audio
    Damaged,    // its audio is cut or damaged, or changes its rate or channels
    Cancelled   // ReaderSettings::isCancelled answered true
};

// The one exception of this library. what() is one line that says what is wrong with the file,
// without its name: "is truncated: it states 88200 frames, and 65536 could be decoded".
class QEL_MEDIA_API Error : public std::runtime_error {
public:
    Error(Fault fault, const std::string& message);
    Error(const Error& other) noexcept;
    Error& operator=(const Error& other) noexcept;
    ~Error() override;

    // Why. Any thread.
    Fault fault() const noexcept;

private:
    Fault mFault;
};

// Asks whether to give up; true ends the work. It is called on the reading thread, often, and from
// within FFmpeg: it must be quick and must not throw. Empty: the work is never cancelled.
using CancelQuestion = std::function<bool()>;

// How a file is read.
struct ReaderSettings {
    ChannelMix mix = ChannelMix::Keep;
    std::size_t blockFrames = 4096; // the largest block; 1 or more
    CancelQuestion isCancelled{};
};

// Samples of one stretch of the file. The memory is the reader's.
struct Block {
    std::span<const float* const> channels; // one pointer per delivered channel
    std::size_t frames = 0;                 // samples at each pointer; 0: the end
};

// A fault that did not end the reading.
struct Warning {
    std::string text;       // one line, without the file's name
    std::int64_t count = 0; // how many packets, or other things that text names
};

// What a file is, and what was removed from it or damaged.
struct Report {
    std::string container;                  // short name: "wav", "ogg", "mov"
    std::string codec;                      // short name: "vorbis", "aac"
    std::string decoder;                    // the decoder's own name: "mp3float"
    std::string library;                    // what it is a part of: "libavcodec 59.37.100"
    std::int64_t leadingFramesTrimmed = 0;  // frames dropped at the start: the encoder's delay
    std::int64_t trailingFramesTrimmed = 0; // frames dropped at the end: the encoder's padding
    std::int64_t damagedPackets = 0;        // packets that are missing or could not be decoded
    // Tags of the file, unchanged: any bytes, of any length. Empty: none.
    std::string title;
    std::string artist;
    std::string album;
    std::vector<Warning> warnings;
};

// Reads one file from its start to its end. Move only; a moved-from reader can be assigned to and
// destroyed, and nothing else.
//
// Life: construct, read until a block of no frames, report.
//
// Threads: one thread at a time per reader; different readers may work in different threads.
//
// Memory: blockFrames samples for every channel of the file, one frame of the codec, and FFmpeg's
// own. Tables that a header states may have 128 MiB each: a limit that the library sets for the
// whole process.
class QEL_MEDIA_API Reader {
public:
    // Opens a file, chooses its best audio stream, and decodes the first frame.
    //
    //   path      a local file. Names that look like addresses are not followed, and no other file
    //             is opened, whatever this one says.
    //   settings  copied
    //
    // Error with Unreadable, NotAudio, Damaged or Cancelled. std::invalid_argument if blockFrames
    // is 0. std::bad_alloc.
    explicit Reader(const std::string& path, ReaderSettings settings = {});
    ~Reader();
    Reader(Reader&& other) noexcept;
    Reader& operator=(Reader&& other) noexcept;

    // Samples per second, above 0. It is the same to the end of the file.
    int sampleRateHz() const noexcept;

    // Channels of the file, 1 or more, and channels of every block: 1 for a mono mix.
    std::size_t fileChannels() const noexcept;
    std::size_t channels() const noexcept;

    // The length that the file states, in frames; 0 if it states none. It is a hint: it may
    // include an encoder's delay and padding, and may be wrong. countFrames() returns the true
    // length.
    std::int64_t expectedFrames() const noexcept;

    // Delivers the next samples: blockFrames of them, fewer only in the last block; 0 at the end
    // and ever after. Full scale of integer formats is 1; floats are delivered as they are stored.
    //
    // The block is valid until the next call, or until the reader is destroyed or moved from.
    //
    // Error with Damaged where rate or channels change, and at the end for a file that was cut or
    // whose lossless audio is damaged; Error with NotAudio for samples that cannot be converted;
    // Error with Cancelled. After an Error the reader can be destroyed, and nothing else.
    Block read();

    // What is known of the file. Counts and warnings are final once read() has reached the end.
    Report report() const;

private:
    struct Inside;
    std::unique_ptr<Inside> mInside;
};

// Encodes samples as Opus in Ogg, in memory: a small copy for listening. Move only; a moved-from
// encoder can be assigned to and destroyed, and nothing else.
//
// Life: construct, write any number of times, finish.
//
// Threads: one thread at a time per encoder.
class QEL_MEDIA_API OpusEncoder {
public:
    // Whether the installed FFmpeg can code Opus. Any thread.
    static bool isAvailable() noexcept;

    //   sampleRateHz   of what will be written, above 0; the copy has 48000 Hz
    //   channels       1 or 2
    //   bitsPerSecond  approximate bit rate of the copy
    //
    // Error with Unreadable if the encoder cannot be set up. std::invalid_argument for other
    // numbers of channels and rates. std::bad_alloc.
    OpusEncoder(int sampleRateHz, std::size_t channels, int bitsPerSecond = 96000);
    ~OpusEncoder();
    OpusEncoder(OpusEncoder&& other) noexcept;
    OpusEncoder& operator=(OpusEncoder&& other) noexcept;

    // Codes the next samples, one pointer per channel. Error with Unreadable, std::bad_alloc.
    void write(std::span<const float* const> channels, std::size_t frames);

    // Ends the stream: the bytes of the file, whose first sample is the first that was written.
    // Once per encoder.
    std::string finish();

private:
    struct Inside;
    std::unique_ptr<Inside> mInside;
};

// The length of a file in frames, found by decoding all of it. Arguments and faults are those of
// Reader and Reader::read. Any thread.
QEL_MEDIA_API std::int64_t countFrames(const std::string& path,
                                       const CancelQuestion& isCancelled = {});

// Names and versions of FFmpeg's libraries as they are loaded, the decoders' own first:
// "libavcodec 59.37.100". Any thread.
QEL_MEDIA_API std::vector<std::string> libraryVersions();

// Whether this process has opened a file whose decoder keeps a state in the process: libcodec2
// draws phases from random numbers that go on from file to file. In such a process, the next of
// these files is decoded to other samples than in a process of its own. All other files are not
// affected. Any thread.
QEL_MEDIA_API bool isProcessSpent() noexcept;

// Keeps FFmpeg from writing to standard error, in the whole process. Any thread; call it before
// files are read.
QEL_MEDIA_API void silenceLibraries();

} // namespace qel::media
