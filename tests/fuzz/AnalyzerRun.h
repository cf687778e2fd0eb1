// One program of the fuzz target `analyzer`: an analyzer, what its client knows, and what is done
// with it.
#pragma once

#include "tests/fuzz/AllocationLimit.h"
#include "tests/fuzz/AnalyzerSetup.h"
#include "tests/fuzz/AnalyzerSignal.h"
#include "tests/fuzz/ByteProgram.h"
#include "tests/fuzz/ClientScope.h"
#include "tests/fuzz/DeliveryCheck.h"
#include "tests/fuzz/Require.h"

#include <QelAudioAnalysis.h>

#include <cstdint>
#include <new>
#include <optional>
#include <utility>

namespace qel::fuzz {

class AnalyzerRun {
public:
    explicit AnalyzerRun(ByteProgram& program);
    AnalyzerRun(const AnalyzerRun&) = delete;
    AnalyzerRun& operator=(const AnalyzerRun&) = delete;
    ~AnalyzerRun() { Dispose(); }

    // Runs operations until the bytes or a limit of operations end.
    void Run();

private:
    static constexpr UInt64 kMostWork = 1500000; // in the units of KeyList::WorkPerSample
    // Kernels are designed as long as the rates of those before add up to less: those that come
    // first may be of any rate.
    static constexpr double kKernelHz = 48e3;

    enum class State { Named, Streaming, Broken };

    void Operate();

    // Runs an exported function in the client's environment. Memory that runs out breaks the
    // handle until it is initialized anew; it may do so only where there is a reason.
    template <class Call>
    std::optional<SInt32> Guarded(bool mayRunOut, const Call& call) {
        std::optional<SInt32> status;
        const std::optional<std::uint16_t> failure = std::exchange(mFailure, std::nullopt);
        try {
            const ClientScope scope(mEnvironment);
            if (failure) {
                FailAllocationAfter(*failure);
            }
            status = call();
        } catch (const std::bad_alloc&) {
        }
        const bool failed = EndAllocationFailures();
        Require(status || mayRunOut || failed, "memory runs out for a reason");
        if (!status) {
            mState = mState == State::Named ? State::Named : State::Broken;
            mCheck->Facts().isPlain = false;
        }
        return status;
    }

    void New();
    void Dispose();

    // Constant-Q kernels take about as long to design as the sample rate is high: 4 s at 768 kHz
    // under the checkers. Those of usual rates are designed once per process. A program that has
    // designed enough others gets a usual rate instead.
    void BoundKernels(Setup& setup);

    void Initialize();
    void Reset();
    bool IsStreaming() const { return mHandle != nullptr && mState != State::Named; }
    UInt32 SomeFrames();
    bool Affords(UInt64 frames);
    void Push();
    void PushOnce(PushList& list, UInt32 frames);
    SInt32 StatusOfTakenPush(UInt32 frames) const;

    // Pushes that do not fit, alone or together; the first reason is told.
    void PushRefused();

    static int Progress(void* unused, float percent, void* refCon);
    void Process(UInt8 flush);
    void Compare();
    void UseParameter();
    void AskProperty();

    // Of blocks that a client has made: floats, short, or none.
    void AskDictionary();

    void UseNullHandle();

    // Memory fails once in the next call.
    void FailSoon() { mFailure = mProgram.Coin() ? mProgram.Byte() : mProgram.Word() % 4096; }

    ByteProgram& mProgram;
    ClientEnvironment mEnvironment;
    Signal mSignal;
    std::optional<KeyList> mKeys;
    std::optional<DeliveryCheck> mCheck;
    QelAudioAnalysisRef mHandle = nullptr;
    Setup mSetup;
    State mState = State::Named;
    bool mIsComplex = false;
    int mReportsLeft = -1;
    UInt64 mWorkLeft = kMostWork;
    double mKernelHzLeft = kKernelHz;
    std::optional<std::uint16_t> mFailure;
};

} // namespace qel::fuzz
