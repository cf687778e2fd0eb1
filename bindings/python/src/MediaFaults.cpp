#include "bindings/python/src/MediaFaults.h"

#include <nanobind/nanobind.h>

namespace qel::python {
namespace {

namespace nb = nanobind;

const char* NameOf(media::Fault fault) {
    switch (fault) {
    case media::Fault::Unreadable:
        return "unreadable";
    case media::Fault::NotAudio:
        return "not audio";
    case media::Fault::Damaged:
        return "damaged";
    case media::Fault::Cancelled:
        return "cancelled";
    }
    return "";
}

} // namespace

void RaiseFileError(const char* message, const char* fault, const std::string& path) {
    const nb::object type = nb::module_::import_("qelaudio._errors").attr("FileError");
    const nb::object name = nb::steal(
        PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<Py_ssize_t>(path.size())));
    const nb::object raised = type(name, message, fault);
    PyErr_SetObject(type.ptr(), raised.ptr());
    throw nb::python_error();
}

void RaiseFileError(const media::Error& error, const std::string& path) {
    RaiseFileError(error.what(), NameOf(error.fault()), path);
}

} // namespace qel::python
