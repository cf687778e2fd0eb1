#include "output/arrays/KeyArrays.h"

#include "output/files/ResultFiles.h"
#include "output/formats/PayloadFormat.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <utility>

namespace qel::output {
namespace {

constexpr const char* kFloat = "<f4";
constexpr const char* kDouble = "<f8";
constexpr const char* kUnsigned = "<u4";
constexpr const char* kSigned = "<i4";
constexpr const char* kComplex = "<c8";

struct ColumnName {
    const char* suffix;
    const char* type;
};

// The first array of these has a row per result, those of lists a row per entry.
constexpr ColumnName kValueColumns[] = {{"", kFloat}, {".time", kDouble}};
constexpr ColumnName kEventColumns[] = {
    {".time", kDouble}, {".strength", kFloat}, {".channel", kUnsigned}};
constexpr ColumnName kPartialColumns[] = {
    {".time", kDouble},     {".channel", kUnsigned}, {".bin", kSigned},  {".frequency", kFloat},
    {".magnitude", kFloat}, {".phase", kFloat},      {".frame", kDouble}};

std::span<const ColumnName> ColumnsOf(const KeyInfo& info) {
    switch (info.payload) {
    case PayloadKind::Events:
        return kEventColumns;
    case PayloadKind::Partials:
        return kPartialColumns;
    default:
        return kValueColumns;
    }
}

// Numbers of a channel of a result: the last axis, which counts and names have not.
std::vector<std::size_t> InnerShape(const KeyInfo& info) {
    switch (info.payload) {
    case PayloadKind::Count:
    case PayloadKind::Name:
        return {};
    case PayloadKind::ComplexPairs:
        return {FormatOf(info).Numbers(info) / 2};
    default:
        return {FormatOf(info).Numbers(info)};
    }
}

const char* ValueType(PayloadKind kind) {
    switch (kind) {
    case PayloadKind::ComplexPairs:
        return kComplex;
    case PayloadKind::Count:
        return kUnsigned;
    default:
        return kFloat;
    }
}

} // namespace

KeyArrays::KeyArrays(const KeyInfo& info, std::size_t channels) : mInfo(info), mChannels(channels) {
    const std::string name = ResultFiles::KeyName(info.key);
    for (const ColumnName& column : ColumnsOf(info)) {
        mArrays.push_back({.name = name + column.suffix, .type = column.type});
    }
    if (!FormatOf(info).HasRowPerEntry()) {
        mArrays.front().type = ValueType(info.payload);
    }
}

void KeyArrays::Add(const Result& result) {
    switch (mInfo.payload) {
    case PayloadKind::Events:
        AddEvents(result);
        break;
    case PayloadKind::Partials:
        AddPartials(result);
        break;
    default:
        AddValues(result);
    }
    ++mResults;
}

void KeyArrays::AddValues(const Result& result) {
    Array& values = Column(0);
    for (std::size_t c = 0; c < mChannels; ++c) {
        if (mInfo.payload == PayloadKind::Count) {
            values.Append(result.count(c));
        } else if (mInfo.payload == PayloadKind::Name) {
            mNames.push_back(result.name(c));
        } else if (mInfo.payload == PayloadKind::Range) {
            constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
            const AudioRange range = result.range(c);
            values.Append(range.headroom.value_or(kNone));
            values.Append(range.noiseFloorDb.value_or(kNone));
            values.Append(range.cutoffHz.value_or(kNone));
        } else {
            const std::span<const std::byte> bytes = result.bytes(c);
            values.data.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        }
    }
    Column(1).Append(result.timeSeconds());
}

void KeyArrays::AddEvents(const Result& result) {
    for (std::uint32_t c = 0; c < mChannels; ++c) {
        for (const Event& event : result.events(c)) {
            Column(0).Append(event.timeSeconds);
            Column(1).Append(event.strength);
            Column(2).Append(c);
        }
    }
}

void KeyArrays::AddPartials(const Result& result) {
    for (std::uint32_t c = 0; c < mChannels; ++c) {
        for (const Partial& partial : result.partials(c)) {
            Column(0).Append(result.timeSeconds());
            Column(1).Append(c);
            Column(2).Append(partial.bin);
            Column(3).Append(partial.frequencyHz);
            Column(4).Append(partial.magnitude);
            Column(5).Append(partial.phaseRadians);
            Column(6).Append(partial.timeFrames);
        }
    }
}

// Texts of one width, that of the longest, filled up with zero bytes.
void KeyArrays::FinishNames(Array& values) {
    std::size_t width = 1;
    for (const std::string& name : mNames) {
        width = std::max(width, name.size());
    }
    for (std::string& name : mNames) {
        name.resize(width, '\0');
        values.data += name;
    }
    values.type = "|S" + std::to_string(width);
}

std::vector<Array> KeyArrays::Take() {
    if (FormatOf(mInfo).HasRowPerEntry()) {
        for (Array& array : mArrays) {
            const std::size_t bytes = array.type.back() == '8' ? sizeof(double) : sizeof(float);
            array.shape = {array.data.size() / bytes};
        }
        return std::move(mArrays);
    }
    Array& values = Column(0);
    if (mInfo.payload == PayloadKind::Name) {
        FinishNames(values);
    }
    values.shape = {mResults, mChannels};
    const std::vector<std::size_t> inner = InnerShape(mInfo);
    values.shape.insert(values.shape.end(), inner.begin(), inner.end());
    Column(1).shape = {mResults};
    return std::move(mArrays);
}

} // namespace qel::output
