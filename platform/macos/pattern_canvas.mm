#include "platform/macos/pattern_canvas.hpp"

#import <AppKit/AppKit.h>

#include "platform/macos/pixel_buffer.hpp"
#include "platform/macos/text.hpp"

namespace quillon {

namespace {

using Context = Owned<CGContextRef>;
using PixelBuffer = Owned<CVPixelBufferRef>;

/// A new buffer in memory that the graphics hardware shares; null when there is none of this size.
PixelBuffer makePixelBuffer(int width, int height) {
    NSDictionary* const attributes = @{
        (__bridge NSString*)kCVPixelBufferIOSurfacePropertiesKey : @{},
        (__bridge NSString*)kCVPixelBufferMetalCompatibilityKey : @YES,
        (__bridge NSString*)kCVPixelBufferCGImageCompatibilityKey : @YES,
    };
    CVPixelBufferRef buffer = nullptr;
    const CVReturn made =
        CVPixelBufferCreate(kCFAllocatorDefault, static_cast<size_t>(width), static_cast<size_t>(height),
                            kCVPixelFormatType_32BGRA, (__bridge CFDictionaryRef)attributes, &buffer);
    return PixelBuffer(made == kCVReturnSuccess ? buffer : nullptr);
}

/// Makes the buffer's memory readable and writable for as long as it lives.
class LockedBuffer {
  public:
    explicit LockedBuffer(PixelBuffer buffer) : buffer_(std::move(buffer)) {
        CVPixelBufferLockBaseAddress(buffer_.get(), 0);
    }
    ~LockedBuffer() { CVPixelBufferUnlockBaseAddress(buffer_.get(), 0); }
    LockedBuffer(const LockedBuffer&) = delete;
    LockedBuffer& operator=(const LockedBuffer&) = delete;
    CVPixelBufferRef get() const { return buffer_.get(); }

  private:
    const PixelBuffer buffer_;
};

/// Draws into the buffer's memory: 32-bit pixels, blue first, the fourth byte unused. Null when it has none.
Context makeContext(CVPixelBufferRef buffer) {
    void* const memory = CVPixelBufferGetBaseAddress(buffer);
    if (memory == nullptr) return nullptr;
    const Owned<CGColorSpaceRef> colors(CGColorSpaceCreateDeviceRGB());
    constexpr uint32_t kLayout =
        static_cast<uint32_t>(kCGBitmapByteOrder32Little) | static_cast<uint32_t>(kCGImageAlphaNoneSkipFirst);
    return Context(CGBitmapContextCreate(memory, CVPixelBufferGetWidth(buffer),
                                         CVPixelBufferGetHeight(buffer), 8,
                                         CVPixelBufferGetBytesPerRow(buffer), colors.get(), kLayout));
}

class MacPatternCanvas : public PatternCanvas {
  public:
    MacPatternCanvas(std::unique_ptr<LockedBuffer> buffer, Context context)
        : buffer_(std::move(buffer)), context_(std::move(context)) {}

    void fillRectangle(double x, double y, double width, double height, Color color) override {
        fillWith(color);
        CGContextFillRect(context_.get(), CGRectMake(x, y, width, height));
    }

    void fillEllipse(double x, double y, double width, double height, Color color) override {
        fillWith(color);
        CGContextFillEllipseInRect(context_.get(), CGRectMake(x, y, width, height));
    }

    void strokeRectangle(double x, double y, double width, double height, double lineWidth,
                         Color color) override {
        const Owned<CGColorRef> stroke(
            CGColorCreateGenericRGB(color.red, color.green, color.blue, color.alpha));
        CGContextSetStrokeColorWithColor(context_.get(), stroke.get());
        CGContextSetLineWidth(context_.get(), lineWidth);
        CGContextStrokeRect(context_.get(), CGRectMake(x, y, width, height));
    }

    void drawText(const std::string& text, double x, double y, double size, Weight weight,
                  Color color) override {
        [NSGraphicsContext saveGraphicsState];
        NSGraphicsContext.currentContext = [NSGraphicsContext graphicsContextWithCGContext:context_.get()
                                                                                   flipped:NO];
        NSDictionary<NSAttributedStringKey, id>* const attributes = @{
            NSFontAttributeName :
                [NSFont monospacedDigitSystemFontOfSize:size
                                                 weight:weight == Weight::bold ? NSFontWeightBold
                                                                               : NSFontWeightMedium],
            NSForegroundColorAttributeName : [NSColor colorWithCalibratedRed:color.red
                                                                       green:color.green
                                                                        blue:color.blue
                                                                       alpha:color.alpha],
        };
        [systemText(text) drawAtPoint:CGPointMake(x, y) withAttributes:attributes];
        [NSGraphicsContext restoreGraphicsState];
    }

    PicturePtr finish() override {
        context_.reset();
        auto picture = pictureOf(buffer_->get());
        buffer_.reset();
        return picture;
    }

  private:
    void fillWith(Color color) {
        const Owned<CGColorRef> fill(
            CGColorCreateGenericRGB(color.red, color.green, color.blue, color.alpha));
        CGContextSetFillColorWithColor(context_.get(), fill.get());
    }

    std::unique_ptr<LockedBuffer> buffer_;
    Context context_;  // last: it draws into the buffer
};

}  // namespace

std::unique_ptr<PatternCanvas> MacPatternCanvases::make(int width, int height) {
    if (width <= 0 || height <= 0) return nullptr;
    PixelBuffer buffer = makePixelBuffer(width, height);
    if (!buffer) return nullptr;
    auto locked = std::make_unique<LockedBuffer>(std::move(buffer));
    Context context = makeContext(locked->get());
    if (!context) return nullptr;
    return std::make_unique<MacPatternCanvas>(std::move(locked), std::move(context));
}

std::string MacPatternCanvases::wallClock() {
    static NSDateFormatter* const formatter = [] {
        NSDateFormatter* const made = [NSDateFormatter new];
        // Without a fixed locale the user's choice of twelve hours changes the format.
        made.locale = [NSLocale localeWithLocaleIdentifier:@"en_US_POSIX"];
        made.dateFormat = @"HH:mm:ss.SSS";
        return made;
    }();
    return plainText([formatter stringFromDate:[NSDate date]]);
}

}  // namespace quillon
