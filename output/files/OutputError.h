#pragma once

#include <stdexcept>
#include <string>

namespace qel::output {

// An output could not be written. Unlike a bad input, this ends the whole run. The message is one
// line without the program's name.
class OutputError : public std::runtime_error {
public:
    explicit OutputError(const std::string& message) : std::runtime_error(message) {}
};

// A file stands in the place of an output, and nobody said that it may be replaced. This concerns
// one input alone.
class OutputExists : public std::runtime_error {
public:
    explicit OutputExists(const std::string& path)
        : std::runtime_error(path + " exists already; --overwrite replaces it") {}
};

// Whoever read standard output has gone. Nothing is said about it.
class ClosedPipe : public OutputError {
public:
    ClosedPipe() : OutputError("standard output was closed") {}
};

} // namespace qel::output
