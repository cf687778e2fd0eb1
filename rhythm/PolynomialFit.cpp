#include "rhythm/RhythmMath.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cblas.h>
#include <cstddef>
#include <mutex>
#include <vector>

// LAPACK in its published form. Matrices stand column after column.
extern "C" {
void sgeqrf_(const int* m, const int* n, float* a, const int* lda, float* tau, float* work,
             const int* lwork, int* info);
void sorgqr_(const int* m, const int* n, const int* k, float* a, const int* lda, const float* tau,
             float* work, const int* lwork, int* info);
void sgesv_(const int* n, const int* nrhs, float* a, const int* lda, int* ipiv, float* b,
            const int* ldb, int* info);
}

namespace qel::core {

namespace {

using Matrix = std::vector<float>;

// n rows of the powers of x, the highest of them, columns - 1, first.
Matrix MakeVandermonde(const float* x, std::size_t n, std::size_t columns) {
    Matrix v(n * columns);
    float* column = v.data() + n * (columns - 1);
    std::fill_n(column, n, 1.0F);
    for (std::size_t c = 1; c < columns; ++c) {
        vDSP_vmul(column, 1, x, 1, column - n, 1, n);
        column -= n;
    }
    return v;
}

// The serial OpenBLAS hands its work memory to one caller at a time, and does not look whether
// another thread has it: everything that goes there goes one by one.
std::mutex& OneAtATime() {
    static std::mutex lock;
    return lock;
}

// The fit through no fewer points than coefficients: with V = Q R, the solution of R c = Q^T y.
// The statuses are not looked at: where R is singular, the coefficients mean nothing.
void Fit(const float* x, const float* y, int n, float* coefficients, int m) {
    const auto rows = static_cast<std::size_t>(n);
    const auto columns = static_cast<std::size_t>(m);
    Matrix q = MakeVandermonde(x, rows, columns);
    Matrix reflectors(columns);
    Matrix work(columns);
    Matrix r(columns * columns);
    std::vector<int> pivots(columns);
    int status = 0;
    const std::lock_guard guard(OneAtATime());
    sgeqrf_(&n, &m, q.data(), &n, reflectors.data(), work.data(), &m, &status);

    for (std::size_t c = 0; c < columns; ++c) {
        std::copy_n(q.data() + c * rows, c + 1, r.data() + c * columns);
    }
    sorgqr_(&n, &m, &m, q.data(), &n, reflectors.data(), work.data(), &m, &status);

    cblas_sgemv(CblasColMajor, CblasTrans, n, m, 1.0F, q.data(), n, y, 1, 0.0F, coefficients, 1);
    const int rightSides = 1;
    sgesv_(&m, &rightSides, r.data(), &m, pivots.data(), coefficients, &m, &status);
}

} // namespace

void polyfit(const float* x, const float* y, unsigned int n, float* coefficients,
             unsigned int degree) {
    const std::size_t wanted = degree + std::size_t{1};
    const std::size_t fitted = std::min<std::size_t>(wanted, n);
    float* const first = std::fill_n(coefficients, wanted - fitted, 0.0F);
    if (fitted > 0) {
        Fit(x, y, static_cast<int>(n), first, static_cast<int>(fitted));
    }
}

} // namespace qel::core
