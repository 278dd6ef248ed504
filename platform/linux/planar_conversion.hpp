#pragma once

#include <memory>
#include <vector>

#include "platform/capture.hpp"
#include "platform/linux/damage_region.hpp"
#include "platform/linux/planar_scaler.hpp"
#include "platform/picture.hpp"

namespace quillon {

/// Which part of a display goes where in the output picture.
struct PictureLayout {
    Size display;      ///< pixels
    Size output;       ///< pixels, even
    PixelRect source;  ///< the part shown, within the display
    PixelRect target;  ///< where it goes in the output, even edges; black around it

    /// As `request` asks for: a source rectangle is clipped to the display; one that misses it counts
    /// as none.
    static PictureLayout of(Size display, const CaptureRequest& request);

    bool isScaled() const { return source.width != target.width || source.height != target.height; }
};

/// Turns a BGRX picture of a display into I420 (BT.601, limited range), only where it changed, and the
/// same to the last bit as if all of it were converted. Allocates in the constructor only. One thread
/// at a time.
class PlanarConverter {
  public:
    explicit PlanarConverter(const PictureLayout& layout);

    const PictureLayout& layout() const { return layout_; }

    /// Where the output changes when `damage` (display pixels) did. Even edges.
    DamageRegion outputDamage(const DamageRegion& damage) const;

    /// Converts `damage` (display pixels) of the picture at `bgrx` and writes all of
    /// `outputDamage(damage)` in `picture`.
    void convert(ConstPlane bgrx, const DamageRegion& damage, Picture& picture);

    /// Paints what lies around the target black.
    void paintBars(Picture& picture) const;

  private:
    /// A picture of the source rectangle's size and its way to the output.
    struct Scaled {
        explicit Scaled(const PictureLayout& layout);
        std::vector<uint8_t> memory;
        Picture picture;  ///< planes only; unlike other pictures it may have odd edges
        PlanarScaler luma;
        PlanarScaler chroma;
    };

    /// The damage inside the source rectangle, relative to its corner, with even edges but for the
    /// right and bottom edge of an odd source.
    DamageRegion sourceDamage(const DamageRegion& damage) const;
    PixelRect affectedOutput(const PixelRect& sourceRect) const;
    void convertDirectly(ConstPlane bgrx, const DamageRegion& damage, Picture& picture) const;
    void convertScaled(ConstPlane bgrx, const DamageRegion& damage, Picture& picture);

    PictureLayout layout_;
    std::unique_ptr<Scaled> scaled_;  ///< null when no scaling is needed
};

}  // namespace quillon
