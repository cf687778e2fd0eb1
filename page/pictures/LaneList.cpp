#include "page/pictures/LaneList.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <stdexcept>

namespace qel::page {
namespace {

constexpr char kLanes[] =
#include "lanes.inc"
    ;

using Json = nlohmann::json;

Lane LaneFrom(const Json& json) {
    return {.id = json.at("id"),
            .kind = json.at("kind"),
            .source = json.at("source"),
            .rows = json.value("rows", 0),
            .spanDecibels = json.value("spanDecibels", 0.0),
            .fullScale = json.value("fullScale", 1.0)};
}

Mark MarkFrom(const Json& json) {
    const Json& click = json.at("click");
    return {.id = json.at("id"),
            .click = {.frequencyHz = click.at("frequencyHz"),
                      .seconds = click.at("seconds"),
                      .gain = click.at("gain")}};
}

template <typename Entry>
const Entry& Find(const std::vector<Entry>& entries, const std::string& id) {
    const auto found = std::ranges::find(entries, id, &Entry::id);
    if (found == entries.end()) {
        throw std::out_of_range("the list of lanes has no \"" + id + "\"");
    }
    return *found;
}

} // namespace

const LaneList& LaneList::Get() {
    static const LaneList list{kLanes};
    return list;
}

std::string LaneList::Text() {
    return kLanes;
}

LaneList::LaneList(const std::string& json) {
    const Json list = Json::parse(json);
    std::ranges::transform(list.at("lanes"), std::back_inserter(mLanes), LaneFrom);
    std::ranges::transform(list.at("marks"), std::back_inserter(mMarks), MarkFrom);
}

const Lane& LaneList::LaneOf(const std::string& id) const {
    return Find(mLanes, id);
}

const Mark& LaneList::MarkOf(const std::string& id) const {
    return Find(mMarks, id);
}

} // namespace qel::page
