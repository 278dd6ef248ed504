#include <pango/pangocairo.h>

#include <numbers>

#include "base/releaser.hpp"
#include "platform/linux/pattern/module.hpp"

namespace quillon {

namespace {

using Surface = std::unique_ptr<cairo_surface_t, Releaser<cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, Releaser<cairo_destroy>>;
using Layout = std::unique_ptr<PangoLayout, Releaser<g_object_unref>>;
using Font = std::unique_ptr<PangoFontDescription, Releaser<pango_font_description_free>>;
using Attributes = std::unique_ptr<PangoAttrList, Releaser<pango_attr_list_unref>>;

class CairoPatternCanvas : public PatternCanvas {
  public:
    /// Owns `surface`, an image of 32-bit pixels, blue first in memory.
    CairoPatternCanvas(Surface surface, int height)
        : surface_(std::move(surface)), context_(cairo_create(surface_.get())), height_(height) {
        // Cairo's own origin is the top left corner, y downwards.
        cairo_translate(context(), 0, height_);
        cairo_scale(context(), 1, -1);
    }

    void fillRectangle(double x, double y, double width, double height, Color color) override {
        setColor(color);
        cairo_rectangle(context(), x, y, width, height);
        cairo_fill(context());
    }

    void fillEllipse(double x, double y, double width, double height, Color color) override {
        setColor(color);
        cairo_save(context());
        cairo_translate(context(), x + width / 2, y + height / 2);
        cairo_scale(context(), width / 2, height / 2);
        cairo_arc(context(), 0, 0, 1, 0, 2 * std::numbers::pi);
        cairo_restore(context());
        cairo_fill(context());
    }

    void strokeRectangle(double x, double y, double width, double height, double lineWidth,
                         Color color) override {
        setColor(color);
        cairo_set_line_width(context(), lineWidth);
        cairo_rectangle(context(), x, y, width, height);
        cairo_stroke(context());
    }

    void drawText(const std::string& text, double x, double y, double size, Weight weight,
                  Color color) override {
        setColor(color);
        cairo_save(context());
        cairo_identity_matrix(context());  // letters stand upright
        const Layout layout(pango_cairo_create_layout(context()));
        const Font font(pango_font_description_from_string("Sans"));
        pango_font_description_set_weight(font.get(),
                                          weight == Weight::bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_MEDIUM);
        pango_font_description_set_absolute_size(font.get(), size * PANGO_SCALE);
        pango_layout_set_font_description(layout.get(), font.get());
        const Attributes attributes(pango_attr_list_new());
        pango_attr_list_insert(attributes.get(), pango_attr_font_features_new("tnum=1"));
        pango_layout_set_attributes(layout.get(), attributes.get());
        pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));

        PangoRectangle box;
        pango_layout_get_extents(layout.get(), nullptr, &box);
        cairo_move_to(context(), x, height_ - y - pango_units_to_double(box.height));
        pango_cairo_show_layout(context(), layout.get());
        cairo_restore(context());
    }

    PicturePtr finish() override {
        cairo_surface_flush(surface_.get());
        auto picture = std::make_shared<Picture>();
        picture->format = Picture::Format::bgra;
        picture->width = cairo_image_surface_get_width(surface_.get());
        picture->height = cairo_image_surface_get_height(surface_.get());
        picture->planes[0] = {cairo_image_surface_get_data(surface_.get()),
                              cairo_image_surface_get_stride(surface_.get())};
        context_.reset();
        picture->memory = std::shared_ptr<cairo_surface_t>(std::move(surface_));
        return picture;
    }

  private:
    cairo_t* context() const { return context_.get(); }

    void setColor(Color color) {
        cairo_set_source_rgba(context(), color.red, color.green, color.blue, color.alpha);
    }

    Surface surface_;
    Context context_;
    const double height_;
};

}  // namespace

}  // namespace quillon

quillon::PatternCanvas* quillonMakePatternCanvas(int width, int height) {
    using namespace quillon;
    if (width <= 0 || height <= 0) return nullptr;
    // xRGB in native order, which on every machine we run on is blue first in memory.
    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
    return new CairoPatternCanvas(std::move(surface), height);
}
