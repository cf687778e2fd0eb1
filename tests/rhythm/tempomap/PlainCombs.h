// Comb filters and their energies, one number at a time and in the order of additions that CombBank
// promises.
#pragma once

#include <cstddef>
#include <vector>

namespace qel::test {

class PlainComb {
public:
    PlainComb(std::size_t lag, float feedback, float feedforward)
        : mLag(lag), mFeedback(feedback), mFeedforward(feedforward),
          mOutputs((lag / kChunk + 1) * kChunk) {}

    // The energy up to this sample.
    float Push(float sample) {
        const float past = mOutputs[mOutputs.size() - mLag];
        const float output = mFeedback * past + mFeedforward * sample;
        const float energy = EnergyOfPast() + output * output;
        mOutputs.push_back(output);
        return energy;
    }

    // Zeros first, at whole chunks.
    const std::vector<float>& Outputs() const { return mOutputs; }

private:
    static constexpr std::size_t kChunk = 16;

    float Square(std::size_t time) const { return mOutputs[time] * mOutputs[time]; }

    // From the last sample of the chunk back to `from`.
    float SumFromTheEnd(std::size_t from) const {
        std::size_t time = (from / kChunk + 1) * kChunk - 1;
        float sum = Square(time);
        while (time > from) {
            sum = Square(--time) + sum;
        }
        return sum;
    }

    float SumOn(std::size_t from) const {
        float sum = 0.0f;
        for (std::size_t time = from; time < mOutputs.size(); ++time) {
            sum += Square(time);
        }
        return sum;
    }

    // Of the last mLag - 1 outputs.
    float EnergyOfPast() const {
        const std::size_t now = mOutputs.size();
        const std::size_t first = now - (mLag - 1);
        const std::size_t chunkStart = now / kChunk * kChunk;
        if (first >= chunkStart) {
            return SumOn(first);
        }
        float energy = SumFromTheEnd(first);
        for (std::size_t chunk = chunkStart; chunk > first / kChunk * kChunk + kChunk;) {
            chunk -= kChunk;
            energy += SumFromTheEnd(chunk);
        }
        return energy + SumOn(chunkStart);
    }

    std::size_t mLag;
    float mFeedback;
    float mFeedforward;
    std::vector<float> mOutputs; // zeros first, for what was before
};

} // namespace qel::test
