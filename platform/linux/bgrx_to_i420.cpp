#include "platform/linux/bgrx_to_i420.hpp"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <cmath>

namespace quillon {

namespace {

constexpr int kBytesPerPixel = 4;

/// A sample is `offset` + `scale` * (blue * B + green * G + red * R). The weights are whole numbers, with
/// which the sum is exact, in a float too; the product with the scale is rounded once and lies within
/// 0.00001 of the exact value.
struct Formula {
    int16_t blue;
    int16_t green;
    int16_t red;
    float scale;
    uint8_t offset;
};

// R, G and B weigh 0.299, 0.587 and 0.114 in the luma, of which 0 to 255 become 219 steps. U is B less luma
// and V is R less luma; from one end to the other they have 224 steps, and they come from sums of four
// pixels.
constexpr Formula kLuma{114, 587, 299, 219.0F / (1000 * 255), 16};
constexpr Formula kU{886, -587, -299, 112.0F / (886 * 255 * 4), 128};
constexpr Formula kV{-114, -587, 701, 112.0F / (701 * 255 * 4), 128};

/// Two rows of pixels, and where their samples go.
struct RowPair {
    const uint8_t* above;
    const uint8_t* below;
    uint8_t* lumaAbove;
    uint8_t* lumaBelow;
    uint8_t* u;
    uint8_t* v;
};

struct Colour {
    int blue = 0;
    int green = 0;
    int red = 0;
};

uint8_t sampleOf(const Colour& colour, const Formula& formula) {
    const int sum = formula.blue * colour.blue + formula.green * colour.green + formula.red * colour.red;
    return static_cast<uint8_t>(std::lrint(static_cast<float>(sum) * formula.scale) + formula.offset);
}

/// Columns from the even `begin` to before `width`.
void convertColumns(const RowPair& rows, int begin, int width) {
    const auto take = [](const uint8_t* pixels, int x, uint8_t* luma, Colour& sum) {
        const uint8_t* pixel = pixels + static_cast<ptrdiff_t>(x) * kBytesPerPixel;
        const Colour colour{pixel[0], pixel[1], pixel[2]};
        luma[x] = sampleOf(colour, kLuma);
        sum = {sum.blue + colour.blue, sum.green + colour.green, sum.red + colour.red};
    };
    for (int x = begin; x < width; x += 2) {
        const int next = std::min(x + 1, width - 1);
        Colour sum;
        take(rows.above, x, rows.lumaAbove, sum);
        take(rows.above, next, rows.lumaAbove, sum);
        take(rows.below, x, rows.lumaBelow, sum);
        take(rows.below, next, rows.lumaBelow, sum);
        rows.u[x / 2] = sampleOf(sum, kU);
        rows.v[x / 2] = sampleOf(sum, kV);
    }
}

/// A way to convert the columns from 0 on, as many as suit it, an even number. Gives how many.
using ColumnConverter = int (*)(const RowPair& rows, int width);

int convertNone(const RowPair&, int) {
    return 0;
}

#if defined(__x86_64__)
#define QUILLON_AVX2 [[gnu::target("avx2"), gnu::always_inline]] inline

/// Eight pixels or eight sums of pixels, taken apart into words.
struct EightColours {
    __m256i blueRed;
    __m256i greenOther;  ///< the fourth byte of a pixel says nothing and weighs nothing
};

/// A formula with its weights as `EightColours` wants them.
struct EightFormulas {
    __m256i blueRed;
    __m256i greenOther;
    __m256 scale;
};

QUILLON_AVX2 EightFormulas spread(const Formula& formula) {
    return {_mm256_set1_epi32(formula.red << 16 | static_cast<uint16_t>(formula.blue)),
            _mm256_set1_epi32(static_cast<uint16_t>(formula.green)), _mm256_set1_ps(formula.scale)};
}

QUILLON_AVX2 EightColours load(const uint8_t* pixels) {
    const __m256i loaded = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels));
    return {_mm256_and_si256(loaded, _mm256_set1_epi16(0xFF)), _mm256_srli_epi16(loaded, 8)};
}

/// Eight samples before the offset is added.
QUILLON_AVX2 __m256i samplesOf(const EightColours& colours, const EightFormulas& formula) {
    const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(colours.blueRed, formula.blueRed),
                                         _mm256_madd_epi16(colours.greenOther, formula.greenOther));
    return _mm256_cvtps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(sum), formula.scale));
}

QUILLON_AVX2 __m256i sumOfPairs(__m256i above0, __m256i below0, __m256i above1, __m256i below1) {
    return _mm256_hadd_epi32(_mm256_add_epi16(above0, below0), _mm256_add_epi16(above1, below1));
}

/// Instructions that narrow work on each half of a register. Here the order is put right.
QUILLON_AVX2 void storeLuma(__m256i above0, __m256i above1, __m256i below0, __m256i below1, uint8_t* above,
                            uint8_t* below) {
    const __m256i mixed =
        _mm256_packus_epi16(_mm256_packs_epi32(above0, above1), _mm256_packs_epi32(below0, below1));
    const __m256i ordered = _mm256_permutevar8x32_epi32(mixed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    const __m256i luma = _mm256_add_epi8(ordered, _mm256_set1_epi8(static_cast<char>(kLuma.offset)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(above), _mm256_castsi256_si128(luma));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(below), _mm256_extracti128_si256(luma, 1));
}

/// Takes the columns in the order that `sumOfPairs` leaves: 0, 1, 4, 5, 2, 3, 6, 7.
QUILLON_AVX2 void storeChroma(__m256i u, __m256i v, uint8_t* toU, uint8_t* toV) {
    static_assert(kU.offset == kV.offset);
    const __m256i words = _mm256_packs_epi32(u, v);
    const __m256i mixed = _mm256_packs_epi16(words, words);
    const __m128i ordered =
        _mm_unpacklo_epi16(_mm256_castsi256_si128(mixed), _mm256_extracti128_si256(mixed, 1));
    const __m128i both = _mm_add_epi8(ordered, _mm_set1_epi8(static_cast<char>(kU.offset)));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(toU), both);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(toV), _mm_unpackhi_epi64(both, both));
}

[[gnu::target("avx2")]] int convertSixteens(const RowPair& rows, int width) {
    const EightFormulas luma = spread(kLuma);
    const EightFormulas u = spread(kU);
    const EightFormulas v = spread(kV);
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(x) * kBytesPerPixel;
        const EightColours above0 = load(rows.above + at);
        const EightColours above1 = load(rows.above + at + 32);
        const EightColours below0 = load(rows.below + at);
        const EightColours below1 = load(rows.below + at + 32);
        storeLuma(samplesOf(above0, luma), samplesOf(above1, luma), samplesOf(below0, luma),
                  samplesOf(below1, luma), rows.lumaAbove + x, rows.lumaBelow + x);
        const EightColours sums{
            sumOfPairs(above0.blueRed, below0.blueRed, above1.blueRed, below1.blueRed),
            sumOfPairs(above0.greenOther, below0.greenOther, above1.greenOther, below1.greenOther)};
        storeChroma(samplesOf(sums, u), samplesOf(sums, v), rows.u + x / 2, rows.v + x / 2);
    }
    return x;
}

ColumnConverter bestConverter() {
    return __builtin_cpu_supports("avx2") ? convertSixteens : convertNone;
}
#else
ColumnConverter bestConverter() {
    return convertNone;
}
#endif

void convertRows(ConstPlane bgrx, Size size, const std::array<Picture::Plane, 3>& planes,
                 ColumnConverter convertFirst) {
    const auto row = [](const auto& plane, int y) {
        return plane.data + static_cast<ptrdiff_t>(y) * plane.stride;
    };
    for (int y = 0; y < size.height; y += 2) {
        const int next = std::min(y + 1, size.height - 1);
        const RowPair rows{row(bgrx, y),         row(bgrx, next),       row(planes[0], y),
                           row(planes[0], next), row(planes[1], y / 2), row(planes[2], y / 2)};
        convertColumns(rows, convertFirst(rows, size.width), size.width);
    }
}

}  // namespace

void convertBgrxToI420(ConstPlane bgrx, Size size, const std::array<Picture::Plane, 3>& planes) {
    static const ColumnConverter best = bestConverter();
    convertRows(bgrx, size, planes, best);
}

void convertBgrxToI420Portably(ConstPlane bgrx, Size size, const std::array<Picture::Plane, 3>& planes) {
    convertRows(bgrx, size, planes, convertNone);
}

}  // namespace quillon
