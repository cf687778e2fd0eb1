// The module qelaudio._core: the analysis and the readings, in the plain types from which the
// Python layer makes its classes.

#include "bindings/python/src/Errand.h"
#include "bindings/python/src/Faults.h"
#include "bindings/python/src/KeyTable.h"
#include "bindings/python/src/PythonLock.h"
#include "bindings/python/src/ReadingSession.h"
#include "bindings/python/src/Session.h"

#include <QelAudioAnalysis/Error.hpp>

#include <nanobind/nanobind.h>
#include <nanobind/stl/map.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

namespace {

namespace nb = nanobind;
using namespace nb::literals;
using qel::python::ReadingSession;
using qel::python::Session;

void DefineSession(nb::module_& module) {
    nb::class_<Session>(module, "Session", "One stream, its analysis and its results.")
        .def(nb::init<std::vector<std::string>, const std::map<std::string, float>&, double,
                      std::uint32_t, bool, std::uint32_t, std::uint32_t>(),
             "keys"_a, "parameters"_a, "sample_rate"_a, "channels"_a, "mix"_a, "block"_a,
             "length"_a)
        .def("push", &Session::Push, "samples"_a, "tick"_a.none() = nb::none(),
             "Analyzes float32 samples of the shape (channels, n).")
        .def("finish", &Session::Finish, "tick"_a.none() = nb::none(),
             "Ends the stream and returns the library's status.")
        .def("reset", &Session::Reset, "Begins another stream.")
        .def("take", &Session::Take, "all"_a,
             "The results since the last call, by key; with all, also keys without any.",
             nb::sig("def take(self, all: bool) -> dict[str, dict[str, object]]"))
        .def("set_parameter", &Session::SetParameter, "name"_a, "value"_a)
        .def("parameter", &Session::Parameter, "name"_a)
        .def("parameter_names", &Session::ParameterNames)
        .def_prop_ro("pushed", &Session::Pushed, "Samples per channel since the stream's start.");
}

void DefineReadingSession(nb::module_& module) {
    nb::class_<ReadingSession>(module, "ReadingSession", "One stream and its readings.")
        .def(nb::init<const std::vector<std::string>&, double, std::uint32_t, std::uint64_t,
                      const std::map<std::string, double>&>(),
             "readings"_a, "sample_rate"_a, "channels"_a, "length"_a, "mfcc"_a)
        .def("push", &ReadingSession::Push, "samples"_a, "tick"_a.none() = nb::none(),
             "Reads float32 samples of the shape (channels, n).")
        .def("finish", &ReadingSession::Finish, "Ends the stream: a dict for each reading.",
             nb::sig("def finish(self) -> dict[str, object]"));
}

} // namespace

NB_MODULE(_core, module) {
    qel::python::RequireMainInterpreter();
    // A daemon thread that is at work when the interpreter ends keeps its session.
    nb::set_leak_warnings(false);
    qel::python::RegisterFaults();
    DefineSession(module);
    DefineReadingSession(module);
    module.def("key_table", &qel::python::KeyTable, "The rows of the table of keys.",
               nb::sig("def key_table() -> list[dict[str, object]]"));
    module.def("parameter_table", &qel::python::ParameterTable,
               "The rows of the table of parameters.",
               nb::sig("def parameter_table() -> list[dict[str, object]]"));
    module.def("reading_names", &qel::python::ReadingNames);
    module.def(
        "status_text", [](int status) { return std::string(qel::statusText(status)); }, "status"_a);
    module.def("settle", &qel::python::SettleErrands, "Waits for work that was interrupted.");
    module.attr("backend") = QEL_FFT_BACKEND;
    module.attr("version") = QEL_VERSION;
}
