#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace quillon {

/// How one axis of a plane is resampled: for each output sample the source samples it is made of and
/// their weights. Shrinking averages what an output sample covers, enlarging interpolates between two
/// neighbours. Every output sample depends on its own few source samples only, so that scaling a part
/// gives the same samples as scaling the whole.
class ScalingAxis {
  public:
    /// Weights of one output sample add up to this: 8-bit samples times it still fit a signed 16-bit word.
    static constexpr int kUnit = 128;
    static constexpr int kUnitBits = 7;

    /// Maps the source interval [0, extent) of `sourceCount` samples onto `outputCount` samples.
    ScalingAxis(double extent, int sourceCount, int outputCount);

    int taps() const { return taps_; }
    int outputCount() const { return static_cast<int>(starts_.size()); }
    const int* starts() const { return starts_.data(); }
    int start(int output) const { return starts_[static_cast<size_t>(output)]; }
    /// `spread()` weights, of which those beyond `taps()` are 0.
    const int16_t* weights(int output) const {
        return weights_.data() + static_cast<size_t>(output) * spread();
    }
    /// Four suit vector instructions, and nearly every ratio needs no more.
    int spread() const { return std::max(taps_, 4); }

    /// Output samples [first, second) that depend on source samples [begin, end).
    std::pair<int, int> affected(int begin, int end) const;

  private:
    int taps_ = 1;
    std::vector<int> starts_;
    std::vector<int16_t> weights_;
};

struct ConstPlane {
    const uint8_t* data = nullptr;
    int stride = 0;
};

/// Resamples 8-bit planes by two axes. Holds scratch memory for one row: one thread at a time.
class PlanarScaler {
  public:
    PlanarScaler(ScalingAxis horizontal, ScalingAxis vertical);

    const ScalingAxis& horizontal() const { return horizontal_; }
    const ScalingAxis& vertical() const { return vertical_; }

    /// Writes output samples [left, right) × [top, bottom); `target` is the address of sample (0, 0).
    void scale(ConstPlane source, uint8_t* target, int targetStride, int left, int top, int right,
               int bottom);

  private:
    ScalingAxis horizontal_;
    ScalingAxis vertical_;
    std::vector<int16_t> row_;
};

}  // namespace quillon
