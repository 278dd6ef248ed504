#pragma once

#include <optional>
#include <string>

#include "platform/linux/x11_connection.hpp"
#include "platform/linux/x11_layout.hpp"

namespace quillon {

/// All that RandR knows of a screen at one time: what there is, and how it is arranged.
struct X11Screen {
    struct Mode {
        uint32_t id = 0;
        std::string name;
        Size size;
    };
    struct Output {
        uint32_t id = 0;
        std::string name;
        bool connected = false;
        std::vector<uint32_t> crtcs;  ///< that can drive it
        std::vector<uint32_t> modes;  ///< that it can show, in its order
    };

    std::vector<Mode> modes;
    std::vector<Output> outputs;  ///< in the server's order
    uint32_t primary = 0;         ///< the primary output, 0 when there is none
    X11Layout layout;
    Size smallest, largest;  ///< that the root window can be
    uint32_t time = 0;       ///< of the configuration, for changes of it

    const Mode* mode(uint32_t id) const;
    const Output* output(uint32_t id) const;
};

/// Does the server have RandR outputs (version 1.3)?
bool hasOutputs(const X11Connection& connection);

/// Asks the server; nothing when it is gone or has no outputs. Three round trips. The millimetres follow from
/// the density of the time when the connection was made, for no request asks for them: changes use a new
/// connection.
std::optional<X11Screen> readScreen(const X11Connection& connection);

/// No other client's requests are served while it lives. It ends at the latest with the connection.
class ServerGrab {
  public:
    explicit ServerGrab(const X11Connection& connection) : connection_(connection.get()) {
        xcb_grab_server(connection_);
    }
    ~ServerGrab() {
        xcb_ungrab_server(connection_);
        xcb_flush(connection_);
    }
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;

  private:
    xcb_connection_t* const connection_;
};

/// Makes the screen show `wanted`. The root window grows before anything moves and shrinks afterwards. When
/// the server refuses a step everything is as it was in `now`, and the answer is false. Wants a ServerGrab.
bool reconfigure(const X11Connection& connection, const X11Screen& now, const X11Layout& wanted);

}  // namespace quillon
