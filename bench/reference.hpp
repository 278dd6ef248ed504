#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "bench/scenes.hpp"
#include "device/video_decoder.hpp"

namespace quillon::bench {

/// Mean squared error of the planes Y, U, V.
using PlaneErrors = std::array<double, 3>;

/// A scene as an ideal encoder would see it: BT.601, limited range, colour averaged over 2x2 pixels.
class Reference {
  public:
    /// The size is even. Throws std::invalid_argument for an unknown scene.
    Reference(std::string_view scene, const SceneFormat& format);

    /// How far a picture is from what the scene shows at `index`. Throws std::invalid_argument when the
    /// picture has another size.
    PlaneErrors errorsOf(const device::DecodedPicture& picture, uint32_t index);

  private:
    void show(uint32_t index);

    SceneFormat format_;
    HeapSheets store_;
    std::unique_ptr<Scene> scene_;
    Sheet picture_;
    std::optional<uint32_t> shown_;
    std::array<std::vector<uint8_t>, 3> planes_;
};

}  // namespace quillon::bench
