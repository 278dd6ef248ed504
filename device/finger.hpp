#pragma once

#include <optional>

#include "device/picture_layout.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon::device {

/// One finger on the panel. It touches the host's display where the picture shows it: a bar beside the
/// display cannot be pressed, but a finger that went down on the display stays in touch with it until it
/// leaves.
class Finger {
  public:
    /// The touch to send for `action` (hover, press, drag or release) at a place of the picture; nothing when
    /// it means nothing to the display.
    std::optional<wire::Input> touch(uint8_t action, Point inPicture, const PictureLayout& layout);

    bool isDown() const { return isDown_; }

  private:
    bool isDown_ = false;
};

}  // namespace quillon::device
