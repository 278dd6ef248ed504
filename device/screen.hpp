#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/thread_annotations.hpp"
#include "device/host_link.hpp"
#include "device/picture_layout.hpp"
#include "device/statistics.hpp"
#include "device/video_decoder.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon::device {

/// A frame on its way to the user's eyes.
struct Frame {
    DecodedPicturePtr picture;  ///< null for one that stays undecoded and is never on the screen
    FrameTimes times;
    std::shared_ptr<HostLink> link;  ///< where it came from, and is acknowledged
};

/// What the device shows at a moment.
struct ScreenState {
    std::shared_ptr<const Frame> frame;  ///< the newest; null before the first
    std::shared_ptr<HostLink> link;      ///< null without a host
    wire::Cursor pointer;
    SettingsLine settings;
    std::string linkName;
    bool overlay = false;
    Size panel;  ///< pixels
};

/// Where the display lies in the newest frame, or in the one that will fill the panel. `mirrored` is the
/// shape of a mirrored display, if anyone knows it; without it such a display fills the picture.
PictureLayout layoutOf(const ScreenState& state, std::optional<Size> mirrored);

/// The newest state, handed from the link thread to whoever shows it. Any thread.
class Screen {
  public:
    /// Applies `change`, then calls the observer.
    void change(const std::function<void(ScreenState&)>& change) EXCLUDES(lock_);
    ScreenState state() const EXCLUDES(lock_);

    /// `observer` is called after each change, on the thread that made it. Before any change.
    void observe(std::function<void()> observer) { observer_ = std::move(observer); }

  private:
    std::function<void()> observer_ = [] {};
    mutable Mutex lock_;
    ScreenState state_ GUARDED_BY(lock_);
};

}  // namespace quillon::device
