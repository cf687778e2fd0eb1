#pragma once

namespace qel::core {

// sin(x) while compiling, for x from 0 to pi / 2, by its power series: the first term left out is
// below 1e-21.
constexpr double ConstantSine(double x) {
    double sum = 0.0;
    double term = x;
    for (int n = 1; n <= 23; n += 2) {
        sum += term;
        term *= -x * x / ((n + 1) * (n + 2));
    }
    return sum;
}

} // namespace qel::core
