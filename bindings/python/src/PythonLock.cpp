#include "bindings/python/src/PythonLock.h"

#include <cxxabi.h>
#include <unistd.h>

namespace qel::python {
namespace {

namespace nb = nanobind;

thread_local PyThreadState* tState = nullptr; // of the innermost WithoutPythonLock

void TakeLock(PyThreadState* state) noexcept {
    try {
        PyEval_RestoreThread(state);
    } catch (const abi::__forced_unwind&) {
        for (;;) {
            pause();
        }
    }
}

} // namespace

WithoutPythonLock::WithoutPythonLock() : mState(PyEval_SaveThread()) {
    tState = mState;
}

WithoutPythonLock::~WithoutPythonLock() {
    TakeLock(mState);
}

WithPythonLock::WithPythonLock() {
    TakeLock(tState);
}

WithPythonLock::~WithPythonLock() {
    tState = PyEval_SaveThread();
}

void RequireMainInterpreter() {
    if (PyInterpreterState_Get() != PyInterpreterState_Main()) {
        throw nb::import_error("qelaudio cannot be imported in a sub-interpreter; import it in the "
                               "main interpreter, or in a process of its own");
    }
}

} // namespace qel::python
