#include "output/formats/PayloadFormat.h"

#include "output/formats/CsvFields.h"
#include "output/formats/JsonArrays.h"
#include "output/formats/Strength.h"
#include "output/formats/Texts.h"

#include <array>
#include <iterator>
#include <span>

namespace qel::output {
namespace {

using Buffer = fmt::memory_buffer;
using Names = std::vector<std::string>;

// How many there are: numbers with names, complex numbers, places of one value.

std::size_t ValuesOf(const KeyInfo& info) {
    return info.values.size();
}

std::size_t PairsOf(const KeyInfo& info) {
    return info.payloadBytes / (2 * sizeof(float));
}

std::size_t PlacesOf(const KeyInfo& info) {
    return info.payloadBytes / sizeof(float);
}

// Summaries.

std::string ValueSummary(const KeyInfo& info) {
    return fmt::format("{} value{}", ValuesOf(info), ValuesOf(info) == 1 ? "" : "s");
}

std::string PairSummary(const KeyInfo& info) {
    return fmt::format("{} pairs", PairsOf(info));
}

std::string VectorSummary(const KeyInfo& info) {
    return PlacesOf(info) == 1 ? std::string("1 value")
                               : fmt::format("vector of {}", PlacesOf(info));
}

std::string EventSummary(const KeyInfo&) {
    return "events";
}

std::string CountSummary(const KeyInfo&) {
    return "1 count";
}

std::string NameSummary(const KeyInfo&) {
    return "1 name";
}

std::string PartialSummary(const KeyInfo&) {
    return "partials";
}

// Layouts, and the numbers in them.

std::string_view NumberLayout(const KeyInfo&) {
    return "numbers";
}

std::string_view NameLayout(const KeyInfo&) {
    return "names";
}

std::string_view ArrayLayout(const KeyInfo&) {
    return "arrays";
}

// A vector with one place is a number like any other.
std::string_view VectorLayout(const KeyInfo& info) {
    return PlacesOf(info) == 1 ? "numbers" : "arrays";
}

std::size_t PairNumbers(const KeyInfo& info) {
    return 2 * PairsOf(info);
}

std::size_t AnyNumber(const KeyInfo&) {
    return PayloadFormat::kAnyNumber;
}

// Columns of CSV.

Names ValueColumns(const KeyInfo& info) {
    Names names;
    for (const ValueInfo& value : info.values) {
        names.emplace_back(value.name);
    }
    return names;
}

// real_0, imag_0, real_1, ...
Names PairColumns(const KeyInfo& info) {
    Names names;
    for (std::size_t k = 0; k < PairsOf(info); ++k) {
        names.push_back(fmt::format("real_{}", k));
        names.push_back(fmt::format("imag_{}", k));
    }
    return names;
}

Names VectorColumns(const KeyInfo& info) {
    if (PlacesOf(info) == 1) {
        return ValueColumns(info);
    }
    Names names;
    for (std::size_t k = 0; k < PlacesOf(info); ++k) {
        names.push_back(fmt::format("{}_{}", info.values.front().name, k));
    }
    return names;
}

// The first value is the time, whose column is there already.
Names EventColumns(const KeyInfo& info) {
    return {std::string(info.values.back().name)};
}

// JSON.

void NumbersToJson(Buffer& buffer, const Result& result, std::size_t channel, float) {
    AppendNumbers(buffer, result.floats(channel));
}

// One array of real and one of imaginary parts.
void PairsToJson(Buffer& buffer, const Result& result, std::size_t channel, float) {
    buffer.push_back('[');
    AppendNumbers(buffer, result.floats(channel), 0, 2);
    buffer.push_back(',');
    AppendNumbers(buffer, result.floats(channel), 1, 2);
    buffer.push_back(']');
}

void VectorToJson(Buffer& buffer, const Result& result, std::size_t channel, float) {
    const bool isArray = PlacesOf(*result.info()) != 1;
    buffer.append(std::string_view(isArray ? "[" : ""));
    AppendNumbers(buffer, result.floats(channel));
    buffer.append(std::string_view(isArray ? "]" : ""));
}

void EventsToJson(Buffer& buffer, const Result& result, std::size_t channel, float minStrength) {
    AppendMembers(buffer, StrongEvents(result, channel, minStrength), &Event::timeSeconds,
                  &Event::strength);
}

void CountToJson(Buffer& buffer, const Result& result, std::size_t channel, float) {
    fmt::format_to(std::back_inserter(buffer), "[{}]", result.count(channel));
}

void NameToJson(Buffer& buffer, const Result& result, std::size_t channel, float) {
    fmt::format_to(std::back_inserter(buffer), "[{}]", JsonText(result.name(channel)));
}

void PartialsToJson(Buffer& buffer, const Result& result, std::size_t channel, float) {
    AppendMembers(buffer, result.partials(channel), &Partial::bin, &Partial::frequencyHz,
                  &Partial::magnitude, &Partial::phaseRadians, &Partial::timeFrames);
}

// A number that was not found is null in JSON and nan in CSV.
std::array<float, 3> NumbersOf(const AudioRange& range) {
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    return {range.headroom.value_or(kNone), range.noiseFloorDb.value_or(kNone),
            range.cutoffHz.value_or(kNone)};
}

void RangeToJson(Buffer& buffer, const Result& result, std::size_t channel, float) {
    AppendNumbers(buffer, NumbersOf(result.range(channel)));
}

// CSV.

void NumbersToCsv(Buffer& buffer, const Result& result, std::size_t channel, const CsvRows&) {
    AppendFields(buffer, result.floats(channel));
}

void EventsToCsv(Buffer& buffer, const Result& result, std::size_t channel, const CsvRows& rows) {
    for (const Event& event : StrongEvents(result, channel, rows.minStrength)) {
        AppendEntryStart(buffer, event.timeSeconds, result, channel);
        AppendFields(buffer, event.strength);
        buffer.append(rows.end);
    }
}

void CountToCsv(Buffer& buffer, const Result& result, std::size_t channel, const CsvRows&) {
    fmt::format_to(std::back_inserter(buffer), ",{}", result.count(channel));
}

void NameToCsv(Buffer& buffer, const Result& result, std::size_t channel, const CsvRows&) {
    fmt::format_to(std::back_inserter(buffer), ",{}", CsvText(result.name(channel)));
}

// Every partial has the time of its frame.
void PartialsToCsv(Buffer& buffer, const Result& result, std::size_t channel, const CsvRows& rows) {
    for (const Partial& partial : result.partials(channel)) {
        AppendEntryStart(buffer, result.timeSeconds(), result, channel);
        AppendFields(buffer, partial.bin, partial.frequencyHz, partial.magnitude,
                     partial.phaseRadians, partial.timeFrames);
        buffer.append(rows.end);
    }
}

void RangeToCsv(Buffer& buffer, const Result& result, std::size_t channel, const CsvRows&) {
    AppendFields(buffer, std::span<const float>(NumbersOf(result.range(channel))));
}

// The table.
//
//                                     summary         layout        numbers
//                                     columns         JSON            CSV           row per entry

constexpr PayloadFormat kNumbers({ValueSummary, NumberLayout, ValuesOf, //
                                  ValueColumns, NumbersToJson, NumbersToCsv, false});
constexpr PayloadFormat kPairs({PairSummary, ArrayLayout, PairNumbers, //
                                PairColumns, PairsToJson, NumbersToCsv, false});
constexpr PayloadFormat kEvents({EventSummary, ArrayLayout, AnyNumber, //
                                 EventColumns, EventsToJson, EventsToCsv, true});
constexpr PayloadFormat kCounts({CountSummary, NumberLayout, ValuesOf, //
                                 ValueColumns, CountToJson, CountToCsv, false});
constexpr PayloadFormat kVectors({VectorSummary, VectorLayout, PlacesOf, //
                                  VectorColumns, VectorToJson, NumbersToCsv, false});
constexpr PayloadFormat kNames({NameSummary, NameLayout, ValuesOf, //
                                ValueColumns, NameToJson, NameToCsv, false});
constexpr PayloadFormat kPartials({PartialSummary, ArrayLayout, AnyNumber, //
                                   ValueColumns, PartialsToJson, PartialsToCsv, true});
constexpr PayloadFormat kRanges({ValueSummary, NumberLayout, ValuesOf, //
                                 ValueColumns, RangeToJson, RangeToCsv, false});

} // namespace

const PayloadFormat& FormatOf(const KeyInfo& info) {
    switch (info.payload) {
    case PayloadKind::ComplexPairs:
        return kPairs;
    case PayloadKind::Events:
        return kEvents;
    case PayloadKind::Count:
        return kCounts;
    case PayloadKind::Vector:
        return kVectors;
    case PayloadKind::Name:
        return kNames;
    case PayloadKind::Partials:
        return kPartials;
    case PayloadKind::Range:
        return kRanges;
    default:
        return kNumbers;
    }
}

} // namespace qel::output
