#include "tools/selftest/KeyDigest.h"

#include <QelAudioAnalysis/KeyInfo.hpp>

#include <bit>
#include <cmath>
#include <limits>

namespace qel::selftest {

void KeyDigest::Add(const Result& result) {
    AddInteger(result.frameIndex());
    for (std::size_t channel = 0; channel < result.channels(); ++channel) {
        AddChannel(result, channel);
    }
}

void KeyDigest::AddChannel(const Result& result, std::size_t channel) {
    switch (result.info()->payload) {
    case PayloadKind::Events:
        for (const Event& event : result.events(channel)) {
            AddNumber(event.timeSeconds);
            AddNumber(event.strength);
        }
        break;
    case PayloadKind::Partials:
        for (const Partial& partial : result.partials(channel)) {
            AddInteger(static_cast<std::uint64_t>(partial.bin));
            AddNumber(partial.frequencyHz);
            AddNumber(partial.magnitude);
            AddNumber(partial.phaseRadians);
            AddNumber(partial.timeFrames);
        }
        break;
    case PayloadKind::Name:
        for (const char character : result.name(channel)) {
            AddInteger(static_cast<unsigned char>(character));
        }
        break;
    case PayloadKind::Range: {
        const AudioRange range = result.range(channel);
        constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
        AddNumber(range.headroom.value_or(kNone));
        AddNumber(range.noiseFloorDb.value_or(kNone));
        AddNumber(range.cutoffHz.value_or(kNone));
        break;
    }
    case PayloadKind::Count:
        AddInteger(result.count(channel));
        break;
    default:
        for (const float value : result.floats(channel)) {
            AddNumber(value);
        }
    }
}

void KeyDigest::AddInteger(std::uint64_t value) {
    constexpr std::uint64_t kPrime = 1099511628211u;
    for (int byte = 0; byte < 8; ++byte) {
        mHash = (mHash ^ (value & 0xFF)) * kPrime;
        value >>= 8;
    }
}

void KeyDigest::AddNumber(float value) {
    const float number = std::isnan(value) ? std::numeric_limits<float>::quiet_NaN() : value;
    AddInteger(std::bit_cast<std::uint32_t>(number));
}

void KeyDigest::AddNumber(double value) {
    const double number = std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value;
    AddInteger(std::bit_cast<std::uint64_t>(number));
}

} // namespace qel::selftest
