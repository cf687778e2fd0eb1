#include "bindings/python/src/KeyTable.h"

#include "bindings/python/src/Collector.h"

#include <QelAudioAnalysis/KeyAliases.hpp>
#include <QelAudioAnalysis/Keys.hpp>
#include <QelAudioAnalysis/Parameters.hpp>

#include <string_view>

namespace qel::python {
namespace {

namespace nb = nanobind;

nb::str Text(std::string_view text) {
    return nb::str(text.data(), text.size());
}

const char* NameOf(PayloadKind kind) {
    switch (kind) {
    case PayloadKind::Floats:
        return "values";
    case PayloadKind::ComplexPairs:
        return "complex";
    case PayloadKind::Events:
        return "events";
    case PayloadKind::Count:
        return "count";
    case PayloadKind::Vector:
        return "vector";
    case PayloadKind::Name:
        return "names";
    case PayloadKind::Partials:
        return "partials";
    case PayloadKind::Range:
        return "range";
    }
    return "";
}

const char* NameOf(Delivery delivery) {
    switch (delivery) {
    case Delivery::PerPush:
        return "per block";
    case Delivery::PerFrame:
        return "per frame";
    case Delivery::AtEnd:
        return "at end";
    case Delivery::FramesAtEnd:
        return "frames at end";
    }
    return "";
}

nb::dict RowOf(const ValueInfo& value) {
    nb::dict row;
    row["name"] = Text(value.name);
    row["unit"] = Text(value.unit);
    row["minimum"] = value.range.minimum;
    row["maximum"] = value.range.maximum;
    row["in_half_rates"] = value.range.inHalfRates;
    row["definition"] = Text(value.definition);
    row["source"] = Text(value.source);
    return row;
}

nb::list AliasesOf(std::string_view key) {
    nb::list aliases;
    for (const KeyAlias& row : kKeyAliases) {
        if (row.key == key) {
            aliases.append(Text(row.alias));
        }
    }
    return aliases;
}

nb::dict RowOf(const KeyInfo& key) {
    nb::list values;
    for (const ValueInfo& value : key.values) {
        values.append(RowOf(value));
    }
    nb::dict row;
    row["name"] = Text(key.key);
    row["aliases"] = AliasesOf(key.key);
    row["payload"] = NameOf(key.payload);
    row["delivery"] = NameOf(key.delivery);
    row["frame"] = key.frameSamples;
    row["hop"] = key.hopSamples / key.resultsPerFrame;
    row["push_multiple"] = key.pushMultiple;
    row["size"] = NumbersOf(key);
    row["values"] = values;
    row["definition"] = Text(key.definition);
    return row;
}

nb::dict RowOf(const ParameterInfo& parameter) {
    nb::list keys;
    for (const std::string_view key : parameter.keys) {
        keys.append(Text(key));
    }
    nb::dict row;
    row["name"] = Text(parameter.name);
    row["unit"] = Text(parameter.unit);
    row["minimum"] = parameter.minimum;
    row["maximum"] = parameter.maximum;
    row["default"] = parameter.standard;
    row["is_whole"] = parameter.isWhole;
    row["keys"] = keys;
    row["definition"] = Text(parameter.definition);
    return row;
}

} // namespace

nb::list KeyTable() {
    nb::list rows;
    for (const KeyInfo& key : kKeys) {
        rows.append(RowOf(key));
    }
    return rows;
}

nb::list ParameterTable() {
    nb::list rows;
    for (const ParameterInfo& parameter : kParameters) {
        rows.append(RowOf(parameter));
    }
    return rows;
}

} // namespace qel::python
