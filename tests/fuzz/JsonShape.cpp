#include "tests/fuzz/JsonShape.h"

#include "tests/fuzz/Require.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

namespace qel::fuzz {
namespace {

using Json = nlohmann::json;

bool IsCount(const Json& value) {
    return value.is_number_integer() && value.get<std::int64_t>() >= 0;
}

// null stands for what is not finite.
bool IsNumber(const Json& value) {
    return value.is_number() || value.is_null();
}

template <typename Predicate>
bool AllOf(const Json& list, Predicate holds) {
    return list.is_array() && std::all_of(list.begin(), list.end(), holds);
}

// What one channel has of one result.
void CheckValue(const Json& value, const std::string& layout, std::size_t names) {
    Require(value.is_array() && value.size() == names, "a value has an entry for each name");
    if (layout == "numbers") {
        Require(AllOf(value, IsNumber), "the layout numbers has numbers");
    } else if (layout == "names") {
        Require(AllOf(value, [](const Json& item) { return item.is_string(); }),
                "the layout names has strings");
    } else {
        Require(layout == "arrays", "there are three layouts");
        Require(AllOf(value,
                      [&](const Json& item) {
                          return AllOf(item, IsNumber) && item.size() == value.front().size();
                      }),
                "the layout arrays has arrays of numbers, and of one length");
    }
}

void CheckKey(const Json& key, std::size_t channels) {
    for (const char* name : {"delivered", "sample_rate", "frame_size", "hop", "results_per_frame",
                             "layout", "names", "count", "values"}) {
        Require(key.contains(name), "a key has all of its members");
    }
    const std::string layout = key["layout"];
    Require(IsCount(key["count"]) && key["values"].size() == key["count"],
            "there are as many values as are counted");
    for (const Json& result : key["values"]) {
        Require(result.is_array() && result.size() == channels, "a result has all channels");
        for (const Json& value : result) {
            CheckValue(value, layout, key["names"].size());
        }
    }
}

void CheckDecoder(const Json& decoder) {
    for (const char* name : {"name", "library", "container", "codec"}) {
        Require(decoder.at(name).is_string(), "what decoded is told in words");
    }
    for (const char* name :
         {"leading_frames_trimmed", "trailing_frames_trimmed", "damaged_packets"}) {
        Require(IsCount(decoder.at(name)), "what was left out is counted");
    }
}

} // namespace

void CheckEntry(const Json& entry) {
    Require(entry.at("file").is_string(), "an entry has its file");
    if (entry.contains("error")) {
        Require(entry.size() == 2, "an error stands for everything");
        Require(!entry["error"].get<std::string>().empty(), "an error has a reason");
        return;
    }
    for (const char* name : {"sample_rate", "channels", "file_channels", "block", "frames"}) {
        Require(IsCount(entry.at(name)), "rates, channels and lengths are whole numbers");
    }
    const double frames = entry["frames"];
    const double rateHz = entry["sample_rate"];
    const double seconds = entry.at("duration");
    Require(rateHz > 0 && std::abs(seconds - frames / rateHz) <= 1e-12 * seconds,
            "the duration is that of the frames");
    CheckDecoder(entry.at("decoder"));
    Require(entry.at("keys").is_object() && entry.at("parameters").is_object(),
            "keys and parameters are objects");
    for (const Json& key : entry["keys"]) {
        CheckKey(key, entry["channels"]);
    }
}

} // namespace qel::fuzz
