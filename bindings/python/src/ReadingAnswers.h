#pragma once

#include <QelReadings.hpp>

#include <nanobind/nanobind.h>

namespace qel::python {

// The answers as plain numbers, arrays and dicts, those that were asked for by their names. The
// classes of the Python layer are made from it.
nanobind::dict DictOf(const readings::Answers& answers);

} // namespace qel::python
