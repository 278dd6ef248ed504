#include "bench/reference.hpp"

#include <cmath>
#include <stdexcept>
#include <string>

namespace quillon::bench {
namespace {

/// Sum of a channel over the four pixels, 0..1020.
float channelOf(const std::array<uint32_t, 4>& pixels, int shift) {
    uint32_t sum = 0;
    for (const uint32_t pixel : pixels) sum += pixel >> shift & 0xFF;
    return static_cast<float>(sum);
}

uint8_t rounded(float value) {
    return static_cast<uint8_t>(value + 0.5F);
}

uint8_t lumaOf(uint32_t pixel) {
    const auto r = static_cast<float>(pixel >> 16 & 0xFF);
    const auto g = static_cast<float>(pixel >> 8 & 0xFF);
    const auto b = static_cast<float>(pixel & 0xFF);
    return rounded(16 + (65.481F * r + 128.553F * g + 24.966F * b) / 255);
}

double meanSquaredError(const uint8_t* ours, const uint8_t* theirs, int stride, Size size) {
    uint64_t sum = 0;
    for (int y = 0; y < size.height; ++y) {
        uint32_t line = 0;
        for (int x = 0; x < size.width; ++x) {
            const int difference = ours[y * size.width + x] - theirs[y * stride + x];
            line += static_cast<uint32_t>(difference * difference);
        }
        sum += line;
    }
    return static_cast<double>(sum) / (static_cast<double>(size.width) * size.height);
}

}  // namespace

Reference::Reference(std::string_view scene, const SceneFormat& format)
    : format_(format), scene_(makeMarkedScene(scene, format, store_)) {
    if (!scene_) throw std::invalid_argument("no such scene: " + std::string(scene));
    picture_ = store_.make(format.size);
    const size_t pixels = static_cast<size_t>(format.size.width) * format.size.height;
    planes_[0].resize(pixels);
    planes_[1].resize(pixels / 4);
    planes_[2].resize(pixels / 4);
}

void Reference::show(uint32_t index) {
    if (shown_ == index) return;
    SheetSurface surface(picture_);
    scene_->draw(index, shown_, surface);
    shown_ = index;

    const int width = format_.size.width;
    for (int y = 0; y < format_.size.height; y += 2) {
        const uint32_t* above = picture_.row(y);
        const uint32_t* below = picture_.row(y + 1);
        uint8_t* luma = planes_[0].data() + y * width;
        for (int x = 0; x < width; ++x) {
            luma[x] = lumaOf(above[x]);
            luma[width + x] = lumaOf(below[x]);
        }
        for (int x = 0; x < width; x += 2) {
            const std::array<uint32_t, 4> pixels{above[x], above[x + 1], below[x], below[x + 1]};
            const float r = channelOf(pixels, 16);
            const float g = channelOf(pixels, 8);
            const float b = channelOf(pixels, 0);
            const size_t at = static_cast<size_t>(y / 2) * (width / 2) + x / 2;
            planes_[1][at] = rounded(128 + (-37.797F * r - 74.203F * g + 112.0F * b) / 1020);
            planes_[2][at] = rounded(128 + (112.0F * r - 93.786F * g - 18.214F * b) / 1020);
        }
    }
}

PlaneErrors Reference::errorsOf(const device::DecodedPicture& picture, uint32_t index) {
    if (picture.size() != format_.size)
        throw std::invalid_argument("the stream's pictures have another size");
    show(index);
    PlaneErrors result{};
    for (int i = 0; i < 3; ++i) {
        const int part = i == 0 ? 1 : 2;
        const Size size{format_.size.width / part, format_.size.height / part};
        result[static_cast<size_t>(i)] = meanSquaredError(planes_[static_cast<size_t>(i)].data(),
                                                          picture.plane(i), picture.stride(i), size);
    }
    return result;
}

}  // namespace quillon::bench
