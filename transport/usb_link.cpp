#include "transport/usb_link.hpp"

#include <cerrno>
#include <cstdio>
#include <deque>
#include <utility>

#include "base/log.hpp"
#include "base/text.hpp"
#include "transport/timed_call.hpp"

namespace quillon {
namespace {

/// How long a device may keep quiet before its greeting, and between two bytes of it.
constexpr int kGreetingSeconds = 10;
/// Bytes after which a line is taken to be one even without its line feed.
constexpr size_t kLongestLine = 4096;

constexpr int kCable = 1;

std::optional<std::string> receivedLine(Sockets& sockets, int fd, int timeout) {
    sockets.setReceiveTimeout(fd, timeout);
    Bytes line;
    while (line.size() <= kLongestLine) {
        uint8_t byte = 0;
        if (sockets.receive(fd, {&byte, 1}, Sockets::Fill::any) != 1) return std::nullopt;
        if (byte == '\n') break;
        line.push_back(byte);
    }
    sockets.setReceiveTimeout(fd, 0);
    return repairedUtf8(line);
}

/// The greeting of a fresh connection; the host says nothing before it.
std::optional<std::string> receivedGreeting(Sockets& sockets, int fd, const char* area) {
    auto greeting = receivedLine(sockets, fd, kGreetingSeconds);
    if (greeting) std::fprintf(stderr, "[%s] device says: %s\n", area, onOneLine(*greeting).c_str());
    return greeting;
}

USBLinkError errorOf(const TcpAttempt& attempt, const std::string& host, uint16_t port) {
    const std::string code = std::to_string(attempt.code);
    switch (attempt.stage) {
        case TcpAttempt::Stage::resolving:
            return USBLinkError::connect("getaddrinfo(" + host + ") failed: " + code);
        case TcpAttempt::Stage::creating:
            return USBLinkError::connect("socket() errno " + code);
        default:
            return USBLinkError::connect("connect(" + host + ":" + std::to_string(port) + ") errno " + code);
    }
}

std::string timedOutAfter(Duration timeout) {
    return " timed out after " +
           std::to_string(std::chrono::duration_cast<std::chrono::seconds>(timeout).count()) + "s";
}

}  // namespace

USBLinkError USBLinkError::deviceNotFound(const std::string& udid) {
    return {Case::deviceNotFound, "device " + udid + " not found over USB"};
}

USBLinkError USBLinkError::connect(const std::string& message) {
    return {Case::connect, "usbmux connect failed: " + message};
}

USBLinkError USBLinkError::handshakeTimeout() {
    return {Case::handshakeTimeout, "device did not send its greeting"};
}

/// Connections whose device did not greet in time. They stay open and unused, so that a device that is
/// slow to start finds its connection whole instead of being made to start over. A device that accepts
/// and never speaks is tried again and again for as long as the program runs, so only the newest few are
/// kept: the oldest has had more than a minute by the time it is closed.
class USBLink::SilentConnections {
  public:
    explicit SilentConnections(Sockets& sockets) : sockets_(sockets) {}
    ~SilentConnections() {
        for (const int descriptor : kept_) sockets_.close(descriptor);
    }
    SilentConnections(const SilentConnections&) = delete;
    SilentConnections& operator=(const SilentConnections&) = delete;

    void keep(int descriptor) EXCLUDES(lock_) {
        const MutexLock held(lock_);
        kept_.push_back(descriptor);
        if (kept_.size() <= kMost) return;
        sockets_.close(kept_.front());
        kept_.pop_front();
    }

  private:
    static constexpr size_t kMost = 16;

    Sockets& sockets_;
    Mutex lock_;
    std::deque<int> kept_ GUARDED_BY(lock_);
};

USBLink::USBLink(Threads& threads, Sockets& sockets, UsbMux& mux)
    : threads_(threads),
      sockets_(sockets),
      mux_(mux),
      silent_(std::make_unique<SilentConnections>(sockets)) {}

USBLink::~USBLink() = default;

std::vector<USBLink::USBDevice> USBLink::listDevices() {
    std::vector<USBDevice> devices;
    for (auto& device : mux_.devices()) {
        if (device.udid.empty()) continue;
        devices.push_back({std::move(device.udid), device.productID, device.connectionType});
    }
    return devices;
}

std::optional<std::string> USBLink::soleCabledUDID() {
    std::optional<std::string> sole;
    for (auto& device : listDevices()) {
        if (device.connectionType != kCable) continue;
        if (sole) return std::nullopt;
        sole = std::move(device.udid);
    }
    return sole;
}

bool USBLink::devicePresent(const std::string& udid) {
    return mux_.deviceByUdid(udid).has_value();
}

bool USBLink::appIsListening(const std::string& udid, uint16_t port, Duration timeout) {
    const auto probe = [&mux = mux_, &sockets = sockets_, udid, port] {
        const auto device = mux.deviceByUdid(udid);
        if (!device) return false;
        const int descriptor = mux.connect(device->handle, port).result;
        if (descriptor >= 0) sockets.close(descriptor);
        return descriptor >= 0;
    };
    return callWithin<bool>(threads_, timeout, probe, [](bool) {}).value_or(false);
}

// What a connect runs may go on after its caller, and this object, have given up: openers hold services
// of the platform only.

std::function<USBLink::Opened()> USBLink::usbOpener(const std::string& udid, uint16_t port) {
    return [&mux = mux_, &sockets = sockets_, udid, port]() -> Opened {
        const auto device = mux.deviceByUdid(udid);
        if (!device) throw USBLinkError::deviceNotFound(udid);
        const auto attempt = mux.connect(device->handle, port);
        if (attempt.result < 0) {
            throw USBLinkError::connect("usbmuxd_connect returned " + std::to_string(attempt.result) +
                                        ", errno " + std::to_string(attempt.error));
        }
        sockets.makeBlockingWithoutDelay(attempt.result);
        return {attempt.result, receivedGreeting(sockets, attempt.result, "usb")};
    };
}

std::function<USBLink::Opened()> USBLink::tcpOpener(const std::string& host, uint16_t port) {
    return [&sockets = sockets_, host, port]() -> Opened {
        const TcpAttempt attempt = sockets.connectTcp(host, port);
        if (attempt.stage != TcpAttempt::Stage::connected) throw errorOf(attempt, host, port);
        return {attempt.descriptor, receivedGreeting(sockets, attempt.descriptor, "tcp")};
    };
}

int USBLink::connect(const std::string& udid, uint16_t port) {
    return opened(usbOpener(udid, port));
}

std::optional<USBLink::Greeted> USBLink::connect(const std::string& udid, uint16_t port, Duration timeout) {
    return openedWithin(timeout, "usb connect", usbOpener(udid, port));
}

int USBLink::connectTCP(const std::string& host, uint16_t port) {
    return opened(tcpOpener(host, port));
}

std::optional<USBLink::Greeted> USBLink::connectTCP(const std::string& host, uint16_t port,
                                                    Duration timeout) {
    return openedWithin(timeout, "tcp connect to " + host, tcpOpener(host, port));
}

int USBLink::opened(const std::function<Opened()>& open) {
    const auto greeted = settled(open());
    if (!greeted) throw USBLinkError::handshakeTimeout();
    return greeted->descriptor;
}

std::optional<USBLink::Greeted> USBLink::openedWithin(Duration timeout, const std::string& what,
                                                      std::function<Opened()> open) {
    const auto attempt = [open = std::move(open)] {
        try {
            return open();
        } catch (const USBLinkError&) {
            return Opened{};
        }
    };
    const auto closeLate = [&sockets = sockets_](const Opened& late) {
        if (late.descriptor >= 0) sockets.close(late.descriptor);
    };
    auto result = callWithin<Opened>(threads_, timeout, attempt, closeLate);
    if (!result) {
        Log::write(what + timedOutAfter(timeout));
        return std::nullopt;
    }
    return settled(std::move(*result));
}

/// Only connections that are returned leave their greeting: a worker that was given up on must not
/// change what the session reads about its newer connection.
std::optional<USBLink::Greeted> USBLink::settled(Opened opened) {
    if (opened.descriptor < 0) return std::nullopt;
    if (!opened.greeting) {
        silent_->keep(opened.descriptor);
        return std::nullopt;
    }
    const MutexLock held(lock_);
    lastGreeting_ = opened.greeting;
    return Greeted{opened.descriptor, std::move(*opened.greeting)};
}

std::optional<std::string> USBLink::lastGreeting() const {
    const MutexLock held(lock_);
    return lastGreeting_;
}

std::string USBLink::readLine(int fd, int timeout) {
    auto line = receivedLine(sockets_, fd, timeout);
    if (!line) throw USBLinkError::handshakeTimeout();
    return std::move(*line);
}

Bytes USBLink::readExactly(int fd, size_t count) {
    Bytes bytes(count);
    readExactly(sockets_, fd, bytes);
    return bytes;
}

void USBLink::readExactly(Sockets& sockets, int fd, std::span<uint8_t> buffer) {
    while (!buffer.empty()) {
        errno = 0;
        const ptrdiff_t count = sockets.receive(fd, buffer, Sockets::Fill::whole);
        if (count <= 0) throw USBLinkError::connect("recv() errno " + std::to_string(errno));
        buffer = buffer.subspan(static_cast<size_t>(count));
    }
}

}  // namespace quillon
