#pragma once

// The headers that most tests include, compiled once for all of them where tests are compiled in
// batches. A test includes what it needs all the same: other builds have no such header. The
// project's own headers would have every test compiled again when one of them is edited.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <numbers>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <thread>
#include <vector>
