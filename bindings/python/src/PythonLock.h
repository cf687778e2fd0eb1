#pragma once

#include <nanobind/nanobind.h>

namespace qel::python {

// Python's lock is free during the life of this object.
//
// A daemon thread may still be at work when the interpreter ends. Python then ends every thread
// that asks for the lock, before version 3.14 by unwinding its stack, which no destructor survives.
// Such a thread sleeps here until the process is gone, as it does in later versions.
class WithoutPythonLock {
public:
    WithoutPythonLock();
    ~WithoutPythonLock();
    WithoutPythonLock(const WithoutPythonLock&) = delete;
    WithoutPythonLock& operator=(const WithoutPythonLock&) = delete;

private:
    PyThreadState* mState;
};

// Within the life of a WithoutPythonLock of the same thread: has the lock during its own.
class WithPythonLock {
public:
    WithPythonLock();
    ~WithPythonLock();
    WithPythonLock(const WithPythonLock&) = delete;
    WithPythonLock& operator=(const WithPythonLock&) = delete;
};

// Throws nanobind::import_error in an interpreter other than the first one, to which nanobind's
// types belong.
void RequireMainInterpreter();

} // namespace qel::python
