#pragma once

#include "tests/fuzz/AnalyzerSetup.h"
#include "tests/fuzz/AnalyzerSignal.h"
#include "tests/fuzz/ByteProgram.h"
#include "tests/fuzz/ClientScope.h"

namespace qel::fuzz {

// Gives two new analyzers of one setup the same stream, and requires the same deliveries of every
// key to the last bit. The first gets plain pushes. What must not count differs for the second: how
// the stream is cut into pushes, the alignment of buffers, the client's environment, the declared
// length, and a stream before a reset or another initialization. Of at most `mostFrames` frames.
void CompareStreams(ByteProgram& program, const KeyList& keys, const Setup& setup, Signal signal,
                    const ClientEnvironment& environment, UInt32 mostFrames);

} // namespace qel::fuzz
