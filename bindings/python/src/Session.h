#pragma once

#include "bindings/python/src/Arrays.h"
#include "bindings/python/src/StreamEngine.h"

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qel::python {

// What the classes of the Python layer drive: one stream after the other. Its methods are called
// with Python's lock and work without it.
//
// One thread at a time: any other one gets Refusal.
class Session {
public:
    Session(std::vector<std::string> keys, const std::map<std::string, float>& parameters,
            double sampleRateHz, std::uint32_t channels, bool isMixed, std::uint32_t block,
            std::uint32_t lengthFrames);

    void Push(const Samples& samples, nb::handle tick);
    // The status, 0 if all is well.
    int Finish(nb::handle tick);
    void Reset();

    nb::dict Take(bool all);

    void SetParameter(const std::string& name, float value);
    float Parameter(const std::string& name);
    std::vector<std::string> ParameterNames();

    std::uint64_t Pushed() const { return mEngine ? mEngine->Pushed() : 0; }

private:
    class Use; // of the session, by one thread

    void MakeEngine();
    StreamEngine& Engine();

    StreamPlan mPlan;
    // Work that was left to itself has a share in the engine that it uses, and the session none.
    std::shared_ptr<StreamEngine> mEngine;
    std::atomic_flag mIsInUse;
    bool mHasEnded = false;
};

} // namespace qel::python
