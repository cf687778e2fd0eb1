// For tests that analyze one file and look at what stays behind.
#pragma once

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace qel::tool {

// A folder with ten seconds of a sine, and with a folder for the tool's temporary files.
class SineInput : public testing::Test {
protected:
    SineInput() {
        std::filesystem::create_directory(mSetup.temporaryDirectory);
        test::WriteFloatWav(mInput, 48000, {test::Sine(480000, 48, 0.5)});
    }

    // Nothing stays but the input and what a test names.
    void ExpectOnly(std::vector<std::string> names) const {
        names.insert(names.end(), {"input.wav", "tmp"});
        std::sort(names.begin(), names.end());
        EXPECT_EQ(mDirectory.Entries(), names);
    }

    test::TempDirectory mDirectory;
    std::string mInput = mDirectory.File("input.wav");
    test::ChildSetup mSetup{.temporaryDirectory = mDirectory.File("tmp")};
};

} // namespace qel::tool
