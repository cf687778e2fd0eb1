// A gammatone bank for the span of a test.
#pragma once

#include "rhythm/onsets/GammatoneBank.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace qel::test {

// The bank of the onsets at 44.1 kHz.
inline constexpr core::Gfb_Parameters kOnsetBank = {44100.0f, 235.0f, 14500.0f, 235.0f, 1.0f, 0};

class BankOwner {
public:
    explicit BankOwner(const core::Gfb_Parameters& parameters, int maxSamples = 4096)
        : status(core::Gfb_Analyzer_new(&mBank, parameters, maxSamples)) {}
    BankOwner(const BankOwner&) = delete;
    BankOwner& operator=(const BankOwner&) = delete;
    // The vectors of the delays are their asker's to free.
    ~BankOwner() {
        for (int i = 0; i < mBank.bandCount; ++i) {
            core::utFree(&mBank.filters[i]->delayReal);
            core::utFree(&mBank.filters[i]->delayImag);
        }
        core::Gfb_Analyzer_remove(&mBank);
    }

    core::Gfb_Analyzer* operator->() { return &mBank; }
    const core::Gfb_Analyzer* operator->() const { return &mBank; }

private:
    core::Gfb_Analyzer mBank{};

public:
    const int status;
};

// What `action` writes to standard output.
template <class Action>
std::string Captured(Action action) {
    testing::internal::CaptureStdout();
    action();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

} // namespace qel::test
