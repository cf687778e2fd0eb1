// The exported functions in any order, with everything that the contract allows or answers.
// README.md tells how the bytes are read.

#include "tests/fuzz/AnalyzerRun.h"
#include "tests/fuzz/ByteProgram.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qel::fuzz::ByteProgram program(data, size);
    qel::fuzz::AnalyzerRun(program).Run();
    return 0;
}
