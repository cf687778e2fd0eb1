#pragma once

namespace qel::tool {

struct SelfTestOptions {
    bool shortSignal = false;
    bool print = false;
};

// "qel selftest": analyzes audio of its own with all keys and says whether the results are those of
// every machine. kExitSuccess if all are, kExitFailure if not; with `print` the source text of the
// frozen digests, to standard output. May throw OutputError.
int RunSelfTest(const SelfTestOptions& options);

} // namespace qel::tool
