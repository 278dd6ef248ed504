#pragma once

#include <algorithm>
#include <string>

namespace quillon {

/// Width and height in whole pixels or points; the use says which.
struct Size {
    int width = 0;
    int height = 0;
    bool operator==(const Size&) const = default;
    bool isEmpty() const { return width <= 0 || height <= 0; }
};

/// For example "1024x768".
inline std::string sizeText(Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

/// A rectangle of whole pixels: left-top corner, width, height.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const PixelRect&) const = default;
    bool isEmpty() const { return width <= 0 || height <= 0; }
    int right() const { return x + width; }
    int bottom() const { return y + height; }
};

inline PixelRect intersection(const PixelRect& a, const PixelRect& b) {
    const int x = std::max(a.x, b.x);
    const int y = std::max(a.y, b.y);
    return {x, y, std::max(0, std::min(a.right(), b.right()) - x),
            std::max(0, std::min(a.bottom(), b.bottom()) - y)};
}

/// A place on the desktop in points; the origin is the top-left corner of the main display.
struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

/// A rectangle on the desktop in points. Its right and bottom edges lie outside it.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool operator==(const Rect&) const = default;
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    bool contains(Point p) const { return p.x >= x && p.x < maxX() && p.y >= y && p.y < maxY(); }
};

}  // namespace quillon
