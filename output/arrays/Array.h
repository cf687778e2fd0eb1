#pragma once

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

namespace qel::output {

// An array of numbers with a name and a shape, the last axis running fastest.
struct Array {
    std::string name;
    std::string type; // as NumPy writes it: "<f4"
    std::vector<std::size_t> shape{};
    std::string data{}; // little endian

    // The array as a .npy file without its data: NumPy's format, version 1.0.
    std::string Header() const;

    template <typename Number>
    void Append(const Number& number) {
        static_assert(std::is_trivially_copyable_v<Number>);
        data.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
};

} // namespace qel::output
