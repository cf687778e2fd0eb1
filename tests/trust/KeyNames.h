// Names of tests that run once for each key.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace qel::trust {

// The key without its blanks.
inline std::string KeyTestName(const testing::TestParamInfo<std::string>& key) {
    std::string name;
    std::ranges::copy_if(key.param, std::back_inserter(name), [](char c) { return c != ' '; });
    return name;
}

} // namespace qel::trust
