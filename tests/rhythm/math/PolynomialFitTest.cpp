#include "rhythm/math/RhythmMath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;
using Doubles = std::vector<double>;

constexpr float kGuard = -77;

Vector Fit(const Vector& x, const Vector& y, unsigned int degree) {
    Vector coefficients(degree + 2, kGuard);
    polyfit(x.data(), y.data(), static_cast<unsigned int>(x.size()), coefficients.data(), degree);
    EXPECT_EQ(coefficients.back(), kGuard);
    coefficients.pop_back();
    return coefficients;
}

// Highest power first.
template <class Coefficients>
double ValueAt(const Coefficients& coefficients, double x) {
    double value = 0;
    for (const auto c : coefficients) {
        value = value * x + static_cast<double>(c);
    }
    return value;
}

double SumOfMagnitudesAt(const Doubles& coefficients, double x) {
    double sum = 0;
    for (const double c : coefficients) {
        sum = sum * std::abs(x) + std::abs(c);
    }
    return sum;
}

// The best fit in double precision, over polynomials that are orthogonal on the points: their
// three-term recurrence needs no badly conditioned matrix. Returns the fitted values.
Doubles FittedValues(const Doubles& x, const Doubles& y, unsigned int degree) {
    const std::size_t n = x.size();
    const auto product = [n](const Doubles& a, const Doubles& b) {
        double sum = 0;
        for (std::size_t i = 0; i < n; ++i) {
            sum += a[i] * b[i];
        }
        return sum;
    };
    Doubles fitted(n, 0.0);
    Doubles before(n, 0.0);
    Doubles current(n, 1.0);
    double normBefore = 1;
    for (unsigned int k = 0; k <= degree; ++k) {
        const double norm = product(current, current);
        const double share = product(current, y) / norm;
        Doubles shifted(n);
        for (std::size_t i = 0; i < n; ++i) {
            fitted[i] += share * current[i];
            shifted[i] = x[i] * current[i];
        }
        const double alpha = product(shifted, current) / norm;
        const double beta = k > 0 ? norm / normBefore : 0.0;
        for (std::size_t i = 0; i < n; ++i) {
            shifted[i] -= alpha * current[i] + beta * before[i];
        }
        before = current;
        current = shifted;
        normBefore = norm;
    }
    return fitted;
}

TEST(PolynomialFitTest, LineThroughThreePoints) {
    const Vector line = Fit({0, 1, 2}, {1, 3, 5}, 1);
    EXPECT_NEAR(double{line[0]}, 2, 1e-6); // a few roundings of numbers up to 5
    EXPECT_NEAR(double{line[1]}, 1, 1e-6);
}

TEST(PolynomialFitTest, ExactPolynomialsComeBackHighestPowerFirst) {
    const Doubles wanted{0.5, -2, 0.25, 3, -1};
    for (unsigned int degree = 0; degree <= 4; ++degree) {
        const Doubles coefficients(wanted.begin(), wanted.begin() + degree + 1);
        Vector x;
        Vector y;
        for (int i = -20; i <= 20; ++i) {
            x.push_back(static_cast<float>(i) / 16);
            y.push_back(static_cast<float>(ValueAt(coefficients, double{x.back()})));
        }
        const Vector fit = Fit(x, y, degree);
        for (std::size_t c = 0; c <= degree; ++c) {
            // The condition of the powers up to 4 on [-1.25, 1.25] is about 30; values up to 8,
            // rounded by 2^-24 each.
            EXPECT_NEAR(double{fit[c]}, coefficients[c], 30 * 8 * std::exp2(-24)) << degree;
        }
    }
}

TEST(PolynomialFitTest, NoisyPointsGetTheLeastSquares) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> noise(-1, 1);
    Vector x;
    Vector y;
    for (int i = 0; i < 200; ++i) {
        x.push_back(noise(random));
        y.push_back(std::sin(3 * x.back()) + 0.5f * noise(random));
    }
    for (const unsigned int degree : {0u, 1u, 2u, 3u, 5u, 7u}) {
        const Vector fit = Fit(x, y, degree);
        const Doubles expected = FittedValues({x.begin(), x.end()}, {y.begin(), y.end()}, degree);
        const Doubles wide(fit.begin(), fit.end());
        for (std::size_t i = 0; i < x.size(); ++i) {
            // The same bound as below, for the point's own shares.
            const double tolerance =
                4 * std::exp2(-24) * (degree + 1) * SumOfMagnitudesAt(wide, double{x[i]});
            EXPECT_NEAR(ValueAt(fit, double{x[i]}), expected[i], tolerance + 1e-6)
                << degree << ", " << i;
        }
    }
}

TEST(PolynomialFitTest, DegreeSevenThroughRawLagsHasTheBestFitsValues) {
    // The powers of 1 to 1350 up to the seventh span 22 orders of magnitude and are nearly
    // dependent, so that coefficients may differ while fitted values do not.
    Vector x;
    Vector y;
    std::mt19937 random(2);
    std::uniform_real_distribution<float> noise(0, 1);
    for (int lag = 1; lag <= 1350; ++lag) {
        x.push_back(static_cast<float>(lag));
        const double turns = lag / 300.0;
        y.push_back(
            static_cast<float>(40 + 0.02 * lag + 5 * std::sin(2 * std::numbers::pi * turns)) +
            noise(random));
    }
    const Vector fit = Fit(x, y, 7);
    const Doubles expected = FittedValues({x.begin(), x.end()}, {y.begin(), y.end()}, 7);
    const Doubles wide(fit.begin(), fit.end());
    // A fit by orthogonal factors is the exact fit to powers that differ in the last places, two in
    // each of the eight columns. A place of a column moves the value by its share, c x^k, and the
    // shares are far larger than their sum. This comes to 0.005 for values of 40 to 70.
    const double tolerance = 2 * 8 * std::exp2(-24) * SumOfMagnitudesAt(wide, 1350.0);
    const Doubles sixth = FittedValues({x.begin(), x.end()}, {y.begin(), y.end()}, 6);
    double farthestOfSixth = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        ASSERT_NEAR(ValueAt(fit, double{x[i]}), expected[i], tolerance) << i;
        farthestOfSixth = std::max(farthestOfSixth, std::abs(sixth[i] - expected[i]));
    }
    EXPECT_GT(farthestOfSixth, 4 * tolerance); // so that a lower degree would be noticed
}

TEST(PolynomialFitTest, TooFewPointsGiveThePolynomialThroughThem) {
    const Vector parabola = Fit({-1, 0, 2}, {1, 0, 4}, 5);
    EXPECT_EQ(Vector(parabola.begin(), parabola.begin() + 3), Vector(3, 0));
    EXPECT_NEAR(double{parabola[3]}, 1, 1e-6); // x^2, a few roundings of numbers up to 4
    EXPECT_NEAR(double{parabola[4]}, 0, 1e-6);
    EXPECT_NEAR(double{parabola[5]}, 0, 1e-6);

    const Vector constant = Fit({3}, {5}, 2);
    EXPECT_EQ(Vector(constant.begin(), constant.begin() + 2), Vector(2, 0));
    EXPECT_NEAR(double{constant[2]}, 5, 1e-6);

    EXPECT_EQ(Fit({}, {}, 3), Vector(4, 0));
}

TEST(PolynomialFitTest, AsManyPointsAsCoefficientsAreMet) {
    const Vector x{-1, -0.5f, 0.5f, 1};
    const Vector y{2, -1, 0.5f, 3};
    const Vector fit = Fit(x, y, 3);
    for (std::size_t i = 0; i < x.size(); ++i) {
        EXPECT_NEAR(ValueAt(fit, double{x[i]}), double{y[i]}, 1e-5) << i; // 4 unknowns of order 4
    }
}

TEST(PolynomialFitTest, ThreadsDoNotMeet) {
    const auto fitOf = [](unsigned int seed) {
        std::mt19937 random(seed);
        std::uniform_real_distribution<float> noise(-1, 1);
        Vector x(700);
        Vector y(700);
        std::generate(x.begin(), x.end(), [&] { return noise(random); });
        std::generate(y.begin(), y.end(), [&] { return noise(random); });
        return Fit(x, y, 7);
    };
    constexpr unsigned int kThreads = 4;
    constexpr unsigned int kRounds = 100;
    std::vector<Vector> expected;
    for (unsigned int t = 0; t < kThreads; ++t) {
        expected.push_back(fitOf(t));
    }
    std::vector<unsigned int> equal(kThreads, 0);
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (unsigned int round = 0; round < kRounds; ++round) {
                equal[t] += fitOf(t) == expected[t] ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(equal, std::vector<unsigned int>(kThreads, kRounds));
}

} // namespace
} // namespace qel::core
