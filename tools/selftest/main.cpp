// The self test as a program of its own, for machines to which the tool's decoder does not come.
//
//   qel_selftest [--short]
//   qel_selftest --print

#include "tools/selftest/SelfTest.h"

#include <cstdio>
#include <cstring>
#include <exception>

using namespace qel::selftest;

namespace {

int Compare(SignalSize size) {
    const Report report = CompareWithFrozen(Analyze(size), size);
    std::fputs(report.text.c_str(), stdout);
    return report.passed ? 0 : 1;
}

int Print() {
    std::fputs(SourceOfFrozen(Analyze(kWholeSignal), Analyze(kShortSignal)).c_str(), stdout);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const char* const option = argc == 2 ? argv[1] : "";
    try {
        if (std::strcmp(option, "--print") == 0) {
            return Print();
        }
        if (argc == 1 || std::strcmp(option, "--short") == 0) {
            return Compare(argc == 1 ? kWholeSignal : kShortSignal);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "qel_selftest: %s\n", error.what());
        return 1;
    }
    std::fputs("usage: qel_selftest [--short | --print]\n", stderr);
    return 2;
}
