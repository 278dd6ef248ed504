#include "bench/painting.hpp"

#include <pango/pangocairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <stdexcept>

namespace quillon::bench {
namespace {

constexpr uint32_t kOpaque = 0xFF000000;

struct CairoEnd {
    void operator()(cairo_surface_t* it) const { cairo_surface_destroy(it); }
    void operator()(cairo_t* it) const { cairo_destroy(it); }
    void operator()(PangoLayout* it) const { g_object_unref(it); }
    void operator()(PangoFontDescription* it) const { pango_font_description_free(it); }
};
template <typename T>
using Owned = std::unique_ptr<T, CairoEnd>;

/// Coverage of every printable ASCII character, one cell each, side by side.
class Glyphs {
  public:
    static constexpr char kFirst = ' ';
    static constexpr char kLast = '~';

    Glyphs() {
        Owned<cairo_surface_t> surface(cairo_image_surface_create(CAIRO_FORMAT_A8, kWidth, kCell.height));
        Owned<cairo_t> cairo(cairo_create(surface.get()));
        Owned<PangoLayout> layout(pango_cairo_create_layout(cairo.get()));
        Owned<PangoFontDescription> font(pango_font_description_from_string("DejaVu Sans Mono"));
        pango_font_description_set_absolute_size(font.get(), 18.0 * PANGO_SCALE);
        pango_layout_set_font_description(layout.get(), font.get());
        for (char c = kFirst; c <= kLast; ++c) {
            pango_layout_set_text(layout.get(), &c, 1);
            cairo_move_to(cairo.get(), (c - kFirst) * kCell.width, 0);
            pango_cairo_show_layout(cairo.get(), layout.get());
        }
        cairo_surface_flush(surface.get());
        if (cairo_status(cairo.get()) != CAIRO_STATUS_SUCCESS)
            throw std::runtime_error("no text can be drawn");
        const unsigned char* data = cairo_image_surface_get_data(surface.get());
        const int stride = cairo_image_surface_get_stride(surface.get());
        for (int y = 0; y < kCell.height; ++y)
            std::copy_n(data + y * stride, kWidth, coverage_.begin() + y * kWidth);
    }

    /// 0..255 of the character's pixel; anything unprintable is a space.
    uint32_t coverage(char c, int x, int y) const {
        const int index = c < kFirst || c > kLast ? 0 : c - kFirst;
        return coverage_[static_cast<size_t>(y * kWidth + index * kCell.width + x)];
    }

  private:
    static constexpr int kWidth = (kLast - kFirst + 1) * kCell.width;
    std::array<uint8_t, static_cast<size_t>(kWidth* kCell.height)> coverage_{};
};

uint32_t mixed(uint32_t under, uint32_t over, uint32_t coverage) {
    uint32_t result = kOpaque;
    for (int shift = 0; shift < 24; shift += 8) {
        const uint32_t a = under >> shift & 0xFF;
        const uint32_t b = over >> shift & 0xFF;
        result |= (a * (255 - coverage) + b * coverage + 127) / 255 << shift;
    }
    return result;
}

/// Smooth noise of one scale, 0..1.
float noise(uint32_t seed, float x, float y) {
    const int x0 = static_cast<int>(std::floor(x));
    const int y0 = static_cast<int>(std::floor(y));
    const auto corner = [&](int cx, int cy) {
        return static_cast<float>(scattered(seed ^ static_cast<uint32_t>(cx) * 0x9E3779B1U ^
                                            static_cast<uint32_t>(cy) * 0x85EBCA77U) >>
                                  8) /
               16777216.0F;
    };
    const auto eased = [](float t) { return t * t * (3 - 2 * t); };
    const float u = eased(x - static_cast<float>(x0));
    const float v = eased(y - static_cast<float>(y0));
    const float top = std::lerp(corner(x0, y0), corner(x0 + 1, y0), u);
    return std::lerp(top, std::lerp(corner(x0, y0 + 1), corner(x0 + 1, y0 + 1), u), v);
}

/// One scale of noise over a whole area, at a quarter of the resolution where the scale is coarse.
void addNoise(std::vector<float>& field, Size size, uint32_t seed, float scale, float weight) {
    const int step = scale >= 16 ? 4 : 1;
    for (int y = 0; y < size.height; y += step) {
        for (int x = 0; x < size.width; x += step) {
            const float value =
                weight * noise(seed, static_cast<float>(x) / scale, static_cast<float>(y) / scale);
            for (int j = y; j < std::min(y + step, size.height); ++j) {
                for (int i = x; i < std::min(x + step, size.width); ++i)
                    field[static_cast<size_t>(j * size.width + i)] += value;
            }
        }
    }
}

uint32_t channel(float value) {
    return static_cast<uint32_t>(std::clamp(value, 0.0F, 255.0F));
}

}  // namespace

uint32_t scattered(uint32_t n) {
    n ^= n >> 16;
    n *= 0x7FEB352DU;
    n ^= n >> 15;
    n *= 0x846CA68BU;
    return n ^ n >> 16;
}

void fill(const Sheet& sheet, const PixelRect& area, uint32_t colour) {
    const PixelRect inside = intersection(area, {0, 0, sheet.size.width, sheet.size.height});
    for (int y = inside.y; y < inside.bottom(); ++y)
        std::fill_n(sheet.row(y) + inside.x, inside.width, colour | kOpaque);
}

void write(const Sheet& sheet, int x, int y, std::string_view text, uint32_t colour) {
    static const Glyphs glyphs;
    for (const char c : text) {
        const PixelRect cell =
            intersection({x, y, kCell.width, kCell.height}, {0, 0, sheet.size.width, sheet.size.height});
        for (int row = cell.y; row < cell.bottom(); ++row) {
            for (int column = cell.x; column < cell.right(); ++column) {
                uint32_t& pixel = sheet.row(row)[column];
                pixel = mixed(pixel, colour, glyphs.coverage(c, column - x, row - y));
            }
        }
        x += kCell.width;
    }
}

std::string programLine(unsigned n) {
    static constexpr std::array<std::string_view, 12> kLines{
        "std::optional<Frame> Queue::takeNewest() {",
        "    const MutexLock lock(mutex_);",
        "    if (waiting_.empty()) return std::nullopt;",
        "    Frame frame = std::move(waiting_.back());",
        "    dropped_ += waiting_.size() - 1;",
        "    waiting_.clear();",
        "    return frame;",
        "}",
        "",
        "// The newest picture is the one that somebody wants to see.",
        "for (const auto& [name, value] : settings) apply(name, value);",
        "assert(width % 2 == 0 && height % 2 == 0);"};
    return std::string(kLines[n < kLines.size() ? n : scattered(n) % kLines.size()]);
}

std::string terminalLine(unsigned n) {
    static constexpr std::array<std::string_view, 6> kVerbs{"Building", "Linking", "Checking",
                                                            "Copying",  "Signing", "Packing"};
    const uint32_t hash = scattered(n + 1000);
    std::string line = "[";
    line += std::to_string(n % 1000) + "/999] ";
    line += kVerbs[hash % kVerbs.size()];
    line += " object out/" + std::to_string(hash >> 8 & 0xFFFF) + "/part_" + std::to_string(hash >> 24);
    line += ".o -DNUMBER=" + std::to_string(scattered(hash));
    line.append(hash >> 4 & 31, '.');
    return line + " ok";
}

void paintEditor(const Sheet& sheet, const PixelRect& area, int lines) {
    constexpr int kGutter = 5 * kCell.width;
    fill(sheet, area, 0xFDFDFB);
    fill(sheet, {area.x, area.y, kGutter, area.height}, 0xECECE8);
    const int columns = (area.width - kGutter) / kCell.width - 1;
    for (int i = 0; i < area.height / kCell.height; ++i) {
        const int y = area.y + i * kCell.height;
        write(sheet, area.x + kCell.width / 2, y, std::to_string(i + 1), 0x9A9A90);
        if (i >= lines) continue;
        const std::string text = programLine(static_cast<unsigned>(i));
        const uint32_t colour = text.find("//") != std::string::npos ? 0x3B7A3B
                                : i % 3 == 0                         ? 0x1F3FA8
                                                                     : 0x202020;
        write(sheet, area.x + kGutter + kCell.width, y,
              std::string_view(text).substr(0, static_cast<size_t>(std::max(0, columns))), colour);
    }
}

void paintWindow(const Sheet& sheet, const PixelRect& area, std::string_view title) {
    fill(sheet, area, 0x707880);
    fill(sheet, {area.x + 1, area.y + 1, area.width - 2, kTitleHeight - 1}, 0xD8DCE2);
    write(sheet, area.x + 12, area.y + (kTitleHeight - kCell.height) / 2, title, 0x30343A);
    for (int i = 0; i < 3; ++i)
        fill(sheet, {area.right() - 28 * (i + 1), area.y + 9, 14, 14}, i == 0 ? 0xC05048 : 0x9AA2AC);
    paintEditor(sheet, {area.x + 1, area.y + kTitleHeight, area.width - 2, area.height - kTitleHeight - 1},
                1000);
}

void paintDesktop(const Sheet& sheet) {
    const int w = sheet.size.width;
    const int h = sheet.size.height;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const uint32_t shade = static_cast<uint32_t>(40 + 60 * y / h + 30 * x / w);
            sheet.row(y)[x] = kOpaque | (shade / 2) << 16 | shade << 8 | (shade + 60);
        }
    }
    paintWindow(sheet, {w / 20, h / 12, w * 9 / 20, h * 7 / 10}, "queue.cpp");
    paintWindow(sheet, {w * 11 / 20, h / 10, w * 8 / 20, h * 4 / 10}, "notes.txt");
    paintNature(sheet, {w * 11 / 20, h * 11 / 20, w * 8 / 20, h * 7 / 20}, 7);
    fill(sheet, {0, h - 40, w, 40}, 0x20242A);
    write(sheet, 20, h - 31, "Files   Editor   Terminal   Pictures", 0xE0E4EA);
}

void paintNature(const Sheet& sheet, const PixelRect& area, uint32_t seed) {
    const Size size{area.width, area.height};
    std::vector<float> light(static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
    std::vector<float> hue(light.size());
    addNoise(light, size, seed, 240, 0.5F);
    addNoise(light, size, seed + 1, 64, 0.25F);
    addNoise(light, size, seed + 2, 14, 0.15F);
    addNoise(light, size, seed + 3, 4, 0.10F);
    addNoise(hue, size, seed + 4, 180, 1.0F);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const size_t at = static_cast<size_t>(y * size.width + x);
            // A ridge line every quarter of the brightness makes the edges that photographs have.
            const float ridge = std::floor(light[at] * 8) * 16;
            const float base = light[at] * 150 + ridge * 0.6F;
            sheet.row(area.y + y)[area.x + x] = kOpaque | channel(base * (0.6F + 0.6F * hue[at])) << 16 |
                                                channel(base) << 8 | channel(base * (1.3F - 0.7F * hue[at]));
        }
    }
}

}  // namespace quillon::bench
