#include "rhythm/math/RhythmMath.h"

// What Eigen forms is the same to the last place on every processor only where it uses neither the
// vectors nor the fused products of the one it is compiled for. Its scratch goes to the heap, as
// the stack of the client's thread may be small. Both hold for this file, which alone uses Eigen.
#define EIGEN_DONT_VECTORIZE
#define EIGEN_STACK_ALLOCATION_LIMIT 1024

#include <Accelerate/Accelerate.h>

#include <Eigen/QR>

#include <algorithm>
#include <cstddef>
#include <vector>

#if defined(EIGEN_VECTORIZE)
#error "Eigen must not use vectors here"
#endif

namespace qel::core {

namespace {

// A row for each x: its powers, the highest of them, columns - 1, first. The powers are those of
// single precision; they are held in double precision, which their squares do not exceed.
Eigen::MatrixXd MakeVandermonde(const float* x, unsigned int n, Eigen::Index columns) {
    Eigen::MatrixXd v(n, columns);
    std::vector<float> power(n, 1.0f);
    for (Eigen::Index c = columns; c-- > 0;) {
        std::copy(power.begin(), power.end(), v.col(c).data());
        vDSP_vmul(power.data(), 1, x, 1, power.data(), 1, n);
    }
    return v;
}

// The fit through no fewer points than coefficients: with V = Q R, the solution of R c = Q^T y.
// Where R is singular, the coefficients mean nothing.
void Fit(const float* x, const float* y, unsigned int n, float* coefficients, unsigned int m) {
    Eigen::MatrixXd v = MakeVandermonde(x, n, m);
    const Eigen::HouseholderQR<Eigen::Ref<Eigen::MatrixXd>> factors(v);
    const Eigen::VectorXd values = Eigen::Map<const Eigen::VectorXf>(y, n).cast<double>();
    const Eigen::VectorXd solution = factors.solve(values);
    Eigen::Map<Eigen::VectorXf>(coefficients, m) = solution.cast<float>();
}

} // namespace

void polyfit(const float* x, const float* y, unsigned int n, float* coefficients,
             unsigned int degree) {
    const std::size_t wanted = degree + std::size_t{1};
    const auto fitted = static_cast<unsigned int>(std::min<std::size_t>(wanted, n));
    float* const first = std::fill_n(coefficients, wanted - fitted, 0.0f);
    if (fitted > 0) {
        Fit(x, y, n, first, fitted);
    }
}

} // namespace qel::core
