// Every request for memory in the life of an analyzer is refused once, each in a process of its own
// that has never used the library before, so that whatever is made once per process is among them.
//
// Of the requests that come round and round, some are left out to save time, unless
// QEL_TRUST_EXHAUSTIVE stands in the environment.

#include "tests/trust/KeyGroups.h"
#include "tests/trust/Life.h"
#include "tests/trust/MemoryGate.h"
#include "tests/trust/SharedMemory.h"
#include "tests/trust/Stride.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <string>
#include <tuple>

namespace qel::trust {
namespace {

using Refuse = MemoryGate::Refuse;

constexpr long kMostRequests = 20000;

// From one request that is refused to the next.
long Stride(const std::string& step) {
    constexpr long kOfRepeats = 5;
    if (std::getenv("QEL_TRUST_EXHAUSTIVE") != nullptr) {
        return 1;
    }
    // Process asks in loops, and Reset for what Initialize asked for.
    const bool repeats = step.starts_with("Process") || step.starts_with("Reset");
    return (repeats ? kOfRepeats : 1) * RequestStride();
}

// What a process tells the test.
struct Report {
    Outcome outcome;
    long live;        // blocks that are held after the client's end and were not before
    bool refused;     // whether the life had as many requests
    std::size_t step; // in which one was refused
    bool told;        // and somebody was told
    bool spared;      // or it was one of FFTW's, for which there is a reserve
    bool failed;      // an expectation was
};

class LifeMemoryTest : public testing::TestWithParam<std::tuple<KeyGroup, Refuse>> {
protected:
    // The undisturbed life twice, so that two of its outcomes can be compared.
    static void LiveUndisturbed(const Life& life, CFArrayRef keys, Report& report) {
        Client client(keys, life.Setup());
        life.Run(client, 0, life.Find("Initialize"));
        report.outcome = life.RunFromInitialize(client);
        const Outcome second = life.RunFromInitialize(client);
        EXPECT_EQ(report.outcome.statuses, second.statuses);
        EXPECT_EQ("", report.outcome.results.Difference(second.results));
    }

    // A life in which a request is refused, and what can be done after it.
    static void LiveDisturbed(const Life& life, CFArrayRef keys, long granted, Refuse refuse,
                              const Outcome& expected, Report& report) {
        Client client(keys, life.Setup());
        MemoryGate::Close(granted, refuse);
        report.told = !RunToException(life, client, report.step);
        report.spared = MemoryGate::HasRefusedFFTW();
        report.refused = MemoryGate::Open();
        EXPECT_TRUE(report.refused || !report.told);
        if (!report.refused) {
            return;
        }
        if (refuse == Refuse::kFromThenOn) {
            // Without another initialization no more is asked of what follows than that it ends.
            GoOn(life, client, report.step + 1);
        }
        if (client.Handle() == nullptr) {
            EXPECT_EQ(0, client.New());
        }
        report.outcome = life.RunFromInitialize(client);
        EXPECT_EQ(expected.statuses, report.outcome.statuses);
        EXPECT_EQ("", expected.results.Difference(report.outcome.results));
    }

    // False if std::bad_alloc left a step. Stops after a step in which a request was refused
    // without that, too.
    static bool RunToException(const Life& life, Client& client, std::size_t& step) {
        for (step = 0; step < life.Steps().size(); ++step) {
            try {
                life.Steps()[step].call(client);
            } catch (const std::bad_alloc&) {
                return false;
            }
            if (MemoryGate::HasRefused()) {
                break; // and nobody was told
            }
        }
        return true;
    }

    static void GoOn(const Life& life, Client& client, std::size_t first) {
        for (std::size_t step = first; step + 1 < life.Steps().size(); ++step) {
            life.Steps()[step].call(client);
        }
    }

    // Runs a body in a copy of this process. False if that crashed, or if an expectation failed.
    template <class Body>
    static bool InChild(Report& report, const Body& body) {
        report = Report{};
        report.refused = true; // a crash is one on a refusal
        return RunInChild([&] {
                   const long before = MemoryGate::Live();
                   body();
                   report.live = MemoryGate::Live() - before;
                   report.failed = HasFailure();
               }) &&
               !report.failed;
    }

    // Whether as many blocks are held as in the undisturbed life. What FFTW got of its reserve is
    // no block of its own, and the reserve is one until the process ends.
    static bool IsNothingLost(const Report& report, long undisturbed) {
        const long more = report.live - undisturbed;
        return report.spared ? more <= 1 : more == 0;
    }

    // The request to refuse next. FFTW asks for a thousand blocks in a row, of which a few are
    // refused; when a row is over, the requests since the last one of them that was refused follow.
    struct Requests {
        static constexpr long kOfFFTW = 40;

        long n = 0;
        long last = -1;
        long exactTo = 0;
        bool skipped = false;

        bool GoBack(bool spared) {
            if (spared || !skipped) {
                return false;
            }
            skipped = false;
            exactTo = n + 1;
            n = last + 1;
            return true;
        }
        void GoOn(bool spared, long stride) {
            last = n;
            skipped = spared && n >= exactTo && stride < kOfFFTW &&
                      std::getenv("QEL_TRUST_EXHAUSTIVE") == nullptr;
            n += skipped ? kOfFFTW : stride;
        }
    };

    // Disturbs one life after the other, until one has fewer requests than are granted.
    void RefuseEveryRequest(Refuse refuse) {
        SharedMemory<Report> report;
        std::string faults;
        for (Requests requests; requests.n < kMostRequests && faults.size() < 1000;) {
            const long n = requests.n;
            const bool fine = InChild(*report, [&] {
                LiveDisturbed(mLife, mKeys.Get(), n, refuse, mUndisturbed->outcome, *report);
            });
            if (requests.GoBack(report->spared)) {
                continue;
            }
            if (!report->refused) {
                EXPECT_GT(n, 0);
                EXPECT_EQ("", faults);
                return;
            }
            const std::string& step = mLife.Steps()[report->step].name;
            ++mRefusals[step];
            mUntold += report->told || report->spared ? 0 : 1;
            if (!fine || !IsNothingLost(*report, mUndisturbed->live)) {
                faults += "request " + std::to_string(n) + " in " + step + ", blocks lost " +
                          std::to_string(report->live - mUndisturbed->live) + "\n";
            }
            requests.GoOn(report->spared, Stride(step));
        }
        ADD_FAILURE() << faults << "and the life never went through";
    }

    const Life mLife;
    const test::CFOwner<CFMutableArrayRef> mKeys = MakeKeyList(std::get<0>(GetParam()).keys);
    SharedMemory<Report> mUndisturbed;
    std::map<std::string, int> mRefusals;
    int mUntold = 0;
};

TEST_P(LifeMemoryTest, EveryRefusalIsToldAndSurvivedAndNothingIsLost) {
    ASSERT_TRUE(
        InChild(*mUndisturbed, [&] { LiveUndisturbed(mLife, mKeys.Get(), *mUndisturbed); }));
    RefuseEveryRequest(std::get<1>(GetParam()));
    int all = 0;
    for (const auto& [step, count] : mRefusals) {
        std::printf("%5d refused in %s\n", count, step.c_str());
        all += count;
    }
    std::printf("%5d refused in all\n", all);
    EXPECT_EQ(0, mUntold);
}

std::string Name(const testing::TestParamInfo<std::tuple<KeyGroup, Refuse>>& info) {
    const auto& [group, refuse] = info.param;
    return group.name + testing::PrintToString(refuse);
}

INSTANTIATE_TEST_SUITE_P(Groups, LifeMemoryTest,
                         testing::Combine(testing::ValuesIn(KeyGroups()),
                                          testing::Values(Refuse::kOnce, Refuse::kFromThenOn)),
                         Name);

} // namespace
} // namespace qel::trust
