#include "tests/rhythm/beats/ReferenceBeats.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qel::test {
namespace {

// A Gaussian over positions that are summed up step by step.
std::vector<float> CenteredWindow(float start, float step, float scale, std::size_t n) {
    std::vector<float> window(n);
    float x = start;
    for (float& value : window) {
        const float u = x * scale;
        value = std::exp(-0.5f * u * u);
        x += step;
    }
    return window;
}

// The same over the logarithm of the position.
std::vector<float> SkewWindow(float start, float step, float scale, std::size_t n) {
    std::vector<float> window(n);
    float x = start;
    for (float& value : window) {
        const float u = 6.0f * std::log(x * scale);
        value = std::exp(-0.5f * u * u);
        x += step;
    }
    return window;
}

std::size_t SmoothLength(float period) {
    return static_cast<std::size_t>(1.0 + std::round(static_cast<double>(2.1f * period)));
}

std::size_t SmoothOffset(float period) {
    return static_cast<std::size_t>(
        std::round(static_cast<double>(static_cast<float>(SmoothLength(period)) / 2.0f)));
}

// The section after the smoothing window: each value a direct sum.
std::vector<float> Smoothed(std::span<const double> section, float period, std::size_t count) {
    const std::vector<float> kernel =
        CenteredWindow(period, -1.0f, 1.0f / (period / 32.0f), SmoothLength(period));
    const std::size_t offset = SmoothOffset(period);
    std::vector<float> result(section.size());
    for (std::size_t i = 0; i < result.size() && i + offset < count; ++i) {
        const std::size_t at = i + offset; // in the full convolution
        double sum = 0.0;
        for (std::size_t k = 0; k < kernel.size(); ++k) {
            if (k <= at && at - k < section.size()) {
                sum += static_cast<double>(kernel[k]) * section[at - k];
            }
        }
        result[i] = static_cast<float>(sum);
    }
    return result;
}

struct Links {
    std::vector<std::ptrdiff_t> back;
    std::vector<double> margins; // of each choice
    std::vector<float> score;
    std::vector<float> transition;
};

Links ForwardPass(const std::vector<float>& local, float period) {
    const float windowStart = -2.0f * period;
    const float windowEnd = -0.5f * period;
    const auto searchLength =
        static_cast<std::size_t>(std::round(static_cast<double>(windowEnd - windowStart)));
    const std::vector<float> transition =
        SkewWindow(windowStart, 1.0f, 1.0f / -period, searchLength);
    Links links{std::vector<std::ptrdiff_t>(local.size()),
                std::vector<double>(local.size(), 1.0),
                {},
                transition};
    std::vector<float> score(local.size());
    for (std::size_t i = 0; i < local.size(); ++i) {
        const auto base = static_cast<std::ptrdiff_t>(static_cast<float>(i) + windowStart);
        float best = 0.0f;
        float next = 0.0f;
        std::ptrdiff_t bestIndex = 0;
        for (std::size_t j = 0; j < searchLength; ++j) {
            const std::ptrdiff_t from = base + static_cast<std::ptrdiff_t>(j);
            // Required by the contract: frame 0 never counts.
            if (from < 1) {
                continue;
            }
            const float weighted = std::abs(transition[j] * score[static_cast<std::size_t>(from)]);
            if (weighted > best) {
                next = best;
                best = weighted;
                bestIndex = static_cast<std::ptrdiff_t>(j);
            } else {
                next = std::max(next, weighted);
            }
        }
        score[i] = 0.19999998807907104f * local[i] + best * 0.800000011920929f;
        links.back[i] = bestIndex + base;
        if (best > 0.0f) {
            links.margins[i] = static_cast<double>((best - next) / best);
        }
    }
    links.score = score;
    return links;
}

} // namespace

double Tracking::Shortfall(std::size_t frame, std::size_t predecessor) const {
    const auto base = static_cast<std::ptrdiff_t>(static_cast<float>(frame) - 2.0f * period);
    double best = 0.0;
    double asked = 0.0;
    for (std::size_t j = 0; j < transition.size(); ++j) {
        const std::ptrdiff_t from = base + static_cast<std::ptrdiff_t>(j);
        if (from < 1) {
            continue;
        }
        const auto at = static_cast<std::size_t>(from);
        const double weighted = std::abs(static_cast<double>(transition[j] * score[at]));
        best = std::max(best, weighted);
        asked = at == predecessor ? weighted : asked;
    }
    return best > 0.0 ? 1.0 - asked / best : 0.0;
}

double SmoothingShift(float period) {
    return static_cast<double>(period) - static_cast<double>(SmoothOffset(period));
}

Tracking TrackBeats(std::span<const double> section, double rateHz, const Tempi& tempi,
                    std::size_t smoothedValues) {
    Tracking tracking;
    const float tempo = tempi.confidence < 0.5f ? tempi.tempo2 : tempi.tempo1;
    tracking.period = 60.0f * static_cast<float>(FunctionRate(rateHz)) / tempo;
    const Links links =
        ForwardPass(Smoothed(section, tracking.period, smoothedValues), tracking.period);
    tracking.score = links.score;
    tracking.transition = links.transition;
    const double top = *std::max_element(section.begin(), section.end());
    auto frame = static_cast<std::ptrdiff_t>(section.size()) - 1;
    while (frame > -1) {
        const auto at = static_cast<std::size_t>(frame);
        tracking.beats.push_back({at, std::abs(section[at] / top)});
        if (links.back[at] > -1) {
            tracking.narrowestChoice = std::min(tracking.narrowestChoice, links.margins[at]);
        }
        frame = links.back[at];
    }
    return tracking;
}

std::vector<std::size_t> DownBeatIndices(std::span<const float> strengths, std::uint32_t meter) {
    std::vector<std::size_t> indices;
    if (meter == 0 || strengths.empty()) {
        return indices;
    }
    std::size_t anchor = 0;
    for (std::size_t i = 1; i < strengths.size(); ++i) {
        if (strengths[i] > strengths[anchor] || std::isnan(strengths[anchor])) {
            anchor = i;
        }
    }
    if (std::isnan(strengths[anchor])) {
        anchor = 0;
    }
    // Required by the contract: backwards, the last beat that would fit is left out.
    for (std::size_t k = 0; k < anchor / meter; ++k) {
        indices.push_back(anchor - k * meter);
    }
    for (std::size_t k = 1; k < 1 + (strengths.size() - anchor) / meter; ++k) {
        if (anchor + k * meter < strengths.size()) {
            indices.push_back(anchor + k * meter);
        }
    }
    std::sort(indices.begin(), indices.end());
    return indices;
}

} // namespace qel::test
