#pragma once

#include <memory>
#include <string>

#include "platform/picture.hpp"

namespace quillon {

/// Draws shapes and text into one BGRA picture. Coordinates are pixels with the origin at the bottom
/// left, y upwards; colours have components from 0 to 1.
class PatternCanvas {
  public:
    struct Color {
        double red = 0;
        double green = 0;
        double blue = 0;
        double alpha = 1;
    };
    enum class Weight { medium, bold };

    virtual ~PatternCanvas() = default;
    virtual void fillRectangle(double x, double y, double width, double height, Color color) = 0;
    virtual void fillEllipse(double x, double y, double width, double height, Color color) = 0;
    virtual void strokeRectangle(double x, double y, double width, double height, double lineWidth,
                                 Color color) = 0;
    /// One line in the system's font with digits of one width; its lower left corner at (x, y).
    virtual void drawText(const std::string& text, double x, double y, double size, Weight weight,
                          Color color) = 0;
    /// The finished picture; nothing is drawn afterwards.
    virtual PicturePtr finish() = 0;
};

class PatternCanvases {
  public:
    virtual ~PatternCanvases() = default;
    /// A new canvas of this size; null when none can be had (an empty size, no memory).
    virtual std::unique_ptr<PatternCanvas> make(int width, int height) = 0;
    /// The wall clock now in local time, as "HH:mm:ss.SSS".
    virtual std::string wallClock() = 0;
};

}  // namespace quillon
