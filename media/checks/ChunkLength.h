#pragma once

#include <cstdint>
#include <iosfwd>

namespace qel::media {

// Whether a file that consists of chunks ends before its audio does, by the size that it states
// itself. FFmpeg reads such a file to its end and drops the stated size, so that the chunks have to
// be looked at here. Known are WAV (also RIFX, RF64 and BW64), W64, AIFF, 8SVX, DSDIFF, DSF, CAF,
// AU, SoX, VOC, AVI, the MP4 family, Windows Media and MMF.
//
// False for any other file, for what programs write which stream to a pipe and never learn the
// length (0, -1, and in RIFF sizes from 2 GiB less a page upwards), and for a file whose audio
// stands after more than 65536 other chunks.
bool AudioChunkIsCut(std::istream& file);

// The samples of all channels that the header of a SoX file states, which FFmpeg does not read. 0
// for none, and for any other file.
std::int64_t SoxSamples(std::istream& file);

} // namespace qel::media
