#pragma once

#include <QelMedia.hpp>

#include <string>

namespace qel::python {

// Lets Python see what a file's decoder says as qelaudio.FileError. `path`: in the file system's
// own bytes. Needs Python's lock.
[[noreturn]] void RaiseFileError(const media::Error& error, const std::string& path);

// The same with any message, for one of the faults that FileError lists.
[[noreturn]] void RaiseFileError(const char* message, const char* fault, const std::string& path);

} // namespace qel::python
