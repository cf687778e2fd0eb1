#include "tools/selftest/SelfTest.h"

#include "tools/selftest/KeyDigest.h"

#include <QelAudioAnalysis/Analyzer.hpp>

#include <algorithm>
#include <cstdio>
#include <span>
#include <string_view>
#include <vector>

namespace qel::selftest {
namespace {

struct FrozenRow {
    std::string_view key;
    std::uint64_t whole;
    std::uint64_t small;
};

constexpr FrozenRow kFrozen[] = {
#include QEL_FROZEN_DIGESTS
};

constexpr std::string_view kHead =
    "// Frozen values, written by `qel selftest --print`: they guard against change, and are no\n"
    "// evidence that results are right. One digest of 13 s and one of 3 s, by key.\n";

Digests ReadFrozen(std::uint64_t FrozenRow::*digest) {
    Digests digests{};
    for (std::size_t i = 0; i < digests.size(); ++i) {
        const auto row = std::ranges::find(kFrozen, kKeys[i].key, &FrozenRow::key);
        digests[i] = row != std::end(kFrozen) ? (*row).*digest : 0;
    }
    return digests;
}

std::string Format(const char* format, auto... values) {
    char text[160];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

} // namespace

Digests Analyze(SignalSize size) {
    std::vector<std::string_view> keys;
    for (const KeyInfo& key : kKeys) {
        keys.push_back(key.key);
    }
    Analyzer analyzer(keys, StreamSetup{.sampleRateHz = static_cast<double>(size.rateHz),
                                        .channels = 2,
                                        .maxFrames = kFramesPerPush,
                                        .lengthFrames = size.frames});
    std::array<KeyDigest, std::size(kKeys)> digests;
    analyzer.onResult([&digests](const Result& result) {
        digests[static_cast<std::size_t>(result.info() - kKeys)].Add(result);
    });
    const std::vector<std::vector<float>> signal = MakeSignal(size);
    for (std::size_t at = 0; at < size.frames; at += kFramesPerPush) {
        const float* const channels[] = {signal[0].data() + at, signal[1].data() + at};
        analyzer.push(channels, kFramesPerPush);
    }
    analyzer.finish();

    Digests values{};
    std::ranges::transform(digests, values.begin(), &KeyDigest::Value);
    return values;
}

const Digests& FrozenDigests(SignalSize size) {
    static const Digests whole = ReadFrozen(&FrozenRow::whole);
    static const Digests small = ReadFrozen(&FrozenRow::small);
    return size.rateHz == kWholeSignal.rateHz ? whole : small;
}

Report CompareWithFrozen(const Digests& digests, SignalSize size) {
    const Digests& frozen = FrozenDigests(size);
    Report report{"", true};
    int differing = 0;
    for (std::size_t i = 0; i < digests.size(); ++i) {
        const bool isSame = digests[i] == frozen[i];
        differing += isSame ? 0 : 1;
        report.text += Format("%-36s  %s\n", kKeys[i].key.data(), isSame ? "ok" : "differs");
    }
    report.passed = differing == 0;
    report.text += report.passed
                       ? Format("all %zu keys give the results of every machine with %s\n",
                                digests.size(), QEL_BACKEND_NAME)
                       : Format("%d of %zu keys differ from every machine with %s\n", differing,
                                digests.size(), QEL_BACKEND_NAME);
    return report;
}

std::string SourceOfFrozen(const Digests& whole, const Digests& small) {
    std::string text(kHead);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        text += Format("{\"%s\", 0x%016llx, 0x%016llx},\n", kKeys[i].key.data(),
                       static_cast<unsigned long long>(whole[i]),
                       static_cast<unsigned long long>(small[i]));
    }
    return text;
}

} // namespace qel::selftest
