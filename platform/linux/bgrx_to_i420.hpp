#pragma once

#include <array>

#include "base/geometry.hpp"
#include "platform/linux/planar_scaler.hpp"
#include "platform/picture.hpp"

namespace quillon {

/// Converts `size` pixels at `bgrx` into the planes Y, U and V: BT.601, limited range, each sample the whole
/// number nearest to the exact value. A colour sample is that of the mean of the two by two pixels it stands
/// for, at an odd right or bottom edge of those that exist; there are (size + 1) / 2 of them along each axis.
void convertBgrxToI420(ConstPlane bgrx, Size size, const std::array<Picture::Plane, 3>& planes);

/// The same to the last bit without the processor's vector instructions.
void convertBgrxToI420Portably(ConstPlane bgrx, Size size, const std::array<Picture::Plane, 3>& planes);

}  // namespace quillon
