#include "device/artwork.hpp"

#include <pango/pangocairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

namespace quillon::device {
namespace {

struct Release {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* context) const { cairo_destroy(context); }
    void operator()(PangoLayout* layout) const { g_object_unref(layout); }
    void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, Release>;

/// A transparent picture and the means to draw on it.
class Sheet {
  public:
    explicit Sheet(Size size)
        : surface_(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size.width, size.height)),
          context_(cairo_create(surface_.get())),
          size_(size) {}

    cairo_t* context() { return context_.get(); }

    /// Cairo multiplies colours by their alpha; divides them again.
    RgbPicture finish() {
        cairo_surface_flush(surface_.get());
        RgbPicture picture{size_, {}};
        picture.pixels.reserve(static_cast<size_t>(picture.stride()) * static_cast<size_t>(size_.height));
        const uint8_t* data = cairo_image_surface_get_data(surface_.get());
        const int stride = cairo_image_surface_get_stride(surface_.get());
        for (int y = 0; y < size_.height; ++y) {
            const uint8_t* row = data + static_cast<ptrdiff_t>(y) * stride;
            for (int x = 0; x < size_.width; ++x) appendStraight(picture.pixels, row + 4 * x);
        }
        return picture;
    }

  private:
    static void appendStraight(std::vector<uint8_t>& pixels, const uint8_t* pixel) {
        const int alpha = pixel[3];
        for (int i = 0; i < 3; ++i) {
            pixels.push_back(static_cast<uint8_t>(alpha == 0 ? 0 : std::min(255, pixel[i] * 255 / alpha)));
        }
        pixels.push_back(pixel[3]);
    }

    Owned<cairo_surface_t> surface_;
    Owned<cairo_t> context_;
    Size size_;
};

Owned<PangoLayout> layoutOf(cairo_t* context, const std::vector<std::string>& lines, double fontPixels) {
    std::string text;
    for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + line;
    Owned<PangoLayout> layout(pango_cairo_create_layout(context));
    const Owned<PangoFontDescription> font(pango_font_description_from_string("DejaVu Sans Mono"));
    pango_font_description_set_absolute_size(font.get(), fontPixels * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    pango_layout_set_text(layout.get(), text.c_str(), static_cast<int>(text.size()));
    return layout;
}

void addRoundedRectangle(cairo_t* context, double width, double height, double radius) {
    const double quarter = std::acos(0.0);
    cairo_new_sub_path(context);
    cairo_arc(context, width - radius, radius, radius, -quarter, 0);
    cairo_arc(context, width - radius, height - radius, radius, 0, quarter);
    cairo_arc(context, radius, height - radius, radius, quarter, 2 * quarter);
    cairo_arc(context, radius, radius, radius, 2 * quarter, 3 * quarter);
    cairo_close_path(context);
}

}  // namespace

RgbPicture drawPointer(int height) {
    struct Corner {
        double x;
        double y;
    };
    // The outline in heights of the pointer, clockwise from the tip.
    static constexpr std::array<Corner, 7> kArrow{
        {{0, 0}, {0, 0.83}, {0.19, 0.66}, {0.32, 0.97}, {0.45, 0.91}, {0.32, 0.62}, {0.58, 0.60}}};
    const double line = std::max(1.0, height / 18.0);
    const double scale = height - 2 * line;
    Sheet sheet({static_cast<int>(std::ceil(height * 0.7)), height});
    cairo_t* context = sheet.context();
    for (const Corner& corner : kArrow) {
        cairo_line_to(context, corner.x * scale + line / 2, corner.y * scale + line / 2);
    }
    cairo_close_path(context);
    cairo_set_source_rgb(context, 0, 0, 0);
    cairo_fill_preserve(context);
    cairo_set_source_rgb(context, 1, 1, 1);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
    cairo_set_line_width(context, line);
    cairo_stroke(context);
    return sheet.finish();
}

RgbPicture drawPanel(const std::vector<std::string>& lines, double fontPixels) {
    Sheet measure({1, 1});
    int width = 0;
    int height = 0;
    pango_layout_get_pixel_size(layoutOf(measure.context(), lines, fontPixels).get(), &width, &height);
    const double margin = fontPixels * 0.7;
    const Size size{static_cast<int>(std::ceil(width + 2 * margin)),
                    static_cast<int>(std::ceil(height + 2 * margin))};
    Sheet sheet(size);
    cairo_t* context = sheet.context();
    addRoundedRectangle(context, size.width, size.height, margin);
    cairo_set_source_rgba(context, 0.07, 0.08, 0.10, 0.78);
    cairo_fill(context);
    cairo_move_to(context, margin, margin);
    cairo_set_source_rgb(context, 0.93, 0.96, 0.97);
    pango_cairo_show_layout(context, layoutOf(context, lines, fontPixels).get());
    return sheet.finish();
}

int pointerHeight(int pictureHeight) {
    return std::max(16, pictureHeight / 40);
}

void blend(RgbPicture& picture, const RgbPicture& sprite, int x, int y) {
    const PixelRect whole{0, 0, picture.size.width, picture.size.height};
    const PixelRect covered = intersection({x, y, sprite.size.width, sprite.size.height}, whole);
    for (int row = covered.y; row < covered.bottom(); ++row) {
        for (int column = covered.x; column < covered.right(); ++column) {
            const uint8_t* from = sprite.pixels.data() + (row - y) * sprite.stride() + (column - x) * 4;
            uint8_t* to = picture.pixels.data() + static_cast<ptrdiff_t>(row) * picture.stride() + column * 4;
            for (int i = 0; i < 3; ++i) {
                to[i] = static_cast<uint8_t>((from[i] * from[3] + to[i] * (255 - from[3]) + 127) / 255);
            }
        }
    }
}

}  // namespace quillon::device
