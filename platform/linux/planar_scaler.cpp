#include "platform/linux/planar_scaler.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace quillon {

namespace {

/// Whole weights of unit sum from exact ones: what rounding leaves over goes to the largest.
void quantize(const std::vector<double>& exact, uint16_t* weights) {
    double sum = 0;
    for (const double weight : exact) sum += weight;
    int left = ScalingAxis::kUnit;
    size_t largest = 0;
    for (size_t i = 0; i < exact.size(); ++i) {
        const int weight = static_cast<int>(std::lround(exact[i] / sum * ScalingAxis::kUnit));
        weights[i] = static_cast<uint16_t>(weight);
        left -= weight;
        if (exact[i] > exact[largest]) largest = i;
    }
    weights[largest] = static_cast<uint16_t>(weights[largest] + left);
}

}  // namespace

ScalingAxis::ScalingAxis(double origin, double extent, int first, int end, int outputCount) {
    const double step = extent / outputCount;
    const bool shrinking = step > 1;
    // A span of `step` touches at most ceil(step) + 1 samples.
    taps_ = std::min(shrinking ? static_cast<int>(std::ceil(step)) + 1 : 2, end - first);
    starts_.resize(static_cast<size_t>(outputCount));
    weights_.resize(static_cast<size_t>(outputCount) * taps_);
    std::vector<double> exact(static_cast<size_t>(taps_));
    for (int i = 0; i < outputCount; ++i) {
        const double begin = origin + i * step;
        const double centre = begin + step / 2 - 0.5;
        const double lowest = shrinking ? begin : centre;
        const int start = std::clamp(static_cast<int>(std::floor(lowest)), first, end - taps_);
        for (int tap = 0; tap < taps_; ++tap) {
            const double sample = start + tap;
            const double weight = shrinking
                                      ? std::min(sample + 1, begin + step) - std::max(sample, begin)
                                      : 1 - std::abs(std::clamp<double>(centre, first, end - 1) - sample);
            exact[static_cast<size_t>(tap)] = std::max(weight, 0.0);
        }
        starts_[static_cast<size_t>(i)] = start;
        quantize(exact, weights_.data() + static_cast<size_t>(i) * taps_);
    }
}

std::pair<int, int> ScalingAxis::affected(int begin, int end) const {
    const auto first =
        std::ranges::partition_point(starts_, [&](int start) { return start + taps_ <= begin; });
    const auto last = std::ranges::partition_point(starts_, [&](int start) { return start < end; });
    return {static_cast<int>(first - starts_.begin()), static_cast<int>(last - starts_.begin())};
}

PlanarScaler::PlanarScaler(ScalingAxis horizontal, ScalingAxis vertical)
    : horizontal_(std::move(horizontal)), vertical_(std::move(vertical)) {
    const int last = horizontal_.outputCount() - 1;
    row_.resize(static_cast<size_t>(horizontal_.start(last) + horizontal_.taps()));
}

namespace {

/// One row of weighted source rows: 8 bits of value, 8 of fraction; unit sum keeps it within 16.
void blendRows(const uint8_t* source, int stride, const uint16_t* weights, int taps, int count,
               uint16_t* __restrict row) {
    const unsigned first = weights[0];
    for (int x = 0; x < count; ++x) row[x] = static_cast<uint16_t>(source[x] * first);
    for (int tap = 1; tap < taps; ++tap) {
        const unsigned weight = weights[tap];
        if (weight == 0) continue;
        const uint8_t* next = source + static_cast<ptrdiff_t>(tap) * stride;
        for (int x = 0; x < count; ++x) row[x] = static_cast<uint16_t>(row[x] + next[x] * weight);
    }
}

constexpr uint32_t kHalf = 1u << 15;

/// `fixedTaps` is the number of taps when the compiler shall know it, else 0.
template <int fixedTaps>
void blendColumns(const uint16_t* row, const int* starts, const uint16_t* weights, int anyTaps, int count,
                  uint8_t* __restrict target) {
    const int taps = fixedTaps > 0 ? fixedTaps : anyTaps;
    for (int x = 0; x < count; ++x) {
        const uint16_t* samples = row + starts[x];
        uint32_t sum = kHalf;
        for (int tap = 0; tap < taps; ++tap) sum += static_cast<uint32_t>(samples[tap]) * weights[tap];
        target[x] = static_cast<uint8_t>(sum >> 16);
        weights += taps;
    }
}

}  // namespace

void PlanarScaler::scale(ConstPlane source, uint8_t* target, int targetStride, int left, int top, int right,
                         int bottom) {
    if (left >= right) return;
    const int taps = horizontal_.taps();
    const int from = horizontal_.start(left);
    const int to = horizontal_.start(right - 1) + taps;
    const auto blend = taps == 2   ? blendColumns<2>
                       : taps == 3 ? blendColumns<3>
                       : taps == 4 ? blendColumns<4>
                                   : blendColumns<0>;
    for (int y = top; y < bottom; ++y) {
        const uint8_t* rows = source.data + static_cast<ptrdiff_t>(vertical_.start(y)) * source.stride + from;
        blendRows(rows, source.stride, vertical_.weights(y), vertical_.taps(), to - from, row_.data() + from);
        blend(row_.data(), horizontal_.starts() + left, horizontal_.weights(left), taps, right - left,
              target + static_cast<ptrdiff_t>(y) * targetStride + left);
    }
}

}  // namespace quillon
