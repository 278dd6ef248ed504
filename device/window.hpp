#pragma once

#include <SDL.h>

#include <atomic>
#include <memory>

#include "device/device.hpp"
#include "device/end_watch.hpp"
#include "device/rgb_picture.hpp"

namespace quillon::device {

/// The device's glass on a desktop: shows the newest frame with pointer and overlay, and turns the mouse
/// into touches. Main thread, all of it.
class Window {
  public:
    /// Opens the window and observes the device's screen. Before the device starts. Throws
    /// std::runtime_error when there is no display.
    Window(Device& device, const Options& options);
    /// Stops the device, which would otherwise post to a window that is gone.
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// Shows and listens until the user closes the window or `end` comes.
    void run(EndWatch& end);

  private:
    struct Destroy {
        void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
        void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
        void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
    };
    template <typename Object>
    using Owned = std::unique_ptr<Object, Destroy>;

    /// The video subsystem, open as long as the window.
    struct Video {
        Video();
        ~Video();
    };

    /// A picture of the device's own.
    struct Sprite {
        Owned<SDL_Texture> texture;
        Size size;
    };

    bool handle(const SDL_Event& event);
    void resized();
    void reportPanel();
    void draw();
    void drawFrame(const ScreenState& state, const SDL_Rect& place);
    void drawPointer(const ScreenState& state, const SDL_Rect& place);
    void drawOverlay(const ScreenState& state);
    void drawWaiting(const SDL_Rect& place);
    void show(const Sprite& sprite, int x, int y);
    Sprite makeSprite(const RgbPicture& picture);

    Size windowSize() const;
    SDL_Rect pictureRect(const ScreenState& state) const;
    void touch(uint8_t action, int x, int y);
    void scroll(const SDL_MouseWheelEvent& wheel);

    Device& device_;
    const Options& options_;
    Video video_;
    Owned<SDL_Window> window_;
    Owned<SDL_Renderer> renderer_;
    Owned<SDL_Texture> picture_;
    Size pictureSize_;
    std::shared_ptr<const Frame> shown_;
    Sprite pointer_;
    std::optional<Moment> panelReportDue_;
    const Uint32 changedEvent_;
    std::atomic<bool> changePosted_ = false;  ///< any thread: one event stands for many changes
};

}  // namespace quillon::device
