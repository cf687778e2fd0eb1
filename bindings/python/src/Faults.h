#pragma once

#include <QelAudioAnalysis.h>

#include <stdexcept>
#include <string>

namespace qel::python {

// A refusal by this module, where the library was not asked: its text is the whole message.
class Refusal : public std::runtime_error {
public:
    Refusal(SInt32 status, const std::string& text) : std::runtime_error(text), mStatus(status) {}

    // One of the kAudioAnalysisErr_ constants.
    SInt32 status() const noexcept { return mStatus; }

private:
    SInt32 mStatus;
};

// Lets Python see Refusal and qel::Error as qelaudio.Error, with their status.
void RegisterFaults();

} // namespace qel::python
