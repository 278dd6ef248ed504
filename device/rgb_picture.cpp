#include "device/rgb_picture.hpp"

#include <libyuv/convert_argb.h>
#include <png.h>

#include <stdexcept>

namespace quillon::device {

RgbPicture toRgb(const DecodedPicture& picture) {
    RgbPicture rgb{picture.size(), {}};
    rgb.pixels.resize(static_cast<size_t>(rgb.stride()) * static_cast<size_t>(rgb.size.height));
    libyuv::I420ToARGB(picture.plane(0), picture.stride(0), picture.plane(1), picture.stride(1),
                       picture.plane(2), picture.stride(2), rgb.pixels.data(), rgb.stride(), rgb.size.width,
                       rgb.size.height);
    return rgb;
}

void writePng(const RgbPicture& picture, const std::string& file) {
    // libpng's simple interface knows no "blue first, ignore alpha", so the rows are packed to RGB.
    std::vector<uint8_t> packed;
    packed.reserve(picture.pixels.size() / 4 * 3);
    for (size_t i = 0; i < picture.pixels.size(); i += 4) {
        packed.insert(packed.end(), {picture.pixels[i + 2], picture.pixels[i + 1], picture.pixels[i]});
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.size.width);
    image.height = static_cast<png_uint_32>(picture.size.height);
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, file.c_str(), 0, packed.data(), 0, nullptr) == 0) {
        throw std::runtime_error("cannot write " + file + ": " + image.message);
    }
}

}  // namespace quillon::device
