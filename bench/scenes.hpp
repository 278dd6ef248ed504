#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "bench/sheet.hpp"

namespace quillon::bench {

/// What a scene is made for.
struct SceneFormat {
    Size size;
    int fps = 30;  ///< of the scenes that move all the time
};

/// Something that happens on a screen. What index n looks like depends on nothing but the format and
/// n, whatever was drawn before. Index 0 is the picture before anything happens.
class Scene {
  public:
    virtual ~Scene() = default;
    /// Indices a second; 0 for a scene that never changes.
    virtual double rate() const = 0;
    /// Turns a surface that shows `shown` (nothing yet when empty) into `index`, touching as little of
    /// it as a real program would.
    virtual void draw(uint32_t index, std::optional<uint32_t> shown, Surface& surface) = 0;
};

/// "still", "caret", "typing", "scroll", "drag", "video" or "motion"; empty for any other name. The
/// scene's sheets live in `store`, which outlives it.
std::unique_ptr<Scene> makeScene(std::string_view name, const SceneFormat& format, SheetStore& store);

/// The scene of that name below a strip that shows the index as a barcode in the top-left corner. Empty
/// for an unknown name. Throws std::invalid_argument when the size has no room for the barcode.
std::unique_ptr<Scene> makeMarkedScene(std::string_view name, const SceneFormat& format, SheetStore& store);

}  // namespace quillon::bench
