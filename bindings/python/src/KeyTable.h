#pragma once

#include <nanobind/nanobind.h>

namespace qel::python {

// The rows of the client's table of keys and of that of its parameters, as dicts. The classes of
// the Python layer are made from them.
nanobind::list KeyTable();
nanobind::list ParameterTable();

} // namespace qel::python
