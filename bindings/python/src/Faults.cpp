#include "bindings/python/src/Faults.h"

#include <QelAudioAnalysis/Error.hpp>

#include <nanobind/nanobind.h>

#include <exception>
#include <string>

namespace qel::python {

namespace nb = nanobind;

namespace {

void Raise(const std::string& message, SInt32 status) {
    const nb::object type = nb::module_::import_("qelaudio._errors").attr("Error");
    const nb::object raised = type(message.c_str(), status);
    PyErr_SetObject(type.ptr(), raised.ptr());
}

// The text says in words what the number at its end means; the exception has the number.
std::string WithoutStatus(const Error& error) {
    std::string text = error.what();
    const std::string number = " (" + std::to_string(error.status()) + ")";
    if (text.ends_with(number)) {
        text.resize(text.size() - number.size());
    }
    return text;
}

} // namespace

void RegisterFaults() {
    nb::register_exception_translator([](const std::exception_ptr& thrown, void*) {
        try {
            std::rethrow_exception(thrown);
        } catch (const Refusal& refusal) {
            Raise(refusal.what(), refusal.status());
        } catch (const Error& error) {
            Raise(WithoutStatus(error), error.status());
        }
    });
}

} // namespace qel::python
