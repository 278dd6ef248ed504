#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "device/wake.hpp"

namespace quillon::device {

/// Tells the network, through the machine's Avahi daemon, where hosts find this device: a service that stands
/// as long as the object and is withdrawn with it. A name that another device has gets a number. Where there
/// is no daemon it says so once, and announces when one comes.
///
/// All talk with the daemon happens on a thread of its own, so that one that hangs holds up nobody.
class Announcement {
  public:
    struct Service {
        std::string name;  ///< for people; at most 63 bytes
        uint16_t port = 0;
        std::optional<std::string> model;  ///< of the device
    };

    explicit Announcement(Service service);
    ~Announcement();
    Announcement(const Announcement&) = delete;
    Announcement& operator=(const Announcement&) = delete;

  private:
    class Client;

    Wake end_;
    std::thread thread_;
};

}  // namespace quillon::device
