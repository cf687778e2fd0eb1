#pragma once

#include <nlohmann/json_fwd.hpp>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qel::test {

// A value of JSON, to be looked at. Values share their document, so that they are cheap to copy.
// The order of an object's members counts. The parser is compiled in one file alone, for the sake
// of the tests that only want to look.
class Json {
public:
    class Iterator;

    Json(); // null
    Json(double value);
    Json(const char* text);
    Json(const std::string& text);
    Json(std::string_view text);
    Json(const std::vector<double>& numbers);
    template <std::integral Number>
    Json(Number value) : Json(FromInteger(static_cast<std::int64_t>(value))) {}
    // An array, or an object if all elements are pairs that begin with a text.
    Json(std::initializer_list<Json> elements);

    // Throws for a text that is not JSON; or null for it.
    static Json parse(const std::string& text);
    static Json parseOrNull(const std::string& text);
    static Json array();
    static Json object();

    bool is_null() const;
    bool is_string() const;
    bool is_number() const;

    // Elements or members; none in what is neither an array nor an object.
    std::size_t size() const;
    bool empty() const { return size() == 0; }
    bool contains(const std::string& name) const;
    std::vector<std::string> names() const;

    // An element or a member. Throws std::exception where there is none.
    template <std::integral Index>
    Json operator[](Index index) const {
        return At(static_cast<std::size_t>(index));
    }
    Json operator[](const char* name) const { return Member(name); }
    Json operator[](const std::string& name) const { return Member(name); }
    Json front() const { return At(0); }
    Json back() const { return At(size() - 1); }

    // In the order of an array, or of an object's members.
    Iterator begin() const;
    Iterator end() const;

    // As another type: double, float, int, std::size_t, std::string, std::vector<float or double>.
    // Throws std::exception for a value of another kind.
    template <typename Type>
    Type get() const;

    // A member, or something else where there is none.
    template <typename Type>
    Type value(const std::string& name, const Type& otherwise) const {
        return contains(name) ? Member(name).get<Type>() : otherwise;
    }

    // The object without one of its members.
    Json without(const std::string& name) const;

    std::string dump() const;

    friend bool operator==(const Json& a, const Json& b);
    friend std::ostream& operator<<(std::ostream& out, const Json& json);

private:
    using Value = nlohmann::ordered_json;

    explicit Json(std::shared_ptr<const Value> value);
    static Json FromInteger(std::int64_t value);
    Json At(std::size_t index) const;
    Json Member(const std::string& name) const;

    std::shared_ptr<const Value> mValue; // points into a document, and owns all of it
};

class Json::Iterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Json;
    using difference_type = std::ptrdiff_t;
    using pointer = const Json*;
    using reference = Json;

    Iterator(const Json& json, std::size_t index) : mJson(json), mIndex(index) {}

    Json operator*() const { return mJson.At(mIndex); }
    Iterator& operator++() {
        ++mIndex;
        return *this;
    }
    bool operator==(const Iterator& other) const { return mIndex == other.mIndex; }

private:
    Json mJson;
    std::size_t mIndex;
};

} // namespace qel::test
