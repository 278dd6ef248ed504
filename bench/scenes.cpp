#include "bench/scenes.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>

#include "bench/painting.hpp"

namespace quillon::bench {
namespace {

PixelRect wholeOf(Size size) {
    return {0, 0, size.width, size.height};
}

/// A place that swings between 0 and `range` once in `period` seconds, at rest nowhere for long.
int swing(double seconds, double period, int range) {
    return static_cast<int>(
        std::lround(range * (0.5 + 0.5 * std::sin(2 * std::numbers::pi * seconds / period))));
}

class StillScene : public Scene {
  public:
    StillScene(const SceneFormat& format, SheetStore& store) : desktop_(store.make(format.size)) {
        paintDesktop(desktop_);
    }
    double rate() const override { return 0; }
    void draw(uint32_t, std::optional<uint32_t> shown, Surface& surface) override {
        if (!shown) surface.put(desktop_, wholeOf(desktop_.size), 0, 0);
    }

  private:
    Sheet desktop_;
};

/// An editor whose caret is switched on and off.
class CaretScene : public Scene {
  public:
    CaretScene(const SceneFormat& format, SheetStore& store)
        : page_(store.make(format.size)), caret_(store.make(kCaret)) {
        paintEditor(page_, wholeOf(format.size), format.size.height / kCell.height * 2 / 3);
        fill(caret_, wholeOf(kCaret), 0x202020);
    }
    double rate() const override { return 2; }
    void draw(uint32_t index, std::optional<uint32_t> shown, Surface& surface) override {
        if (!shown) surface.put(page_, wholeOf(page_.size), 0, 0);
        const int x = 30 * kCell.width;
        const int y = page_.size.height / 2 / kCell.height * kCell.height;
        if (index % 2 == 1) {
            surface.put(caret_, wholeOf(kCaret), x, y);
        } else if (shown) {
            surface.put(page_, {x, y, kCaret.width, kCaret.height}, x, y);
        }
    }

  private:
    static constexpr Size kCaret{2, 22};
    Sheet page_;
    Sheet caret_;
};

/// Ten characters a second into an editor's empty half; full, it is emptied.
class TypingScene : public Scene {
  public:
    TypingScene(const SceneFormat& format, SheetStore& store)
        : empty_(store.make(format.size)),
          typed_(store.make(format.size)),
          caret_(store.make({2, kCell.height})) {
        const int lines = format.size.height / kCell.height;
        firstLine_ = lines / 2;
        columns_ = static_cast<uint32_t>(std::min(80, (format.size.width - kLeft) / kCell.width - 1));
        capacity_ = columns_ * static_cast<uint32_t>(lines - firstLine_);
        paintEditor(empty_, wholeOf(format.size), firstLine_);
        paintEditor(typed_, wholeOf(format.size), firstLine_);
        std::string text;
        for (unsigned n = 0; text.size() < capacity_; ++n) text += programLine(n) + ' ';
        for (uint32_t i = 0; i < capacity_; ++i)
            write(typed_, cellAt(i).x, cellAt(i).y, text.substr(i, 1), 0x202020);
        fill(caret_, wholeOf(caret_.size), 0x202020);
    }

    double rate() const override { return 10; }

    void draw(uint32_t index, std::optional<uint32_t> shown, Surface& surface) override {
        const uint32_t count = index % capacity_;
        const bool goesOn = shown && *shown <= index && *shown / capacity_ == index / capacity_;
        if (!goesOn) surface.put(empty_, wholeOf(empty_.size), 0, 0);
        for (uint32_t i = goesOn ? *shown % capacity_ : 0; i < count; ++i) {
            const PixelRect cell = cellAt(i);
            surface.put(typed_, cell, cell.x, cell.y);
        }
        surface.put(caret_, wholeOf(caret_.size), cellAt(count).x, cellAt(count).y);
    }

  private:
    PixelRect cellAt(uint32_t i) const {
        return {kLeft + static_cast<int>(i % columns_) * kCell.width,
                (firstLine_ + static_cast<int>(i / columns_)) * kCell.height, kCell.width, kCell.height};
    }

    static constexpr int kLeft = 7 * kCell.width;
    Sheet empty_;
    Sheet typed_;
    Sheet caret_;
    int firstLine_ = 0;
    uint32_t columns_ = 0;
    uint32_t capacity_ = 0;  ///< characters
};

/// A terminal window, two thirds of the screen each way, whose text moves up by a line each index.
class ScrollScene : public Scene {
  public:
    ScrollScene(const SceneFormat& format, SheetStore& store)
        : fps_(format.fps), desktop_(store.make(format.size)) {
        paintDesktop(desktop_);
        const int rows = format.size.height * 2 / 3 / kCell.height;
        terminal_ = {format.size.width / 6, format.size.height / 6,
                     format.size.width * 2 / 3 / kCell.width * kCell.width, rows * kCell.height};
        paintWindow(desktop_,
                    {terminal_.x - 1, terminal_.y - kTitleHeight, terminal_.width + 2,
                     terminal_.height + kTitleHeight + 1},
                    "make all");
        // The log goes round; its end repeats its beginning, so that every view is one piece.
        log_ = store.make({terminal_.width, (kLines + rows) * kCell.height});
        fill(log_, wholeOf(log_.size), 0x16181C);
        for (int i = 0; i < kLines + rows; ++i) {
            const uint32_t colour = i % kLines % 7 == 0 ? 0xE0C060 : 0xC8D0C8;
            write(log_, 0, i * kCell.height, terminalLine(static_cast<unsigned>(i % kLines)), colour);
        }
    }
    double rate() const override { return fps_; }
    void draw(uint32_t index, std::optional<uint32_t> shown, Surface& surface) override {
        if (!shown) surface.put(desktop_, wholeOf(desktop_.size), 0, 0);
        const int top = static_cast<int>(index % kLines) * kCell.height;
        surface.put(log_, {0, top, terminal_.width, terminal_.height}, terminal_.x, terminal_.y);
    }

  private:
    static constexpr int kLines = 150;
    double fps_;
    Sheet desktop_;
    Sheet log_;
    PixelRect terminal_;
};

/// A window that is dragged over a desktop.
class DragScene : public Scene {
  public:
    DragScene(const SceneFormat& format, SheetStore& store)
        : fps_(format.fps),
          desktop_(store.make(format.size)),
          window_(store.make({format.size.width * 2 / 5, format.size.height * 2 / 5})) {
        paintDesktop(desktop_);
        paintWindow(window_, wholeOf(window_.size), "letter.txt");
    }
    double rate() const override { return fps_; }
    void draw(uint32_t index, std::optional<uint32_t> shown, Surface& surface) override {
        const PixelRect to = placeAt(index);
        if (!shown) {
            surface.put(desktop_, wholeOf(desktop_.size), 0, 0);
        } else {
            uncover(placeAt(*shown), to, surface);
        }
        surface.put(window_, wholeOf(window_.size), to.x, to.y);
    }

  private:
    PixelRect placeAt(uint32_t index) const {
        const double seconds = index / fps_;
        const Size size = window_.size;
        return {swing(seconds, 9, desktop_.size.width - size.width),
                swing(seconds, 7, desktop_.size.height - size.height), size.width, size.height};
    }

    /// Shows the desktop where the window was and is no longer: a piece beside and a piece above or below.
    void uncover(const PixelRect& from, const PixelRect& to, Surface& surface) {
        const auto show = [&](const PixelRect& area) {
            if (!area.isEmpty()) surface.put(desktop_, area, area.x, area.y);
        };
        const PixelRect both = intersection(from, to);
        if (both.isEmpty()) return show(from);
        show({from.x, from.y, both.x - from.x, from.height});
        show({both.right(), from.y, from.right() - both.right(), from.height});
        show({both.x, from.y, both.width, both.y - from.y});
        show({both.x, both.bottom(), both.width, from.bottom() - both.bottom()});
    }

    double fps_;
    Sheet desktop_;
    Sheet window_;
};

/// A player on a desktop: two layers of nature that move apart, under grain that no two pictures share.
class VideoScene : public Scene {
  public:
    VideoScene(const SceneFormat& format, SheetStore& store)
        : desktop_(store.make(format.size)), picture_(store.make(kVideo)) {
        paintDesktop(desktop_);
        place_ = {(format.size.width - kVideo.width) / 2, (format.size.height - kVideo.height) / 2,
                  kVideo.width, kVideo.height};
        paintWindow(
            desktop_,
            {place_.x - 1, place_.y - kTitleHeight, kVideo.width + 2, kVideo.height + kTitleHeight + 1},
            "holiday.mp4");
        far_ = heap_.make({kVideo.width + kPan, kVideo.height + kPan});
        near_ = heap_.make({kNear, kNear});
        paintNature(far_, wholeOf(far_.size), 20);
        paintNature(near_, wholeOf(near_.size), 90);
        for (uint32_t i = 0; i < grain_.size(); ++i) grain_[i] = (scattered(i) & 0x030303);
    }
    double rate() const override { return 30; }
    void draw(uint32_t index, std::optional<uint32_t> shown, Surface& surface) override {
        if (!shown) surface.put(desktop_, wholeOf(desktop_.size), 0, 0);
        const double seconds = index / rate();
        const int panX = swing(seconds, 11, kPan);
        const int panY = swing(seconds, 13, kPan);
        const int nearX = swing(seconds, 5, kVideo.width - kNear);
        const int nearY = swing(seconds, 4, kVideo.height - kNear);
        for (int y = 0; y < kVideo.height; ++y) {
            uint32_t* to = picture_.row(y);
            const uint32_t* from = far_.row(y + panY) + panX;
            // The grain takes the place of each channel's two lowest bits.
            const uint32_t* grain =
                grain_.data() + scattered(index * 4096 + static_cast<uint32_t>(y)) % kGrainShift;
            for (int x = 0; x < kVideo.width; ++x) to[x] = (from[x] & 0xFFFCFCFC) | grain[x];
            const int line = y - nearY;
            if (line < 0 || line >= kNear) continue;
            const double half = kNear / 2.0;
            const int reach =
                static_cast<int>(std::sqrt(std::max(0.0, half * half - (line - half) * (line - half))));
            std::copy_n(near_.row(line) + kNear / 2 - reach, 2 * reach, to + nearX + kNear / 2 - reach);
        }
        surface.put(picture_, wholeOf(kVideo), place_.x, place_.y);
    }

  private:
    static constexpr Size kVideo{1280, 720};
    static constexpr int kPan = 320;   ///< how far the far layer moves
    static constexpr int kNear = 360;  ///< diameter of the round thing in front
    static constexpr uint32_t kGrainShift = 4096;
    Sheet desktop_;
    Sheet picture_;
    HeapSheets heap_;
    Sheet far_;
    Sheet near_;
    PixelRect place_;
    std::array<uint32_t, kGrainShift + 1280> grain_{};
};

/// The whole screen moves: a landscape goes by under four windows that go their own ways.
class MotionScene : public Scene {
  public:
    MotionScene(const SceneFormat& format, SheetStore& store)
        : fps_(format.fps),
          size_(format.size),
          land_(store.make({format.size.width + kPan, format.size.height + kPan})),
          card_(store.make({format.size.width / 6, format.size.height / 6})) {
        paintNature(land_, wholeOf(land_.size), 50);
        paintWindow(card_, wholeOf(card_.size), "card");
    }
    double rate() const override { return fps_; }
    void draw(uint32_t index, std::optional<uint32_t>, Surface& surface) override {
        const double seconds = index / fps_;
        surface.put(land_, {swing(seconds, 7, kPan), swing(seconds, 6, kPan), size_.width, size_.height}, 0,
                    0);
        for (int i = 0; i < 4; ++i) {
            surface.put(card_, wholeOf(card_.size), swing(seconds + i, 8 + i, size_.width - card_.size.width),
                        swing(seconds + 2 * i, 12 - i, size_.height - card_.size.height));
        }
    }

  private:
    static constexpr int kPan = 512;
    double fps_;
    Size size_;
    Sheet land_;
    Sheet card_;
};

}  // namespace

std::unique_ptr<Scene> makeScene(std::string_view name, const SceneFormat& format, SheetStore& store) {
    if (name == "still") return std::make_unique<StillScene>(format, store);
    if (name == "caret") return std::make_unique<CaretScene>(format, store);
    if (name == "typing") return std::make_unique<TypingScene>(format, store);
    if (name == "scroll") return std::make_unique<ScrollScene>(format, store);
    if (name == "drag") return std::make_unique<DragScene>(format, store);
    if (name == "video") return std::make_unique<VideoScene>(format, store);
    if (name == "motion") return std::make_unique<MotionScene>(format, store);
    return nullptr;
}

}  // namespace quillon::bench
