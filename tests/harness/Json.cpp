#include "tests/harness/Json.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace qel::test {
namespace {

using Value = nlohmann::ordered_json;

std::shared_ptr<const Value> Shared(Value value) {
    return std::make_shared<const Value>(std::move(value));
}

bool IsMember(const Value& value) {
    return value.is_array() && value.size() == 2 && value[0].is_string();
}

} // namespace

Json::Json() : mValue(Shared(nullptr)) {}
Json::Json(double value) : mValue(Shared(value)) {}
Json::Json(const char* text) : mValue(Shared(text)) {}
Json::Json(const std::string& text) : mValue(Shared(text)) {}
Json::Json(std::string_view text) : mValue(Shared(std::string(text))) {}
Json::Json(const std::vector<double>& numbers) : mValue(Shared(numbers)) {}
Json::Json(std::shared_ptr<const Value> value) : mValue(std::move(value)) {}

Json::Json(std::initializer_list<Json> elements) {
    Value array = Value::array();
    for (const Json& element : elements) {
        array.push_back(*element.mValue);
    }
    if (std::all_of(array.begin(), array.end(), IsMember)) {
        Value object = Value::object();
        for (const Value& member : array) {
            object[member[0].get<std::string>()] = member[1];
        }
        array = std::move(object);
    }
    mValue = Shared(std::move(array));
}

Json Json::FromInteger(std::int64_t value) {
    return Json(Shared(value));
}

Json Json::parse(const std::string& text) {
    return Json(Shared(Value::parse(text)));
}

Json Json::parseOrNull(const std::string& text) {
    Value value = Value::parse(text, nullptr, false);
    return Json(Shared(value.is_discarded() ? Value(nullptr) : std::move(value)));
}

Json Json::array() {
    return Json(Shared(Value::array()));
}

Json Json::object() {
    return Json(Shared(Value::object()));
}

bool Json::is_null() const {
    return mValue->is_null();
}

bool Json::is_string() const {
    return mValue->is_string();
}

bool Json::is_number() const {
    return mValue->is_number();
}

std::size_t Json::size() const {
    return mValue->is_structured() ? mValue->size() : 0;
}

bool Json::contains(const std::string& name) const {
    return mValue->contains(name);
}

std::vector<std::string> Json::names() const {
    std::vector<std::string> names;
    for (const auto& member : mValue->items()) {
        names.push_back(member.key());
    }
    return names;
}

Json Json::At(std::size_t index) const {
    if (index >= size()) {
        throw std::out_of_range("no element " + std::to_string(index));
    }
    const Value& element = mValue->is_array()
                               ? (*mValue)[index]
                               : *std::next(mValue->begin(), static_cast<std::ptrdiff_t>(index));
    return Json(std::shared_ptr<const Value>(mValue, &element));
}

Json Json::Member(const std::string& name) const {
    return Json(std::shared_ptr<const Value>(mValue, &mValue->at(name)));
}

Json::Iterator Json::begin() const {
    return {*this, 0};
}

Json::Iterator Json::end() const {
    return {*this, size()};
}

template <typename Type>
Type Json::get() const {
    return mValue->get<Type>();
}

template bool Json::get() const;
template int Json::get() const;
template std::int64_t Json::get() const;
template std::size_t Json::get() const;
template float Json::get() const;
template double Json::get() const;
template std::string Json::get() const;
template std::vector<float> Json::get() const;
template std::vector<double> Json::get() const;

Json Json::without(const std::string& name) const {
    Value copy = *mValue;
    copy.erase(name);
    return Json(Shared(std::move(copy)));
}

std::string Json::dump() const {
    return mValue->dump();
}

bool operator==(const Json& a, const Json& b) {
    return *a.mValue == *b.mValue;
}

std::ostream& operator<<(std::ostream& out, const Json& json) {
    return out << json.dump();
}

} // namespace qel::test
