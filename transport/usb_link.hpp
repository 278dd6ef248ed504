#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/bytes.hpp"
#include "base/thread_annotations.hpp"
#include "base/time.hpp"
#include "platform/sockets.hpp"
#include "platform/threads.hpp"
#include "platform/usb_mux.hpp"

namespace quillon {

/// Why there is no link, or why it ended. `what` is for people.
class USBLinkError : public std::runtime_error {
  public:
    enum class Case { deviceNotFound, connect, handshakeTimeout };

    static USBLinkError deviceNotFound(const std::string& udid);
    static USBLinkError connect(const std::string& message);
    static USBLinkError handshakeTimeout();

    Case kind() const { return kind_; }

  private:
    USBLinkError(Case kind, const std::string& description) : std::runtime_error(description), kind_(kind) {}
    Case kind_;
};

/// Opens the byte stream to the app on the device: over the cable through usbmuxd, or by TCP. Also reads
/// what comes in on it.
///
/// An object rather than a set of static operations, because the program has no globals but its log: the
/// session, the menu and the command-line modes share one, made over the platform's services, which
/// outlive it. Every operation blocks and so belongs off the main thread, except `lastGreeting`. Any
/// thread otherwise. A descriptor belongs to the caller from the moment it is returned.
class USBLink {
  public:
    struct USBDevice {
        std::string udid;
        uint32_t productID = 0;
        int connectionType = 0;  ///< 1 cable, 2 network
        bool operator==(const USBDevice&) const = default;
    };

    /// A connection and its own greeting, which `lastGreeting` may no longer be where several are opened at
    /// once.
    struct Greeted {
        int descriptor = -1;
        std::string greeting;
    };

    USBLink(Threads& threads, Sockets& sockets, UsbMux& mux);
    ~USBLink();
    USBLink(const USBLink&) = delete;
    USBLink& operator=(const USBLink&) = delete;

    /// The devices that usbmuxd reports, in its order, without those that have no identifier.
    std::vector<USBDevice> listDevices();
    /// The only cabled device; nothing when there is none or more than one.
    std::optional<std::string> soleCabledUDID();
    /// Whether the device is on a cable.
    bool devicePresent(const std::string& udid);
    /// Whether something on the device accepts connections to `port`; false when `timeout` passes first.
    bool appIsListening(const std::string& udid, uint16_t port, Duration timeout);

    /// Connects to `port` on a cabled device and reads the greeting; gives a blocking descriptor. Throws
    /// USBLinkError.
    int connect(const std::string& udid, uint16_t port);
    /// The same with a deadline; nothing on any failure. A connection that comes later is closed.
    std::optional<Greeted> connect(const std::string& udid, uint16_t port, Duration timeout);
    /// The same by TCP over IPv4.
    int connectTCP(const std::string& host, uint16_t port);
    std::optional<Greeted> connectTCP(const std::string& host, uint16_t port, Duration timeout);

    /// The greeting of the newest connection that was returned.
    std::optional<std::string> lastGreeting() const EXCLUDES(lock_);

    /// A line without its line feed, with invalid UTF-8 repaired; after 4097 bytes without one, those.
    /// `timeout` is in whole seconds and holds for each byte. Throws `handshakeTimeout`.
    std::string readLine(int fd, int timeout);

    /// Exactly `count` bytes; 0 reads nothing. Throws `connect` when the stream ends or breaks.
    Bytes readExactly(int fd, size_t count);
    /// The same into a buffer of the caller.
    static void readExactly(Sockets& sockets, int fd, std::span<uint8_t> buffer);

  private:
    /// An open connection whose device has spoken, or has failed to.
    struct Opened {
        int descriptor = -1;
        std::optional<std::string> greeting;
    };
    class SilentConnections;

    std::optional<Greeted> settled(Opened opened) EXCLUDES(lock_);
    int opened(const std::function<Opened()>& open);
    std::optional<Greeted> openedWithin(Duration timeout, const std::string& what,
                                        std::function<Opened()> open);
    std::function<Opened()> usbOpener(const std::string& udid, uint16_t port);
    std::function<Opened()> tcpOpener(const std::string& host, uint16_t port);

    Threads& threads_;
    Sockets& sockets_;
    UsbMux& mux_;
    const std::unique_ptr<SilentConnections> silent_;

    mutable Mutex lock_;
    std::optional<std::string> lastGreeting_ GUARDED_BY(lock_);
};

}  // namespace quillon
