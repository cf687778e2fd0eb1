// Where the tool puts what it makes of an input.
#pragma once

#include "output/files/OutputName.h"

#include <string>

namespace qel::test {

using output::OutputName;

inline std::string OutputPath(const std::string& directory, const std::string& input,
                              const std::string& name) {
    return directory + "/" + OutputName(input) + "/" + name;
}

} // namespace qel::test
