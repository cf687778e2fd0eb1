#include "tools/qel/SelfTestCommand.h"

#include "output/files/TextSink.h"
#include "tools/qel/ToolError.h"
#include "tools/selftest/SelfTest.h"

#include <string_view>
#include <unistd.h>

namespace qel::tool {
namespace {

void Print(std::string_view text) {
    TextSink sink(STDOUT_FILENO, "standard output");
    sink.Append(text);
    sink.Flush();
}

} // namespace

int RunSelfTest(const SelfTestOptions& options) {
    using namespace qel::selftest;
    if (options.print) {
        Print(SourceOfFrozen(Analyze(kWholeSignal), Analyze(kShortSignal)));
        return kExitSuccess;
    }
    const SignalSize size = options.shortSignal ? kShortSignal : kWholeSignal;
    const Report report = CompareWithFrozen(Analyze(size), size);
    Print(report.text);
    return report.passed ? kExitSuccess : kExitFailure;
}

} // namespace qel::tool
