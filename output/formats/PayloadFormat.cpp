#include "output/formats/PayloadFormat.h"

#include "output/formats/CountFormat.h"
#include "output/formats/EventFormat.h"
#include "output/formats/NameFormat.h"
#include "output/formats/NumberFormat.h"
#include "output/formats/PairFormat.h"
#include "output/formats/PartialFormat.h"
#include "output/formats/RangeFormat.h"
#include "output/formats/VectorFormat.h"

namespace qel::tool {

const PayloadFormat& FormatOf(const KeyInfo& info) {
    static const NumberFormat numbers;
    static const PairFormat pairs;
    static const EventFormat events;
    static const CountFormat counts;
    static const VectorFormat vectors;
    static const NameFormat names;
    static const PartialFormat partials;
    static const RangeFormat ranges;
    switch (info.payload) {
    case PayloadKind::ComplexPairs:
        return pairs;
    case PayloadKind::Events:
        return events;
    case PayloadKind::Count:
        return counts;
    case PayloadKind::Vector:
        return vectors;
    case PayloadKind::Name:
        return names;
    case PayloadKind::Partials:
        return partials;
    case PayloadKind::Range:
        return ranges;
    default:
        return numbers;
    }
}

} // namespace qel::tool
