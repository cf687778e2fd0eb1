#include "bindings/python/src/ReadingSession.h"

#include "bindings/python/src/Errand.h"
#include "bindings/python/src/PythonLock.h"
#include "bindings/python/src/ReadingAnswers.h"
#include "bindings/python/src/SignalWatch.h"

#include <algorithm>
#include <exception>

namespace qel::python {
namespace {

using readings::Reading;

constexpr const char* NameOf(Reading reading) {
    switch (reading) {
    case Reading::Tempo:
        return "tempo";
    case Reading::Beats:
        return "beats";
    case Reading::Bars:
        return "bars";
    case Reading::Key:
        return "key";
    case Reading::Onsets:
        return "onsets";
    case Reading::Pitch:
        return "pitch";
    case Reading::Timbre:
        return "mfcc";
    case Reading::Loudness:
        return "loudness";
    case Reading::Bandwidth:
        return "bandwidth";
    case Reading::RunningTempo:
        return "running_tempo";
    }
    return "";
}

std::vector<Reading> ReadingsNamed(const std::vector<std::string>& names) {
    std::vector<Reading> found;
    for (const Reading reading : readings::allReadings()) {
        if (std::find(names.begin(), names.end(), NameOf(reading)) != names.end()) {
            found.push_back(reading);
        }
    }
    return found;
}

readings::TimbreSettings SettingsOf(const std::map<std::string, double>& mfcc) {
    readings::TimbreSettings settings;
    for (const auto& [name, value] : mfcc) {
        if (name == "n_mfcc") {
            settings.n_mfcc = static_cast<std::uint32_t>(value);
        } else if (name == "n_mels") {
            settings.n_mels = static_cast<std::uint32_t>(value);
        } else if (name == "fmin") {
            settings.fmin = value;
        } else if (name == "fmax") {
            settings.fmax = value;
        } else if (name == "htk") {
            settings.htk = value != 0;
        } else if (name == "lifter") {
            settings.lifter = value;
        } else if (name == "top_db") {
            settings.top_db = value;
        }
    }
    return settings;
}

} // namespace

std::vector<std::string> ReadingNames() {
    std::vector<std::string> names;
    for (const Reading reading : readings::allReadings()) {
        names.emplace_back(NameOf(reading));
    }
    return names;
}

// Tables for high sample rates can take seconds to make.
ReadingSession::ReadingSession(const std::vector<std::string>& readings, double sampleRateHz,
                               std::uint32_t channels, std::uint64_t lengthFrames,
                               const std::map<std::string, double>& mfcc) {
    const readings::Setup setup{
        .sampleRateHz = sampleRateHz, .channels = channels, .lengthFrames = lengthFrames};
    const auto made = std::make_shared<std::shared_ptr<readings::Reader>>();
    std::exception_ptr raised;
    RunErrand([made, asked = ReadingsNamed(readings), setup, settings = SettingsOf(mfcc)](
                  Orders&) { *made = std::make_shared<readings::Reader>(asked, setup, settings); },
              nb::none(), raised);
    if (raised) {
        std::rethrow_exception(raised);
    }
    mReader = *made;
}

void ReadingSession::Push(const Samples& samples, nb::handle tick) {
    constexpr std::size_t kPiece = 4096; // after which signals are looked for
    std::vector<const float*> channels = ChannelsOf(samples);
    const std::size_t count = samples.shape(1);
    SignalWatch watch(tick);
    const WithoutPythonLock unlocked;
    for (std::size_t at = 0; at < count; at += kPiece) {
        watch.Check(at);
        const std::size_t size = std::min(kPiece, count - at);
        mReader->push(channels, size);
        for (const float*& channel : channels) {
            channel += size;
        }
    }
}

nb::dict ReadingSession::Finish() {
    const auto answers = std::make_shared<readings::Answers>();
    std::exception_ptr raised;
    RunErrand([reader = mReader, answers](Orders&) { *answers = reader->finish(); }, nb::none(),
              raised);
    if (raised) {
        std::rethrow_exception(raised);
    }
    return DictOf(*answers);
}

} // namespace qel::python
