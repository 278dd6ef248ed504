#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/geometry.hpp"
#include "platform/settings_store.hpp"
#include "session/types.hpp"

namespace quillon {

/// Quality and smoothness are kept for each kind of link.
enum class LinkKind { usb, wifi };

/// The user's choices, with their defaults. Every read looks into the store, nothing is kept here; a value
/// that is absent or makes no sense reads as its default.
///
///     key                          type     default
///     transport                    text     auto
///     quality.usb, quality.wifi    text     best, fast
///     smooth.usb, smooth.wifi      integer  0, 3
///     scaling                      text     fit; its presence alone makes the choice the user's
///     position                     text     right
///     mirror, stretchMirror        boolean  false
///     resolutionWidth, …Height     integer  0, which stands for 1024 and 768 points
///     showOverlay, popoverUI       boolean  true
///     preventSleep                 boolean  false
///     autoStart                    boolean  false; the first launch stores true
///     wifiHost                     text     absent
///     target.udid, target.host     text     absent, which is Automatic
///     deviceModel.<udid>           text     absent; the session remembers it at each connection
///
/// Main thread only.
class Settings {
  public:
    /// `store` outlives this.
    explicit Settings(SettingsStore& store) : store_(store) {}

    Transport transport() const;
    void setTransport(Transport transport);

    StreamQuality quality(LinkKind link) const;
    void setQuality(LinkKind link, StreamQuality quality);

    int64_t smoothness(LinkKind link) const;
    void setSmoothness(LinkKind link, int64_t frames);

    Scaling scaling() const;
    bool scalingIsExplicit() const;
    void setScaling(Scaling scaling);

    std::string position() const;
    void setPosition(const std::string& position);

    bool mirror() const { return flag("mirror", false); }
    void setMirror(bool mirror);
    bool stretchMirror() const { return flag("stretchMirror", false); }

    int64_t resolutionWidth() const;   ///< points
    int64_t resolutionHeight() const;  ///< points
    /// Both halves of a stored choice; nothing unless both are there.
    struct Resolution {
        int64_t width = 0;
        int64_t height = 0;
    };
    std::optional<Resolution> resolution() const;
    void setResolution(int64_t width, int64_t height);

    bool showOverlay() const { return flag("showOverlay", true); }
    void setShowOverlay(bool show);
    bool preventSleep() const { return flag("preventSleep", false); }
    void setPreventSleep(bool prevent);
    bool usePopover() const { return flag("popoverUI", true); }
    void setUsePopover(bool use);
    bool autoStart() const { return flag("autoStart", false); }
    bool hasAutoStart() const;
    void setAutoStart(bool start);

    std::optional<std::string> wifiHost() const;
    void setWifiHost(const std::string& host);

    /// The device that the user chose, by the links it is known on; neither is Automatic.
    struct Target {
        std::optional<std::string> udid;
        std::optional<std::string> host;
        bool isAutomatic() const { return !udid && !host; }
        bool operator==(const Target&) const = default;
    };
    Target target() const;
    void setTarget(const Target& target);

    /// What the device with this identifier said it is when it was last connected.
    std::optional<std::string> modelOf(const std::string& udid) const;

  private:
    bool flag(const std::string& key, bool absent) const;

    SettingsStore& store_;
};

/// The configuration of a session that the application starts, while `link` is the link it reports as active.
SessionConfig sessionConfig(const Settings& settings, LinkKind link, bool usePattern);

}  // namespace quillon
