#include "platform/linux/planar_conversion.hpp"

#include <cmath>

#include "platform/linux/bgrx_to_i420.hpp"
#include "platform/linux/picture_ring.hpp"

namespace quillon {

namespace {

constexpr int kBytesPerPixel = 4;

/// The even number nearest to `value`, from 2 to `limit`.
int nearestEven(double value, int limit) {
    return std::clamp(2 * static_cast<int>(std::lround(value / 2)), 2, limit);
}

/// The largest centred rectangle in `output` with the shape of `source`.
PixelRect fitted(Size source, Size output) {
    const double scale = std::min(static_cast<double>(output.width) / source.width,
                                  static_cast<double>(output.height) / source.height);
    const int width = nearestEven(source.width * scale, output.width);
    const int height = nearestEven(source.height * scale, output.height);
    return {(output.width - width) / 2 & ~1, (output.height - height) / 2 & ~1, width, height};
}

/// Converts the pixels of `rect` into the picture at (x, y), both even.
void convertRect(ConstPlane bgrx, const PixelRect& rect, const Picture& picture, int x, int y) {
    const uint8_t* source = bgrx.data + static_cast<ptrdiff_t>(rect.y) * bgrx.stride +
                            static_cast<ptrdiff_t>(rect.x) * kBytesPerPixel;
    std::array<Picture::Plane, 3> planes = picture.planes;
    for (size_t plane = 0; plane < 3; ++plane) planes[plane].data = planeAt(picture, plane, x, y);
    convertBgrxToI420({source, bgrx.stride}, {rect.width, rect.height}, planes);
}

PixelRect moved(const PixelRect& rect, int dx, int dy) {
    return {rect.x + dx, rect.y + dy, rect.width, rect.height};
}

int half(int value) {
    return (value + 1) / 2;
}

ScalingAxis lumaAxis(int from, int to) {
    return {static_cast<double>(from), from, to};
}

/// Chroma samples lie in the middle of two luma samples, so half the luma interval is theirs.
ScalingAxis chromaAxis(int from, int to) {
    return {from / 2.0, half(from), to / 2};
}

}  // namespace

PictureLayout PictureLayout::of(Size display, const CaptureRequest& request) {
    PictureLayout layout;
    layout.display = display;
    layout.output = request.output;
    const PixelRect all{0, 0, display.width, display.height};
    const PixelRect part = intersection(request.sourceRect.value_or(all), all);
    const bool isCropped = request.sourceRect && !part.isEmpty();
    layout.source = isCropped ? part : all;
    layout.target = isCropped || !request.preservesAspectRatio
                        ? PixelRect{0, 0, request.output.width, request.output.height}
                        : fitted({layout.source.width, layout.source.height}, request.output);
    return layout;
}

PlanarConverter::Scaled::Scaled(const PictureLayout& layout)
    : luma(lumaAxis(layout.source.width, layout.target.width),
           lumaAxis(layout.source.height, layout.target.height)),
      chroma(chromaAxis(layout.source.width, layout.target.width),
             chromaAxis(layout.source.height, layout.target.height)) {
    const int lumaStride = (layout.source.width + 63) & ~63;
    const int chromaStride = (half(layout.source.width) + 63) & ~63;
    const size_t lumaBytes = static_cast<size_t>(lumaStride) * layout.source.height;
    const size_t chromaBytes = static_cast<size_t>(chromaStride) * half(layout.source.height);
    memory.resize(lumaBytes + 2 * chromaBytes);
    picture.planes = {{{memory.data(), lumaStride},
                       {memory.data() + lumaBytes, chromaStride},
                       {memory.data() + lumaBytes + chromaBytes, chromaStride}}};
}

PlanarConverter::PlanarConverter(const PictureLayout& layout) : layout_(layout) {
    if (layout.isScaled()) scaled_ = std::make_unique<Scaled>(layout);
}

DamageRegion PlanarConverter::sourceDamage(const DamageRegion& damage) const {
    const PixelRect& source = layout_.source;
    const PixelRect whole{0, 0, source.width, source.height};
    DamageRegion inside;
    for (const PixelRect& rect : damage.rects()) {
        const PixelRect part = intersection(moved(rect, -source.x, -source.y), whole);
        if (!part.isEmpty()) inside.add(intersection(evenAligned(part), whole));
    }
    return inside;
}

PixelRect PlanarConverter::affectedOutput(const PixelRect& rect) const {
    const PixelRect& target = layout_.target;
    if (!scaled_) return moved(rect, target.x, target.y);
    const auto range = [](const ScalingAxis& luma, const ScalingAxis& chroma, int begin, int end) {
        const auto inLuma = luma.affected(begin, end);
        const auto inChroma = chroma.affected(begin / 2, half(end));
        return std::pair{std::min(inLuma.first & ~1, 2 * inChroma.first),
                         std::max((inLuma.second + 1) & ~1, 2 * inChroma.second)};
    };
    const PlanarScaler& luma = scaled_->luma;
    const PlanarScaler& chroma = scaled_->chroma;
    const auto [left, right] = range(luma.horizontal(), chroma.horizontal(), rect.x, rect.right());
    const auto [top, bottom] = range(luma.vertical(), chroma.vertical(), rect.y, rect.bottom());
    return {target.x + left, target.y + top, right - left, bottom - top};
}

DamageRegion PlanarConverter::outputDamage(const DamageRegion& damage) const {
    const DamageRegion changed = sourceDamage(damage);
    DamageRegion output;
    for (const PixelRect& rect : changed.rects()) output.add(affectedOutput(rect));
    return output;
}

void PlanarConverter::convert(ConstPlane bgrx, const DamageRegion& damage, Picture& picture) {
    if (scaled_) {
        convertScaled(bgrx, damage, picture);
    } else {
        convertDirectly(bgrx, damage, picture);
    }
}

void PlanarConverter::convertDirectly(ConstPlane bgrx, const DamageRegion& damage, Picture& picture) const {
    const int dx = layout_.source.x - layout_.target.x;
    const int dy = layout_.source.y - layout_.target.y;
    const DamageRegion changing = outputDamage(damage);
    for (const PixelRect& rect : changing.rects()) {
        convertRect(bgrx, moved(rect, dx, dy), picture, rect.x, rect.y);
    }
}

void PlanarConverter::convertScaled(ConstPlane bgrx, const DamageRegion& damage, Picture& picture) {
    Scaled& scaled = *scaled_;
    const DamageRegion changed = sourceDamage(damage);
    for (const PixelRect& rect : changed.rects()) {
        convertRect(bgrx, moved(rect, layout_.source.x, layout_.source.y), scaled.picture, rect.x, rect.y);
    }
    const PixelRect& target = layout_.target;
    const DamageRegion changing = outputDamage(damage);
    for (const PixelRect& each : changing.rects()) {
        const PixelRect rect = moved(each, -target.x, -target.y);
        for (size_t plane = 0; plane < 3; ++plane) {
            const int shift = plane == 0 ? 0 : 1;
            PlanarScaler& scaler = plane == 0 ? scaled.luma : scaled.chroma;
            scaler.scale({scaled.picture.planes[plane].data, scaled.picture.planes[plane].stride},
                         planeAt(picture, plane, target.x, target.y), picture.planes[plane].stride,
                         rect.x >> shift, rect.y >> shift, rect.right() >> shift, rect.bottom() >> shift);
        }
    }
}

void PlanarConverter::paintBars(Picture& picture) const {
    const PixelRect& target = layout_.target;
    const Size& output = layout_.output;
    paintBlack(picture, {0, 0, output.width, target.y});
    paintBlack(picture, {0, target.bottom(), output.width, output.height - target.bottom()});
    paintBlack(picture, {0, target.y, target.x, target.height});
    paintBlack(picture, {target.right(), target.y, output.width - target.right(), target.height});
}

}  // namespace quillon
