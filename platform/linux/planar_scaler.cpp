#include "platform/linux/planar_scaler.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <cmath>
#include <cstring>

namespace quillon {

namespace {

/// Whole weights that add up to the unit: each is what its part adds to the rounded running sum.
void quantize(const std::vector<double>& exact, int16_t* weights) {
    double total = 0;
    for (const double weight : exact) total += weight;
    double sum = 0;
    int given = 0;
    for (const double weight : exact) {
        sum += weight;
        const int upTo = static_cast<int>(std::lround(sum / total * ScalingAxis::kUnit));
        *weights++ = static_cast<int16_t>(upTo - given);
        given = upTo;
    }
}

}  // namespace

ScalingAxis::ScalingAxis(double extent, int sourceCount, int outputCount) {
    const double step = extent / outputCount;
    const bool shrinking = step > 1;
    // A span of `step` touches at most ceil(step) + 1 samples.
    taps_ = std::min(shrinking ? static_cast<int>(std::ceil(step)) + 1 : 2, sourceCount);
    starts_.resize(static_cast<size_t>(outputCount));
    weights_.resize(static_cast<size_t>(outputCount) * spread());
    std::vector<double> exact(static_cast<size_t>(taps_));
    for (int i = 0; i < outputCount; ++i) {
        const double begin = i * step;
        const double centre = begin + step / 2 - 0.5;
        const double lowest = shrinking ? begin : centre;
        const int start = std::clamp(static_cast<int>(std::floor(lowest)), 0, sourceCount - taps_);
        for (int tap = 0; tap < taps_; ++tap) {
            const double sample = start + tap;
            const double weight = shrinking
                                      ? std::min(sample + 1, begin + step) - std::max(sample, begin)
                                      : 1 - std::abs(std::clamp<double>(centre, 0, sourceCount - 1) - sample);
            exact[static_cast<size_t>(tap)] = std::max(weight, 0.0);
        }
        starts_[static_cast<size_t>(i)] = start;
        quantize(exact, weights_.data() + static_cast<size_t>(i) * spread());
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
    row_.resize(static_cast<size_t>(horizontal_.start(last)) + horizontal_.spread());
}

namespace {

/// One row of weighted source rows.
void blendRows(const uint8_t* source, int stride, const int16_t* weights, int taps, int count,
               int16_t* __restrict row) {
    const int first = weights[0];
    for (int x = 0; x < count; ++x) row[x] = static_cast<int16_t>(source[x] * first);
    for (int tap = 1; tap < taps; ++tap) {
        const int weight = weights[tap];
        if (weight == 0) continue;
        const uint8_t* next = source + static_cast<ptrdiff_t>(tap) * stride;
        for (int x = 0; x < count; ++x) row[x] = static_cast<int16_t>(row[x] + next[x] * weight);
    }
}

constexpr int kSumBits = 2 * ScalingAxis::kUnitBits;
constexpr int kHalf = 1 << (kSumBits - 1);

#if defined(__SSE2__)
/// Output samples in fours as long as there are four, each of four weights. Gives how many it made.
int blendColumnsInFours(const int16_t* row, const int* starts, const int16_t* weights, int count,
                        uint8_t* target) {
    const auto samples = [&](int x) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + starts[x]));
    };
    // Two partial sums of each of the outputs x and x + 1.
    const auto sums = [&](int x) {
        const __m128i both = _mm_unpacklo_epi64(samples(x), samples(x + 1));
        return _mm_madd_epi16(both, _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights + 4 * x)));
    };
    const __m128i half = _mm_set1_epi32(kHalf);
    int x = 0;
    for (; x + 4 <= count; x += 4) {
        const __m128 low = _mm_castsi128_ps(sums(x));
        const __m128 high = _mm_castsi128_ps(sums(x + 2));
        const __m128i even = _mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0)));
        const __m128i odd = _mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1)));
        const __m128i sum = _mm_add_epi32(_mm_add_epi32(even, odd), half);
        const __m128i words = _mm_packs_epi32(_mm_srli_epi32(sum, kSumBits), _mm_setzero_si128());
        const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        std::memcpy(target + x, &bytes, sizeof bytes);
    }
    return x;
}
#else
int blendColumnsInFours(const int16_t*, const int*, const int16_t*, int, uint8_t*) {
    return 0;
}
#endif

void blendColumns(const int16_t* row, const int* starts, const int16_t* weights, int spread, int count,
                  uint8_t* target) {
    int x = spread == 4 ? blendColumnsInFours(row, starts, weights, count, target) : 0;
    for (; x < count; ++x) {
        int sum = kHalf;
        for (int tap = 0; tap < spread; ++tap) sum += row[starts[x] + tap] * weights[x * spread + tap];
        target[x] = static_cast<uint8_t>(sum >> kSumBits);
    }
}

}  // namespace

void PlanarScaler::scale(ConstPlane source, uint8_t* target, int targetStride, int left, int top, int right,
                         int bottom) {
    if (left >= right) return;
    const int from = horizontal_.start(left);
    const int to = horizontal_.start(right - 1) + horizontal_.taps();
    for (int y = top; y < bottom; ++y) {
        const uint8_t* rows = source.data + static_cast<ptrdiff_t>(vertical_.start(y)) * source.stride + from;
        blendRows(rows, source.stride, vertical_.weights(y), vertical_.taps(), to - from, row_.data() + from);
        blendColumns(row_.data(), horizontal_.starts() + left, horizontal_.weights(left),
                     horizontal_.spread(), right - left,
                     target + static_cast<ptrdiff_t>(y) * targetStride + left);
    }
}

}  // namespace quillon
