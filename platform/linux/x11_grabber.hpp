#pragma once

#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>

#include "platform/linux/damage_region.hpp"
#include "platform/linux/planar_scaler.hpp"
#include "platform/linux/x11_connection.hpp"

namespace quillon {

/// A copy of one part of an X screen that follows the screen by its damage, BGRX. The pointer is not
/// in it. One thread at a time.
class X11Grabber {
  public:
    /// How pixels come from the server, the fastest first.
    enum class Way {
        sharedPixmap,  ///< the server copies what changed into memory shared with it
        sharedImage,   ///< it copies whole rows there
        plainImage,    ///< pixels travel through the connection
    };

    /// `connection` outlives the grabber. `place` is the part, on the root window. Takes
    /// the fastest way that the server knows, from `fastest` on. Throws CaptureFailure when this screen
    /// cannot be read.
    X11Grabber(X11Connection& connection, const PixelRect& place, Way fastest = Way::sharedPixmap);
    ~X11Grabber();
    X11Grabber(const X11Grabber&) = delete;
    X11Grabber& operator=(const X11Grabber&) = delete;

    /// Follows another part from now on; the copy is undefined until `fetchAll`. Throws CaptureFailure.
    void setPlace(const PixelRect& place);

    /// Is this event the report that the screen changed? One comes after each fetch, at the first change.
    bool isDamage(const xcb_generic_event_t& event) const;

    /// Brings the copy up to date and says where it changed, relative to the place. Usually one round
    /// trip to the server.
    DamageRegion fetchDamage();
    DamageRegion fetchAll();
    /// Brings one part of the copy up to date, changed or not; relative to the place.
    void fetch(const PixelRect& rect);

    const PixelRect& place() const { return place_; }
    uint32_t* pixelRow(int y) {
        return reinterpret_cast<uint32_t*>(memory_ + static_cast<ptrdiff_t>(y) * stride());
    }
    ConstPlane pixels() const { return {memory_, stride()}; }

  private:
    void requireExtensions();
    Way fastestWay() const;
    void reportSlowWay() const;
    bool attachMemory();
    void releaseMemory();
    int stride() const { return place_.width * 4; }
    DamageRegion takeDamage(xcb_xfixes_fetch_region_cookie_t cookie);
    void copy(const PixelRect& rect);
    void readRects(const DamageRegion& region);
    void readRows(const DamageRegion& region);
    void readImages(const DamageRegion& region);

    X11Connection& connection_;
    xcb_connection_t* const c_;
    Way way_ = Way::plainImage;
    uint8_t damageEvent_ = 0;
    xcb_damage_damage_t damage_ = XCB_NONE;
    xcb_xfixes_region_t region_ = XCB_NONE;
    xcb_gcontext_t gc_ = XCB_NONE;

    PixelRect place_;
    uint8_t* memory_ = nullptr;
    size_t memoryBytes_ = 0;
    xcb_shm_seg_t segment_ = XCB_NONE;
    xcb_pixmap_t pixmap_ = XCB_NONE;
};

}  // namespace quillon
