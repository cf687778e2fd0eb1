#pragma once

#include <CoreFoundation/CFBase.h>

#include <string>
#include <vector>

namespace qel::platform {

// What a description callback says about a value; without a callback, the value's address.
std::string DescribeValue(CFStringRef (*copyDescription)(const void* value), const void* value);

// Items between an opening and a closing bracket: on one line if they are short, else one to a
// line, indented by four spaces.
std::string DescribeList(char open, const std::vector<std::string>& items, char close);

} // namespace qel::platform
