#include "output/KeyFacts.h"

namespace qel::output {

std::string_view DeliveryText(const KeyInfo& info) {
    switch (info.delivery) {
    case Delivery::PerPush:
        return "per push";
    case Delivery::AtEnd:
        return "at end";
    case Delivery::FramesAtEnd:
        return "frames at end";
    default:
        return "per frame";
    }
}

bool HasFrames(const KeyInfo& info) {
    return info.delivery == Delivery::PerFrame || info.delivery == Delivery::FramesAtEnd;
}

} // namespace qel::output
