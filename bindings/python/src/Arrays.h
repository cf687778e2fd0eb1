#pragma once

#include "bindings/python/src/NumberArray.h"

#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace qel::python {

namespace nb = nanobind;

// A NumPy array that owns the values, without a copy of them.
template <class Value, std::size_t dimensions>
nb::object ArrayOf(std::vector<Value>&& values, const std::array<std::size_t, dimensions>& shape) {
    auto* kept = new std::vector<Value>(std::move(values));
    kept->reserve(1); // NumPy needs an address, also of nothing
    const nb::capsule owner(
        kept, [](void* owned) noexcept { delete static_cast<std::vector<Value>*>(owned); });
    return nb::cast(nb::ndarray<nb::numpy, Value>(kept->data(), dimensions, shape.data(), owner));
}

template <class Value, std::size_t dimensions>
nb::object ArrayOf(NumberArray<Value>&& values, const std::array<std::size_t, dimensions>& shape) {
    auto* kept = new NumberArray<Value>(std::move(values));
    const nb::capsule owner(
        kept, [](void* owned) noexcept { delete static_cast<NumberArray<Value>*>(owned); });
    kept->Fit();
    return nb::cast(nb::ndarray<nb::numpy, Value>(kept->Data(), dimensions, shape.data(), owner));
}

template <class Value>
nb::object ArrayOf(NumberArray<Value>&& values) {
    const std::array<std::size_t, 1> shape{values.Size()};
    return ArrayOf(std::move(values), shape);
}

template <class Value>
nb::object ArrayOf(std::vector<Value>&& values) {
    const std::array<std::size_t, 1> shape{values.size()};
    return ArrayOf(std::move(values), shape);
}

// What the Python layer hands over: float32, one row of neighbouring samples per channel, which may
// be read-only.
using Samples = nb::ndarray<const float, nb::ndim<2>, nb::device::cpu>;

// One pointer per channel. The array must live as long as they are used.
inline std::vector<const float*> ChannelsOf(const Samples& samples) {
    if (samples.stride(1) != 1 && samples.shape(1) > 1) {
        throw nb::value_error("the samples of a channel must be neighbours");
    }
    std::vector<const float*> channels(samples.shape(0));
    for (std::size_t c = 0; c < channels.size(); ++c) {
        channels[c] = samples.data() + static_cast<std::ptrdiff_t>(c) * samples.stride(0);
    }
    return channels;
}

} // namespace qel::python
