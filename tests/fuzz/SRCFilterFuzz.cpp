// Any design, ratio and cut of a stream into calls. Two filters of one setup get the same audio,
// one in a single call and the other in many, and must agree.

#include "support/audio/SRCFilter.h"
#include "tests/fuzz/ByteProgram.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace qel::fuzz {
namespace {

using core::SRCFilter;
using Parameters = core::KaiserBesselFilterParameters;
using Channels = std::vector<std::vector<float>>;

// Taps of all branches together: a tap costs two power series of up to hundreds of terms.
constexpr UInt64 kMostTaps = 4096;
constexpr UInt32 kMostFrames = 2000;
constexpr UInt32 kMostOutputs = 20000;
constexpr UInt32 kMostChannels = 4;

double AnyDouble(ByteProgram& program, double usual) {
    switch (program.Below(4)) {
    case 0:
        return program.Double();
    case 1:
        return static_cast<double>(program.Float());
    default:
        return usual * program.Byte() / 64.0;
    }
}

Parameters AnyParameters(ByteProgram& program, UInt32 length) {
    const double cutoff = AnyDouble(program, 0.3);
    const UInt32 type = program.Seldom(8) ? program.Long() : program.Below(2);
    switch (program.Below(4)) {
    case 0:
        return {cutoff, length, AnyDouble(program, 0.1), type};
    case 1:
        return {cutoff, AnyDouble(program, 80.0), AnyDouble(program, 0.1), type};
    case 2: {
        Parameters parameters(cutoff, AnyDouble(program, 80.0), length, type);
        parameters.alpha = AnyDouble(program, 10.0);
        return parameters;
    }
    default:
        return {cutoff, AnyDouble(program, 80.0), length, type};
    }
}

UInt32 AnyRate(ByteProgram& program) {
    constexpr UInt32 kRates[] = {100, 8000, 44100, 48000, 96000, 1, 0};
    switch (program.Below(4)) {
    case 0:
        return program.OneOf(kRates);
    case 1:
        return program.Long();
    default:
        return program.Below(20);
    }
}

// How many outputs a call has. Places count inputs from the first of the history on, in steps of
// 1 / L.
class Schedule {
public:
    Schedule(const SRCFilter& filter, UInt32 taps, UInt32 phase)
        : mUp(filter.UpFactor()), mDown(filter.DownFactor()), mDelay(taps - 1), mPlace(phase) {}

    std::size_t Outputs(UInt32 frames) {
        std::size_t count = 0;
        const bool isGeneral = mUp != 1 && mUp != mDown;
        if (isGeneral && mPlace / mUp == mDelay) {
            mLacksAnInput = true;
            Step(count);
        }
        while (mPlace < frames * mUp) {
            Step(count);
        }
        mPlace -= frames * mUp;
        return count;
    }

    // Whether some output was computed with 0 for its last input, which the contract requires for
    // some ratios.
    bool LacksAnInput() const { return mLacksAnInput; }

private:
    void Step(std::size_t& count) {
        mPlace += mDown;
        ++count;
    }

    UInt64 mUp;
    UInt64 mDown;
    UInt64 mDelay;
    UInt64 mPlace;
    bool mLacksAnInput = false;
};

// A filter with what it gave so far.
class Conversion {
public:
    Conversion(UInt32 inputRate, UInt32 outputRate) : mFilter(inputRate, outputRate) {}

    SRCFilter& Filter() { return mFilter; }
    const Channels& Output() const { return mOutput; }
    bool LacksAnInput() const { return mSchedule.LacksAnInput(); }

    void Begin(UInt32 taps, UInt32 phase) {
        mTaps = taps;
        mSchedule = Schedule(mFilter, taps, phase);
        mOutput.assign(mFilter.ChannelCount(), {});
    }

    // Converts frames `first` to `end`, each call with blocks of its own that are as large as need
    // be.
    void Call(const Channels& audio, std::size_t first, std::size_t end) {
        const auto frames = static_cast<UInt32>(end - first);
        if (frames + 1 < mTaps) {
            return Refuse(audio, frames);
        }
        const std::size_t count = mSchedule.Outputs(frames);
        Channels blocks;
        Channels outputs(audio.size(), std::vector<float>(count, kUntouched));
        std::vector<const float*> in;
        std::vector<float*> out;
        for (std::size_t c = 0; c < audio.size(); ++c) {
            blocks.emplace_back(audio[c].begin() + static_cast<std::ptrdiff_t>(first),
                                audio[c].begin() + static_cast<std::ptrdiff_t>(end));
        }
        for (std::size_t c = 0; c < audio.size(); ++c) {
            in.push_back(blocks[c].data());
            out.push_back(outputs[c].data());
        }
        Require(mFilter.ComputeDeinterleaved(in.data(), out.data(), frames) == SRCFilter::kSRCOK,
                "enough input is converted");
        for (std::size_t c = 0; c < audio.size(); ++c) {
            mOutput[c].insert(mOutput[c].end(), outputs[c].begin(), outputs[c].end());
        }
    }

private:
    static constexpr float kUntouched = 99.0f;

    void Refuse(const Channels& audio, UInt32 frames) {
        const std::vector<const float*> in(audio.size());
        const std::vector<float*> out(audio.size());
        Require(mFilter.ComputeDeinterleaved(in.data(), out.data(), frames) == SRCFilter::kSRCErr,
                "too little input is refused");
    }

    SRCFilter mFilter;
    UInt32 mTaps = 1;
    Schedule mSchedule{mFilter, 1, 0};
    Channels mOutput;
};

bool SameSamples(const Channels& a, const Channels& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
        return std::equal(x.begin(), x.end(), y.begin(), y.end(), [](float v, float w) {
            return v == w || (std::isnan(v) && std::isnan(w));
        });
    });
}

class FilterRun {
public:
    explicit FilterRun(ByteProgram& program)
        : mProgram(program), mInputRate(AnyRate(program)), mOutputRate(AnyRate(program)),
          mWhole(mInputRate, mOutputRate), mCut(mInputRate, mOutputRate) {}

    void Run() {
        const SRCFilter& filter = mWhole.Filter();
        const UInt32 most = static_cast<UInt32>(kMostTaps / std::max<UInt32>(filter.UpFactor(), 1));
        mTaps = mProgram.Below(mProgram.Coin() ? 8 : 100);
        AddChannels(most);
        AskForNumbers();
        if (filter.ChannelCount() == 0 || UInt64{filter.UpFactor()} * mTaps > kMostTaps) {
            return;
        }
        ReadBranches();
        MakeAudio();
        const UInt32 phase = mProgram.Seldom(4) ? AdjustPhase() : 0;
        Convert(phase);
        if (phase == 0) {
            mCut.Filter().Reset();
            mCut.Begin(mTaps, 0);
            Cut();
            Require(!MustAgree() || SameSamples(mWhole.Output(), mCut.Output()),
                    "a reset filter is a new one");
        }
    }

private:
    void AddChannels(UInt32 most) {
        const UInt32 count = mProgram.Below(kMostChannels + 1);
        for (UInt32 c = 0; c < count; ++c) {
            const bool isDelayed = mProgram.Seldom(4);
            const UInt32 length = mProgram.Seldom(12) ? mProgram.Long() : mTaps;
            const Parameters parameters = AnyParameters(mProgram, length);
            const UInt64 taps = UInt64{mWhole.Filter().UpFactor()} * parameters.filterLength;
            const bool isImpossible = taps > 0xFFFFFFFC;
            if (isDelayed ? length > kMostTaps && length < UInt32{1} << 27
                          : parameters.filterLength > most && !isImpossible) {
                continue; // possible, and slow
            }
            for (Conversion* conversion : {&mWhole, &mCut}) {
                const UInt32 before = conversion->Filter().ChannelCount();
                bool thrown = false;
                OSStatus status = SRCFilter::kSRCErr;
                try {
                    status = isDelayed ? conversion->Filter().AddDelayedChannel(length)
                                       : conversion->Filter().AddChannel(parameters);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
                const bool isAdded = status == SRCFilter::kSRCOK;
                Require(!thrown || isImpossible || length > kMostTaps, "small channels are added");
                Require(conversion->Filter().ChannelCount() == before + (isAdded ? 1 : 0),
                        "a channel is added only where that is told");
                if (isAdded) {
                    mTaps = isDelayed ? length : parameters.filterLength;
                }
            }
        }
        if (mProgram.Seldom(4)) {
            const UInt32 channel = mProgram.Below(kMostChannels);
            mWhole.Filter().RemoveChannel(channel);
            mCut.Filter().RemoveChannel(channel);
        }
    }

    void AskForNumbers() {
        const SRCFilter& filter = mWhole.Filter();
        UInt32 number = 0;
        UInt32 rest = 0;
        filter.GetFilterDelay(&number, &rest);
        filter.GetNumberOfInputFrames(&number, mProgram.Long());
        filter.GetNumberOfOutFrames(&number, mProgram.Long());
        Require(filter.Branch(filter.ChannelCount(), 0) == nullptr, "no channel, no branch");
    }

    // Every coefficient can be read.
    void ReadBranches() {
        volatile float read = 0.0f;
        const SRCFilter& filter = mWhole.Filter();
        for (UInt32 c = 0; c < filter.ChannelCount(); ++c) {
            for (UInt32 p = 0; p < filter.UpFactor(); ++p) {
                const float* const branch = filter.Branch(c, p);
                for (UInt32 n = 0; branch != nullptr && n < mTaps; ++n) {
                    read = branch[n];
                }
            }
        }
        (void)read;
    }

    void MakeAudio() {
        const SRCFilter& filter = mWhole.Filter();
        const UInt32 outputsPerFrame = filter.UpFactor() / filter.DownFactor() + 1;
        const auto frames =
            mTaps + mProgram.Below(std::min(kMostFrames, kMostOutputs / outputsPerFrame));
        std::uint32_t noise = mProgram.Long();
        for (UInt32 c = 0; c < filter.ChannelCount(); ++c) {
            std::vector<float> samples(frames);
            for (float& sample : samples) {
                noise = noise * 1664525 + 1013904223;
                sample = static_cast<float>(static_cast<std::int32_t>(noise)) * 0x1p-31F;
            }
            for (UInt32 odd = mProgram.Below(3); odd > 0; --odd) {
                samples[mProgram.Below(frames)] = mProgram.Float();
            }
            mAudio.push_back(samples);
        }
    }

    // Centres the delay; returns the phase that the stream then begins with.
    UInt32 AdjustPhase() {
        const SRCFilter& filter = mWhole.Filter();
        const UInt32 frames = mProgram.Coin() ? 0 : mProgram.Long();
        UInt32 delay = 0;
        filter.GetFilterDelay(nullptr, &delay);
        mWhole.Filter().AdjustSrcStartPolyphaseIndex(frames);
        mCut.Filter().AdjustSrcStartPolyphaseIndex(frames);
        const SInt64 up = filter.UpFactor();
        if (filter.PrototypeLength() == 0 || filter.UpFactor() == filter.DownFactor()) {
            return 0;
        }
        const SInt64 centre = (filter.PrototypeLength() - 1) / 2;
        const SInt64 start = centre - static_cast<SInt32>(delay);
        const SInt64 moved = static_cast<SInt64>(UInt64{filter.DownFactor() % filter.UpFactor()} *
                                                 frames % filter.UpFactor());
        return static_cast<UInt32>(((start - moved) % up + up) % up);
    }

    void Cut() {
        const std::size_t frames = mAudio.front().size();
        for (std::size_t at = 0; at < frames;) {
            const std::size_t next = mProgram.AtEnd()
                                         ? mTaps + 3
                                         : mProgram.Below(mProgram.Coin() ? 4 : 300) + mTaps - 1;
            const std::size_t end = frames - at < next + mTaps ? frames : at + next;
            mCut.Call(mAudio, at, end);
            at = end;
        }
    }

    void Convert(UInt32 phase) {
        const SRCFilter& filter = mWhole.Filter();
        const auto frames = static_cast<UInt32>(mAudio.front().size());
        UInt32 told = 0;
        const bool isTold = filter.GetNumberOfOutFrames(&told, frames) == SRCFilter::kSRCOK;
        mWhole.Begin(mTaps, phase);
        mWhole.Call(mAudio, 0, frames);
        Require(!isTold || mWhole.Output().front().size() <= std::size_t{told} + 1,
                "at most one more output comes than is told");
        mCut.Begin(mTaps, phase);
        if (mTaps > 1) {
            mCut.Call(mAudio, 0, mTaps - 2); // refused, and nothing has happened
        }
        Cut();
        Require(!MustAgree() || SameSamples(mWhole.Output(), mCut.Output()),
                "a stream that is cut into calls gives the same samples");
    }

    bool MustAgree() const { return !mWhole.LacksAnInput() && !mCut.LacksAnInput(); }

    ByteProgram& mProgram;
    UInt32 mInputRate;
    UInt32 mOutputRate;
    Conversion mWhole;
    Conversion mCut;
    UInt32 mTaps = 0;
    Channels mAudio;
};

} // namespace
} // namespace qel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qel::fuzz::ByteProgram program(data, size);
    qel::fuzz::FilterRun(program).Run();
    return 0;
}
