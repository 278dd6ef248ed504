#pragma once

#include <gtest/gtest.h>
#include <png.h>
#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

// What is painted on the screen, and what arrives of it.

namespace quillon::testing {

inline constexpr uint32_t kRed = 0xD03020;
inline constexpr uint32_t kGreen = 0x20A040;

/// Fills rectangles of the root window.
class Wall {
  public:
    Wall() : connection_(xcb_connect(nullptr, nullptr)) {
        screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        gc_ = xcb_generate_id(connection_);
        xcb_create_gc(connection_, gc_, screen_->root, 0, nullptr);
    }
    ~Wall() { xcb_disconnect(connection_); }
    Wall(const Wall&) = delete;
    Wall& operator=(const Wall&) = delete;

    void fill(int x, int y, int width, int height, uint32_t rgb) {
        xcb_change_gc(connection_, gc_, XCB_GC_FOREGROUND, &rgb);
        const xcb_rectangle_t area{static_cast<int16_t>(x), static_cast<int16_t>(y),
                                   static_cast<uint16_t>(width), static_cast<uint16_t>(height)};
        xcb_poly_fill_rectangle(connection_, screen_->root, gc_, 1, &area);
        std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    }

  private:
    xcb_connection_t* connection_;
    xcb_screen_t* screen_ = nullptr;
    xcb_gcontext_t gc_ = 0;
};

/// A picture that was written to a file.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;
    std::array<int, 3> at(int x, int y) const {
        const size_t i = (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3;
        return {rgb[i], rgb[i + 1], rgb[i + 2]};
    }
};

inline Image readPng(const std::string& file) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, file.c_str()) == 0) return {};
    png.format = PNG_FORMAT_RGB;
    Image image{static_cast<int>(png.width), static_cast<int>(png.height), {}};
    image.rgb.resize(PNG_IMAGE_SIZE(png));
    png_image_finish_read(&png, nullptr, image.rgb.data(), 0, nullptr);
    return image;
}

inline ::testing::AssertionResult hasColour(const Image& image, int x, int y, uint32_t rgb) {
    const auto seen = image.at(x, y);
    const std::array<int, 3> wanted{static_cast<int>(rgb >> 16 & 255), static_cast<int>(rgb >> 8 & 255),
                                    static_cast<int>(rgb & 255)};
    for (size_t i = 0; i < 3; ++i) {
        if (std::abs(seen[i] - wanted[i]) > 8) {
            return ::testing::AssertionFailure()
                   << "(" << x << ", " << y << ") is " << seen[0] << " " << seen[1] << " " << seen[2];
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace quillon::testing
