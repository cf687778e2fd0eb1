#include "bindings/python/src/Faults.h"

#include <QelAudioAnalysis/Error.hpp>

#include <nanobind/nanobind.h>

#include <exception>

namespace qel::python {

namespace nb = nanobind;

void RegisterFaults() {
    nb::register_exception_translator([](const std::exception_ptr& thrown, void*) {
        try {
            std::rethrow_exception(thrown);
        } catch (const Error& error) {
            const nb::object type = nb::module_::import_("qelaudio._errors").attr("Error");
            const nb::object raised = type(error.what(), error.status());
            PyErr_SetObject(type.ptr(), raised.ptr());
        }
    });
}

} // namespace qel::python
