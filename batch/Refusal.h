#pragma once

#include <stdexcept>
#include <string>

namespace qel::batch {

// What was asked for does not fit a dataset, or there is nothing of that name. Nothing was changed.
// The message is one line without the program's name.
class Refusal : public std::runtime_error {
public:
    explicit Refusal(const std::string& message) : std::runtime_error(message) {}
};

} // namespace qel::batch
