#pragma once

#include <functional>

// Runs what callgrind is to count. Callgrind knows the function by its name, so that it has a
// source of its own: within a source, a compiler may inline it or call a copy with another name.
extern "C" void qel_counted_stream(const std::function<void()>& stream);
