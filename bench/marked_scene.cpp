#include <algorithm>
#include <stdexcept>

#include "bench/painting.hpp"
#include "bench/scenes.hpp"
#include "device/counter_barcode.hpp"

namespace quillon::bench {
namespace {

constexpr int kSide = barcode::kCellSide;
constexpr int kRowWidth = kSide * static_cast<int>(barcode::kCells);

/// A surface that starts below the strip.
class BelowStrip : public Surface {
  public:
    explicit BelowStrip(Surface& whole) : whole_(whole) {}
    void put(const Sheet& sheet, const PixelRect& from, int x, int y) override {
        const int hidden = std::max(0, -y);
        if (hidden >= from.height) return;
        whole_.put(sheet, {from.x, from.y + hidden, from.width, from.height - hidden}, x, y + hidden + kSide);
    }

  private:
    Surface& whole_;
};

class MarkedScene : public Scene {
  public:
    MarkedScene(std::unique_ptr<Scene> scene, Sheet strip) : scene_(std::move(scene)), strip_(strip) {
        fill(strip_, {0, 0, strip_.size.width, kSide}, 0x30343A);
    }

    double rate() const override { return scene_->rate(); }

    void draw(uint32_t index, std::optional<uint32_t> shown, Surface& surface) override {
        BelowStrip below(surface);
        scene_->draw(index, shown, below);
        drawStrip(index, shown, surface);
    }

  private:
    /// Puts the cells from the first to the last that changes.
    void drawStrip(uint32_t index, std::optional<uint32_t> shown, Surface& surface) {
        const barcode::Cells cells = barcode::cellsOf(index);
        for (size_t i = 0; i < cells.size(); ++i) {
            fill(strip_, {static_cast<int>(i) * kSide, 0, kSide, kSide}, cells[i] ? 0xFFFFFF : 0x000000);
        }
        if (!shown) return surface.put(strip_, {0, 0, strip_.size.width, kSide}, 0, 0);
        const barcode::Cells before = barcode::cellsOf(*shown);
        const auto first = std::mismatch(cells.begin(), cells.end(), before.begin()).first - cells.begin();
        const auto last = std::mismatch(cells.rbegin(), cells.rend(), before.rbegin()).first - cells.rbegin();
        const int left = static_cast<int>(first) * kSide;
        const int right = kRowWidth - static_cast<int>(last) * kSide;
        if (left < right) surface.put(strip_, {left, 0, right - left, kSide}, left, 0);
    }

    std::unique_ptr<Scene> scene_;
    Sheet strip_;
};

}  // namespace

std::unique_ptr<Scene> makeMarkedScene(std::string_view name, const SceneFormat& format, SheetStore& store) {
    if (format.size.width < kRowWidth || format.size.height < 16 * kSide) {
        throw std::invalid_argument("the screen is too small for a scene");
    }
    SceneFormat below = format;
    below.size.height -= kSide;
    std::unique_ptr<Scene> scene = makeScene(name, below, store);
    if (!scene) return nullptr;
    return std::make_unique<MarkedScene>(std::move(scene), store.make({format.size.width, kSide}));
}

}  // namespace quillon::bench
