#include "device/window.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "base/text.hpp"
#include "device/artwork.hpp"
#include "device/panel_text.hpp"

namespace quillon::device {
namespace {

constexpr char kTitle[] = "quillon-device";

/// The window takes at most this share of the desktop.
constexpr double kDesktopShare = 0.9;

/// A size that has held so long is reported; every step of a drag at the corner is not.
constexpr Clock::duration kPanelSettles = std::chrono::milliseconds(300);

/// The longest time between two looks at the clock; also the rhythm of the overlay.
constexpr int kTickMs = 200;

/// What one notch of a wheel scrolls.
constexpr float kPixelsPerNotch = 40;

std::runtime_error sdlError(const char* what) {
    return std::runtime_error(std::string(what) + ": " + SDL_GetError());
}

std::runtime_error noDisplay(const char* reason) {
    return std::runtime_error(std::string("no window: ") + reason + "; --headless needs none");
}

/// `size`, made smaller if need be, so that it fits on the desktop with its shape kept.
Size fittedToDesktop(Size size) {
    SDL_Rect desktop{};
    if (SDL_GetDisplayUsableBounds(0, &desktop) != 0) return size;
    const double scale =
        std::min({1.0, kDesktopShare * desktop.w / size.width, kDesktopShare * desktop.h / size.height});
    return {static_cast<int>(size.width * scale), static_cast<int>(size.height * scale)};
}

/// The largest rectangle of the shape of `inner` in the middle of `outer`.
SDL_Rect centred(Size inner, Size outer) {
    const double scale = std::min(static_cast<double>(outer.width) / inner.width,
                                  static_cast<double>(outer.height) / inner.height);
    const int width = static_cast<int>(std::lround(inner.width * scale));
    const int height = static_cast<int>(std::lround(inner.height * scale));
    return {(outer.width - width) / 2, (outer.height - height) / 2, width, height};
}

}  // namespace

Window::Video::Video() {
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
    // The first touch counts: without this a press that comes with the focus is swallowed.
    SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
    if (SDL_Init(SDL_INIT_VIDEO) != 0) throw noDisplay(SDL_GetError());
    // Without a display SDL is content with a window that nobody sees.
    const std::string driver = SDL_GetCurrentVideoDriver();
    if (driver == "offscreen" || driver == "dummy") {
        SDL_Quit();
        throw noDisplay("no display");
    }
    SDL_SetYUVConversionMode(SDL_YUV_CONVERSION_BT601);
}

Window::Video::~Video() {
    SDL_Quit();
}

Window::Window(Device& device, const Options& options)
    : device_(device), options_(options), changedEvent_(SDL_RegisterEvents(1)) {
    const Size size = fittedToDesktop(options.window.value_or(options.panel));
    window_.reset(SDL_CreateWindow(kTitle, SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, size.width,
                                   size.height, SDL_WINDOW_RESIZABLE));
    if (!window_) throw sdlError("no window");
    renderer_.reset(SDL_CreateRenderer(window_.get(), -1, 0));
    if (!renderer_) throw sdlError("cannot draw in the window");
    if (options.followWindow) device_.screen().change([&](ScreenState& state) { state.panel = size; });
    device_.screen().observe([this] {
        if (changePosted_.exchange(true)) return;
        SDL_Event event{};
        event.type = changedEvent_;
        SDL_PushEvent(&event);
    });
}

Window::~Window() {
    device_.stop();
}

void Window::run(EndWatch& end) {
    bool open = true;
    draw();
    while (open && !end.hasCome()) {
        SDL_Event event;
        bool redraw = device_.screen().state().overlay;
        if (SDL_WaitEventTimeout(&event, kTickMs) != 0) {
            do {
                redraw = redraw || event.type == changedEvent_ || event.type == SDL_WINDOWEVENT;
                open = handle(event) && open;
            } while (SDL_PollEvent(&event) != 0);
        }
        if (panelReportDue_ && *panelReportDue_ <= Clock::now()) reportPanel();
        if (redraw) draw();
    }
}

/// False when the user closed the window.
bool Window::handle(const SDL_Event& event) {
    switch (event.type) {
        case SDL_QUIT:
            return false;
        case SDL_WINDOWEVENT:
            if (event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) resized();
            break;
        case SDL_MOUSEMOTION:
            touch(device_.isTouched() ? wire::Input::drag : wire::Input::hover, event.motion.x,
                  event.motion.y);
            break;
        case SDL_MOUSEBUTTONDOWN:
            if (event.button.button == SDL_BUTTON_LEFT) {
                touch(wire::Input::press, event.button.x, event.button.y);
            }
            break;
        case SDL_MOUSEBUTTONUP:
            if (event.button.button == SDL_BUTTON_LEFT) {
                touch(wire::Input::release, event.button.x, event.button.y);
            }
            break;
        case SDL_MOUSEWHEEL:
            scroll(event.wheel);
            break;
        default:
            break;
    }
    return true;
}

// --- Panel ------------------------------------------------------------------------------------------

void Window::resized() {
    if (options_.followWindow) panelReportDue_ = Clock::now() + kPanelSettles;
}

void Window::reportPanel() {
    panelReportDue_.reset();
    const Size panel = windowSize();
    std::shared_ptr<HostLink> link;
    device_.screen().change([&](ScreenState& state) {
        state.panel = panel;
        link = state.link;
    });
    if (link) link->send(wire::MessageType::panelReport, 0, viewOf(panelReportText(panel)));
}

Size Window::windowSize() const {
    Size size;
    SDL_GetWindowSize(window_.get(), &size.width, &size.height);
    return size;
}

// --- Touches ----------------------------------------------------------------------------------------

SDL_Rect Window::pictureRect(const ScreenState& state) const {
    return centred(state.frame ? state.frame->picture->size() : state.panel, windowSize());
}

void Window::touch(uint8_t action, int x, int y) {
    if (options_.viewOnly) return;
    const SDL_Rect place = pictureRect(device_.screen().state());
    // The middle of the pixel under the mouse.
    device_.touch(action, {(x - place.x + 0.5) / place.w, (y - place.y + 0.5) / place.h});
    SDL_CaptureMouse(device_.isTouched() ? SDL_TRUE : SDL_FALSE);
}

/// Hosts scroll towards the end of a document for positive pixels; a wheel turned towards the user counts
/// negative.
void Window::scroll(const SDL_MouseWheelEvent& wheel) {
    wire::Input input;
    input.action = wire::Input::scroll;
    input.dx = wheel.preciseX * kPixelsPerNotch;
    input.dy = -wheel.preciseY * kPixelsPerNotch;
    const auto link = device_.screen().state().link;
    if (link && !options_.viewOnly) link->send(wire::MessageType::input, 0, wire::inputPayload(input));
}

// --- Drawing ----------------------------------------------------------------------------------------

void Window::draw() {
    changePosted_ = false;  // before the state is read, so that no change is lost
    const ScreenState state = device_.screen().state();
    const SDL_Rect place = pictureRect(state);
    SDL_SetRenderDrawColor(renderer_.get(), 0, 0, 0, SDL_ALPHA_OPAQUE);
    SDL_RenderClear(renderer_.get());
    if (state.frame) {
        drawFrame(state, place);
        if (state.link && state.pointer.visible) drawPointer(state, place);
        if (state.link && state.overlay) drawOverlay(state);
    }
    if (!state.link) drawWaiting(place);
    SDL_RenderPresent(renderer_.get());
    if (state.frame == shown_) return;
    shown_ = state.frame;
    device_.frameShown(*shown_);
}

void Window::drawFrame(const ScreenState& state, const SDL_Rect& place) {
    const DecodedPicture& picture = *state.frame->picture;
    if (!picture_ || picture.size() != pictureSize_) {
        pictureSize_ = picture.size();
        picture_.reset(SDL_CreateTexture(renderer_.get(), SDL_PIXELFORMAT_IYUV, SDL_TEXTUREACCESS_STREAMING,
                                         pictureSize_.width, pictureSize_.height));
        if (!picture_) throw sdlError("cannot draw a picture of this size");
    }
    if (state.frame != shown_) {
        SDL_UpdateYUVTexture(picture_.get(), nullptr, picture.plane(0), picture.stride(0), picture.plane(1),
                             picture.stride(1), picture.plane(2), picture.stride(2));
    }
    SDL_RenderCopy(renderer_.get(), picture_.get(), nullptr, &place);
}

void Window::drawPointer(const ScreenState& state, const SDL_Rect& place) {
    const int height = pointerHeight(place.h);
    if (pointer_.size.height != height) pointer_ = makeSprite(device::drawPointer(height));
    const Point at = layoutOf(state, options_.mirroredDisplay).pictureAt({state.pointer.x, state.pointer.y});
    show(pointer_, place.x + static_cast<int>(at.x * place.w), place.y + static_cast<int>(at.y * place.h));
}

void Window::drawOverlay(const ScreenState& state) {
    const Statistics::Live live = device_.statistics().live(Clock::now());
    const Size size = state.frame->picture->size();
    show(makeSprite(drawPanel({formatted("%s   %dx%d", state.linkName.c_str(), size.width, size.height),
                               formatted("%4.0f fps  %6.2f Mbps", live.fps, live.mbps),
                               formatted("shown %.1f ms  decoded %.1f ms", live.latencyMs, live.decodeMs),
                               formatted("drops %u", live.drops)},
                              14)),
         12, 12);
}

void Window::drawWaiting(const SDL_Rect& place) {
    const Sprite panel = makeSprite(drawPanel({"Waiting for a host"}, 18));
    show(panel, place.x + (place.w - panel.size.width) / 2, place.y + (place.h - panel.size.height) / 2);
}

Window::Sprite Window::makeSprite(const RgbPicture& picture) {
    Sprite sprite{Owned<SDL_Texture>(SDL_CreateTexture(renderer_.get(), SDL_PIXELFORMAT_ARGB8888,
                                                       SDL_TEXTUREACCESS_STATIC, picture.size.width,
                                                       picture.size.height)),
                  picture.size};
    if (!sprite.texture) throw sdlError("cannot draw over the picture");
    SDL_UpdateTexture(sprite.texture.get(), nullptr, picture.pixels.data(), picture.stride());
    SDL_SetTextureBlendMode(sprite.texture.get(), SDL_BLENDMODE_BLEND);
    return sprite;
}

void Window::show(const Sprite& sprite, int x, int y) {
    const SDL_Rect place{x, y, sprite.size.width, sprite.size.height};
    SDL_RenderCopy(renderer_.get(), sprite.texture.get(), nullptr, &place);
}

}  // namespace quillon::device
