// What the first pushes of a stream of unknown length touch for the first time. Each page of memory
// or of code costs a fault then, so set-up runs what pushes run. Faults are counted, as times
// depend on the machine. Each life is one of a copy of this process, so that every key starts cold.

#include "tests/trust/Client.h"
#include "tests/trust/KeyNames.h"
#include "tests/trust/SharedMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <set>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace qel::trust {
namespace {

constexpr UInt32 kPushFrames = 256;
// A second: the first frame of every key, and the first slice of the meter's filter at 0.75 s.
constexpr std::size_t kPushes = 172;

struct Faults {
    long all = 0;
    long most = 0; // in one push
};

long FaultsSoFar() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_minflt;
}

// A fault maps the pages around it too, but only those that the system has in memory: code that it
// has not read yet, or has dropped, would cost more faults.
void ReadMappedFiles() {
    std::ifstream maps("/proc/self/maps");
    std::set<std::string> paths;
    for (std::string line; std::getline(maps, line);) {
        if (const std::size_t path = line.find('/'); path != std::string::npos) {
            paths.insert(line.substr(path));
        }
    }
    std::vector<char> piece(1 << 20);
    for (const std::string& path : paths) {
        std::ifstream file(path, std::ios::binary);
        while (file.read(piece.data(), static_cast<std::streamsize>(piece.size()))) {
        }
    }
}

Faults CountFaults(const std::string& key) {
    SharedMemory<Faults> faults;
    EXPECT_TRUE(RunInChild([&] {
        const auto keys = MakeKeyList({key});
        Client client(keys.Get(), {44100.0, 1, kPushFrames, 0});
        std::vector<float> noise(kPushFrames);
        for (std::size_t n = 0; n < noise.size(); ++n) {
            noise[n] = static_cast<float>(n * 7919 % 101) / 101 - 0.5f;
        }
        const float* const channel = noise.data();
        if (client.New() != 0 || client.Initialize() != 0) {
            faults->most = -1;
            return;
        }
        FaultsSoFar(); // the first call touches its own pages
        for (std::size_t i = 0; i < kPushes; ++i) {
            const long before = FaultsSoFar();
            client.Push(&channel, kPushFrames);
            const long taken = FaultsSoFar() - before;
            faults->all += taken;
            faults->most = std::max(faults->most, taken);
        }
    }));
    return *faults;
}

class FirstPushMemoryTest : public testing::TestWithParam<std::string> {};

// Onset data keep their curve in a store that touches one page ahead now and then. Without the work
// at set-up, the push with the first frame takes four faults or more.
TEST_P(FirstPushMemoryTest, APushTouchesAtMostOnePageForTheFirstTime) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "checkers touch pages of their own";
    }
    ReadMappedFiles();
    const Faults faults = CountFaults(GetParam());
    EXPECT_GE(faults.most, 0) << "the key was not set up";
    EXPECT_LE(faults.most, 1) << faults.all << " in " << kPushes << " pushes";
}

// Set-up warms these up. Other keys touch up to eight pages of code with their first frame.
INSTANTIATE_TEST_SUITE_P(Keys, FirstPushMemoryTest,
                         testing::Values("beat data", "down beat data", "global tempo",
                                         "global number of beats per bar", "onset data"),
                         KeyTestName);

} // namespace
} // namespace qel::trust
