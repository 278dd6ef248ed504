#pragma once

#include <CoreVideo/CoreVideo.h>

#include "platform/macos/owned.hpp"
#include "platform/picture.hpp"

namespace quillon {

/// A picture that is a pixel buffer of the system (`Picture::Format::native`); it holds one reference.
PicturePtr pictureOf(CVPixelBufferRef buffer);

/// The picture's pixel buffer; a picture of BGRA bytes is wrapped without copying them. Null for planes,
/// which nothing here makes, and when the system refuses the bytes.
Owned<CVPixelBufferRef> pixelBufferOf(const PicturePtr& picture);

}  // namespace quillon
