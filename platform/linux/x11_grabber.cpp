#include "platform/linux/x11_grabber.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <span>

#include "base/log.hpp"
#include "base/text.hpp"
#include "platform/capture.hpp"

namespace quillon {

namespace {

constexpr uint8_t kEventTypeMask = 0x7F;
constexpr uint32_t kAllPlanes = ~0u;

const xcb_visualtype_t* rootVisual(const xcb_screen_t& screen) {
    for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0; xcb_depth_next(&depths)) {
        const std::span visuals(xcb_depth_visuals(depths.data), depths.data->visuals_len);
        for (const xcb_visualtype_t& visual : visuals) {
            if (visual.visual_id == screen.root_visual) return &visual;
        }
    }
    return nullptr;
}

int bitsPerPixel(const xcb_setup_t& setup, uint8_t depth) {
    const std::span formats(xcb_setup_pixmap_formats(&setup), setup.pixmap_formats_len);
    for (const xcb_format_t& format : formats) {
        if (format.depth == depth) return format.bits_per_pixel;
    }
    return 0;
}

void requireBgrx(const X11Connection& connection) {
    const xcb_setup_t& setup = *xcb_get_setup(connection.get());
    const xcb_screen_t& screen = connection.screen();
    const xcb_visualtype_t* visual = rootVisual(screen);
    const bool isBgrx = visual != nullptr && visual->red_mask == 0xFF0000 && visual->green_mask == 0xFF00 &&
                        visual->blue_mask == 0xFF && bitsPerPixel(setup, screen.root_depth) == 32 &&
                        setup.image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
    if (isBgrx) return;
    throw CaptureFailure(
        formatted("the X screen has a colour depth of %d bits, and capture reads 24 bits in "
                  "32-bit pixels only. Set the screen's depth to 24",
                  screen.root_depth));
}

}  // namespace

X11Grabber::X11Grabber(X11Connection& connection, const PixelRect& place, Way fastest)
    : connection_(connection), c_(connection.get()) {
    requireBgrx(connection);
    requireExtensions();
    const uint32_t gcValues[] = {XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS, 0};
    gc_ = xcb_generate_id(c_);
    xcb_create_gc(c_, gc_, connection.root(), XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES, gcValues);
    region_ = xcb_generate_id(c_);
    xcb_xfixes_create_region(c_, region_, 0, nullptr);
    damage_ = xcb_generate_id(c_);
    const auto cookie =
        xcb_damage_create_checked(c_, damage_, connection.root(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    // It begins with the report of a change. That has come with this answer, so nobody takes it for one that
    // follows the first picture.
    if (owned(xcb_request_check(c_, cookie))) throw CaptureFailure("the X server does not tell what changes");
    way_ = std::max(fastest, fastestWay());
    setPlace(place);
    reportSlowWay();
}

X11Grabber::~X11Grabber() {
    // The server frees its own resources with the connection, and both end together.
    releaseMemory();
}

void X11Grabber::requireExtensions() {
    for (auto [id, name] : {std::pair{&xcb_damage_id, "DAMAGE"}, std::pair{&xcb_xfixes_id, "XFIXES"}}) {
        if (connection_.extension(*id) != nullptr) continue;
        throw CaptureFailure(
            formatted("the X server lacks the %s extension, which tells what changed", name));
    }
    // Neither may be used before its version was agreed on; regions came with XFIXES 2.
    const auto damage = xcb_damage_query_version(c_, 1, 1);
    const auto fixes = xcb_xfixes_query_version(c_, 2, 0);
    owned(xcb_damage_query_version_reply(c_, damage, nullptr));
    owned(xcb_xfixes_query_version_reply(c_, fixes, nullptr));
    damageEvent_ = connection_.extension(xcb_damage_id)->first_event;
}

X11Grabber::Way X11Grabber::fastestWay() const {
    if (connection_.extension(xcb_shm_id) == nullptr) return Way::plainImage;
    const auto version = owned(xcb_shm_query_version_reply(c_, xcb_shm_query_version(c_), nullptr));
    // Memory is passed as a descriptor, which MIT-SHM 1.2 brought.
    if (!version || (version->major_version == 1 && version->minor_version < 2)) return Way::plainImage;
    const bool sharesPixmaps =
        version->shared_pixmaps != 0 && version->pixmap_format == XCB_IMAGE_FORMAT_Z_PIXMAP;
    return sharesPixmaps ? Way::sharedPixmap : Way::sharedImage;
}

void X11Grabber::reportSlowWay() const {
    if (way_ == Way::sharedPixmap) return;
    Log::write(formatted("[capture] slower capture: this X server shares no %s with the program",
                         way_ == Way::sharedImage ? "pixmaps" : "memory"));
}

void X11Grabber::setPlace(const PixelRect& place) {
    releaseMemory();
    place_ = place;
    memoryBytes_ = static_cast<size_t>(stride()) * place.height;
    // A server on another machine cannot attach it.
    if (way_ != Way::plainImage && !attachMemory()) way_ = Way::plainImage;
    if (way_ == Way::plainImage) {
        memory_ = new uint8_t[memoryBytes_]();
    } else if (way_ == Way::sharedPixmap) {
        pixmap_ = xcb_generate_id(c_);
        xcb_shm_create_pixmap(c_, pixmap_, connection_.root(), static_cast<uint16_t>(place.width),
                              static_cast<uint16_t>(place.height), connection_.screen().root_depth, segment_,
                              0);
    }
}

bool X11Grabber::attachMemory() {
    const int file = memfd_create("quillon-capture", MFD_CLOEXEC);
    if (file < 0) return false;
    if (ftruncate(file, static_cast<off_t>(memoryBytes_)) != 0) {
        close(file);
        return false;
    }
    void* memory = mmap(nullptr, memoryBytes_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        close(file);
        return false;
    }
    const xcb_shm_seg_t segment = xcb_generate_id(c_);
    // XCB closes the descriptor once it is sent.
    const auto cookie = xcb_shm_attach_fd_checked(c_, segment, file, 0);
    if (owned(xcb_request_check(c_, cookie)) || !connection_.isAlive()) {
        munmap(memory, memoryBytes_);
        return false;
    }
    memory_ = static_cast<uint8_t*>(memory);
    segment_ = segment;
    return true;
}

void X11Grabber::releaseMemory() {
    if (pixmap_ != XCB_NONE) xcb_free_pixmap(c_, pixmap_);
    if (segment_ != XCB_NONE) {
        xcb_shm_detach(c_, segment_);
        munmap(memory_, memoryBytes_);
    } else {
        delete[] memory_;
    }
    pixmap_ = XCB_NONE;
    segment_ = XCB_NONE;
    memory_ = nullptr;
}

bool X11Grabber::isDamage(const xcb_generic_event_t& event) const {
    return (event.response_type & kEventTypeMask) == damageEvent_ + XCB_DAMAGE_NOTIFY;
}

DamageRegion X11Grabber::takeDamage(xcb_xfixes_fetch_region_cookie_t cookie) {
    DamageRegion changed;
    const auto reply = owned(xcb_xfixes_fetch_region_reply(c_, cookie, nullptr));
    if (!reply) return changed;
    const std::span rects(xcb_xfixes_fetch_region_rectangles(reply.get()),
                          static_cast<size_t>(xcb_xfixes_fetch_region_rectangles_length(reply.get())));
    const PixelRect whole{0, 0, place_.width, place_.height};
    for (const xcb_rectangle_t& rect : rects) {
        changed.add(intersection({rect.x - place_.x, rect.y - place_.y, rect.width, rect.height}, whole));
    }
    return changed;
}

void X11Grabber::copy(const PixelRect& rect) {
    xcb_copy_area(c_, connection_.root(), pixmap_, gc_, static_cast<int16_t>(place_.x + rect.x),
                  static_cast<int16_t>(place_.y + rect.y), static_cast<int16_t>(rect.x),
                  static_cast<int16_t>(rect.y), static_cast<uint16_t>(rect.width),
                  static_cast<uint16_t>(rect.height));
}

// Requests of each picture are unchecked: XCB takes memory for those whose errors it keeps for their reply.
// An error comes as an event then, which nobody looks for, and the reply is missing all the same.

DamageRegion X11Grabber::fetchDamage() {
    xcb_damage_subtract(c_, damage_, XCB_NONE, region_);
    if (way_ == Way::sharedPixmap) {
        // The damage never comes here before the copy: the server clips the copy by it, and telling it
        // afterwards is also the sign that the copy is made.
        xcb_xfixes_set_gc_clip_region(c_, gc_, region_, static_cast<int16_t>(-place_.x),
                                      static_cast<int16_t>(-place_.y));
        copy({0, 0, place_.width, place_.height});
    }
    const DamageRegion changed = takeDamage(xcb_xfixes_fetch_region_unchecked(c_, region_));
    if (way_ != Way::sharedPixmap) readRects(changed);
    return changed;
}

DamageRegion X11Grabber::fetchAll() {
    const PixelRect all{0, 0, place_.width, place_.height};
    xcb_damage_subtract(c_, damage_, XCB_NONE, XCB_NONE);
    fetch(all);
    return DamageRegion(all);
}

void X11Grabber::fetch(const PixelRect& rect) {
    if (way_ == Way::sharedPixmap) {
        xcb_xfixes_set_gc_clip_region(c_, gc_, XCB_NONE, 0, 0);
        copy(rect);
        // Any answer means that the copy is made.
        owned(xcb_get_input_focus_reply(c_, xcb_get_input_focus_unchecked(c_), nullptr));
    } else {
        readRects(DamageRegion(rect));
    }
}

void X11Grabber::readRects(const DamageRegion& region) {
    if (way_ == Way::sharedImage) {
        readRows(region);
    } else {
        readImages(region);
    }
}

void X11Grabber::readRows(const DamageRegion& region) {
    // An image arrives without gaps between its rows, so only whole rows land where they belong.
    DamageRegion rows;
    for (const PixelRect& rect : region.rects()) rows.add({0, rect.y, place_.width, rect.height});
    std::array<xcb_shm_get_image_cookie_t, DamageRegion::kLimit> cookies{};
    size_t asked = 0;
    for (const PixelRect& band : rows.rects()) {
        cookies[asked++] = xcb_shm_get_image_unchecked(
            c_, connection_.root(), static_cast<int16_t>(place_.x), static_cast<int16_t>(place_.y + band.y),
            static_cast<uint16_t>(place_.width), static_cast<uint16_t>(band.height), kAllPlanes,
            XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, static_cast<uint32_t>(stride()) * band.y);
    }
    for (size_t i = 0; i < asked; ++i) owned(xcb_shm_get_image_reply(c_, cookies[i], nullptr));
}

void X11Grabber::readImages(const DamageRegion& region) {
    for (const PixelRect& rect : region.rects()) {
        const auto cookie = xcb_get_image_unchecked(
            c_, XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.root(), static_cast<int16_t>(place_.x + rect.x),
            static_cast<int16_t>(place_.y + rect.y), static_cast<uint16_t>(rect.width),
            static_cast<uint16_t>(rect.height), kAllPlanes);
        const auto image = owned(xcb_get_image_reply(c_, cookie, nullptr));
        const size_t rowBytes = static_cast<size_t>(rect.width) * 4;
        if (!image || static_cast<size_t>(xcb_get_image_data_length(image.get())) < rowBytes * rect.height) {
            continue;
        }
        const uint8_t* source = xcb_get_image_data(image.get());
        uint8_t* target =
            memory_ + static_cast<ptrdiff_t>(rect.y) * stride() + static_cast<ptrdiff_t>(rect.x) * 4;
        for (int y = 0; y < rect.height; ++y, source += rowBytes, target += stride()) {
            std::memcpy(target, source, rowBytes);
        }
    }
}

}  // namespace quillon
