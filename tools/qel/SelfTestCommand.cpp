#include "tools/qel/SelfTestCommand.h"

#include "tools/qel/StandardStreams.h"
#include "tools/qel/ToolError.h"
#include "tools/selftest/SelfTest.h"

namespace qel::tool {

int RunSelfTest(const SelfTestOptions& options) {
    using namespace qel::selftest;
    if (options.print) {
        StandardStreams::Print(SourceOfFrozen(Analyze(kWholeSignal), Analyze(kShortSignal)));
        return kExitSuccess;
    }
    const SignalSize size = options.shortSignal ? kShortSignal : kWholeSignal;
    const Report report = CompareWithFrozen(Analyze(size), size);
    StandardStreams::Print(report.text);
    return report.passed ? kExitSuccess : kExitFailure;
}

} // namespace qel::tool
