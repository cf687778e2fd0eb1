#include "bindings/python/src/Session.h"

#include "bindings/python/src/Errand.h"
#include "bindings/python/src/Faults.h"
#include "bindings/python/src/PythonLock.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace qel::python {

class Session::Use {
public:
    explicit Use(Session& session) : mSession(session) {
        if (session.mIsInUse.test_and_set()) {
            throw Refusal(kAudioAnalysisErr_NotInitialized,
                          "the analyzer is in use by another thread or by its own callback");
        }
    }
    ~Use() { mSession.mIsInUse.clear(); }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

private:
    Session& mSession;
};

Session::Session(std::vector<std::string> keys, const std::map<std::string, float>& parameters,
                 double sampleRateHz, std::uint32_t channels, bool isMixed, std::uint32_t block,
                 std::uint32_t lengthFrames)
    : mPlan{.keys = std::move(keys),
            .parameters = {parameters.begin(), parameters.end()},
            .setup = {.sampleRateHz = sampleRateHz,
                      .channels = channels,
                      .maxFrames = block,
                      .lengthFrames = lengthFrames},
            .isMixed = isMixed && channels > 1} {
    MakeEngine();
}

// Tables for high sample rates can take seconds to make.
void Session::MakeEngine() {
    const auto made = std::make_shared<std::shared_ptr<StreamEngine>>();
    std::exception_ptr raised;
    RunErrand([made, plan = mPlan](Orders&) { *made = std::make_shared<StreamEngine>(plan); },
              nb::none(), raised);
    if (raised) {
        std::rethrow_exception(raised);
    }
    mEngine = *made;
    mHasEnded = false;
}

StreamEngine& Session::Engine() {
    if (!mEngine) {
        throw Refusal(kAudioAnalysisErr_NotInitialized,
                      "the end of the stream was interrupted; call reset() first");
    }
    return *mEngine;
}

void Session::Push(const Samples& samples, nb::handle tick) {
    const Use use(*this);
    StreamEngine& engine = Engine();
    if (mHasEnded) {
        throw Refusal(kAudioAnalysisErr_NotInitialized,
                      "the stream has ended; call reset() to begin another one");
    }
    const std::vector<const float*> channels = ChannelsOf(samples);
    if (channels.size() != mPlan.setup.channels) {
        throw Refusal(kAudioAnalysisErr_BadFormat,
                      "block of " + std::to_string(channels.size()) +
                          (channels.size() == 1 ? " channel" : " channels") + " for a stream of " +
                          std::to_string(mPlan.setup.channels));
    }
    SignalWatch watch(tick);
    const WithoutPythonLock unlocked;
    engine.Push(channels, samples.shape(1), watch);
}

int Session::Finish(nb::handle tick) {
    const Use use(*this);
    Engine();
    if (mHasEnded) {
        throw Refusal(kAudioAnalysisErr_NotInitialized,
                      "the stream has ended already; call reset() to begin another one");
    }
    mHasEnded = true;
    const auto status = std::make_shared<SInt32>(0);
    std::exception_ptr raised;
    const bool isDone = RunErrand(
        [engine = mEngine, status](Orders& orders) {
            *status = engine->Finish([&orders](float percent) {
                orders.percent = percent;
                return !orders.shallStop;
            });
        },
        tick, raised);
    if (!isDone) {
        mEngine.reset();
    }
    if (raised) {
        std::rethrow_exception(raised);
    }
    return *status;
}

void Session::Reset() {
    const Use use(*this);
    if (!mEngine) {
        MakeEngine();
        return;
    }
    mEngine->Reset();
    mHasEnded = false;
}

nb::dict Session::Take(bool all) {
    const Use use(*this);
    return mEngine ? mEngine->Results().Take(mEngine->Analyzed(), all) : nb::dict();
}

// Also for the engines that a reset may have to make.
void Session::SetParameter(const std::string& name, float value) {
    const Use use(*this);
    Engine().Analyzer().setParameter(name, value);
    const auto found = std::find_if(mPlan.parameters.begin(), mPlan.parameters.end(),
                                    [&](const auto& known) { return known.first == name; });
    if (found != mPlan.parameters.end()) {
        found->second = value;
    } else {
        mPlan.parameters.emplace_back(name, value);
    }
}

float Session::Parameter(const std::string& name) {
    const Use use(*this);
    return Engine().Analyzer().parameter(name);
}

std::vector<std::string> Session::ParameterNames() {
    const Use use(*this);
    return Engine().Analyzer().parameterNames();
}

} // namespace qel::python
