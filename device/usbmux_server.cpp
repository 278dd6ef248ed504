#include "device/usbmux_server.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <utility>

namespace quillon {
namespace {

// A message of the protocol, all integers little-endian; a reply carries the tag of its request:
//
//      0             4            8             12       16
//     +-------------+------------+-------------+--------+------------------
//     | total length| version 1  | type 8      | tag    | XML property list
//     +-------------+------------+-------------+--------+------------------
constexpr size_t kHeaderSize = 16;
constexpr uint32_t kVersion = 1;
constexpr uint32_t kPlist = 8;
constexpr uint32_t kLongestRequest = 64 * 1024;

enum class Result { ok = 0, badCommand = 1, badDevice = 2, refused = 3 };

uint32_t loadLittleEndian32(const uint8_t* at) {
    return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 |
           static_cast<uint32_t>(at[2]) << 16 | static_cast<uint32_t>(at[3]) << 24;
}

void appendLittleEndian32(std::string& text, uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) text += static_cast<char>(value >> shift & 0xFF);
}

std::string element(std::string_view name, std::string_view content) {
    return "<" + std::string(name) + ">" + std::string(content) + "</" + std::string(name) + ">";
}
std::string dict(const std::string& entries) {
    return element("dict", entries);
}
std::string entry(std::string_view key, const std::string& value) {
    return element("key", key) + value;
}
std::string entry(std::string_view key, uint32_t value) {
    return element("key", key) + element("integer", std::to_string(value));
}
std::string entry(std::string_view key, std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else
            escaped += c;
    }
    return element("key", key) + element("string", escaped);
}

std::string resultPlist(Result result) {
    return dict(entry("MessageType", std::string_view("Result")) +
                entry("Number", static_cast<uint32_t>(result)));
}

std::string propertiesPlist(uint32_t handle, const UsbmuxServer::Device& device) {
    const bool cabled = device.connection == UsbmuxServer::Connection::cable;
    std::string entries = entry("ConnectionType", std::string_view(cabled ? "USB" : "Network")) +
                          entry("DeviceID", handle) + entry("ProductID", device.productID) +
                          entry("SerialNumber", std::string_view(device.udid));
    // A network device needs an address: here that of this machine, as a 16-byte socket address.
    if (!cabled) entries += entry("NetworkAddress", element("data", "EAIAAH8AAAEAAAAAAAAAAA=="));
    return dict(entries);
}

std::string attachedPlist(uint32_t handle, const UsbmuxServer::Device& device) {
    return dict(entry("MessageType", std::string_view("Attached")) + entry("DeviceID", handle) +
                entry("Properties", propertiesPlist(handle, device)));
}

/// The text of the element `kind` that follows `key`, in a list without nested ones.
std::optional<std::string_view> valueOf(std::string_view plist, std::string_view key, std::string_view kind) {
    const std::string keyElement = element("key", key);
    const size_t at = plist.find(keyElement);
    if (at == std::string_view::npos) return std::nullopt;
    plist.remove_prefix(at + keyElement.size());
    plist.remove_prefix(std::min(plist.size(), plist.find_first_not_of(" \t\r\n")));
    const std::string open = "<" + std::string(kind) + ">";
    if (!plist.starts_with(open)) return std::nullopt;
    plist.remove_prefix(open.size());
    return plist.substr(0, plist.find('<'));
}

std::optional<uint32_t> integerOf(std::string_view plist, std::string_view key) {
    const auto text = valueOf(plist, key, "integer");
    uint32_t value = 0;
    if (!text || std::from_chars(text->data(), text->data() + text->size(), value).ec != std::errc()) {
        return std::nullopt;
    }
    return value;
}

/// Replies are far smaller than a socket's buffer; a client that does not read them loses them.
void sendPlist(int descriptor, uint32_t tag, const std::string& content) {
    const std::string plist =
        R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)" + content + "</plist>";
    std::string message;
    appendLittleEndian32(message, static_cast<uint32_t>(kHeaderSize + plist.size()));
    appendLittleEndian32(message, kVersion);
    appendLittleEndian32(message, kPlist);
    appendLittleEndian32(message, tag);
    message += plist;
    send(descriptor, message.data(), message.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

Descriptor listenAt(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        throw systemError(path);
    }
    std::copy(path.begin(), path.end(), address.sun_path);
    unlink(path.c_str());
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!listener.isOpen() ||
        bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.get(), SOMAXCONN) != 0) {
        throw systemError(path);
    }
    return listener;
}

}  // namespace

UsbmuxServer::UsbmuxServer(const std::string& socketPath)
    : path_(socketPath), listener_(listenAt(socketPath)), thread_([this] { serve(); }) {}

UsbmuxServer::~UsbmuxServer() {
    {
        const MutexLock held(lock_);
        ending_ = true;
    }
    shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
    unlink(path_.c_str());
    const MutexLock held(lock_);
    while (!clients_.empty()) drop(clients_.begin()->first);
}

void UsbmuxServer::addDevice(Device device) {
    const MutexLock held(lock_);
    const uint32_t handle = ++lastHandle_;
    tellListeners(attachedPlist(handle, device));
    devices_.emplace(handle, std::move(device));
}

void UsbmuxServer::removeDevice(std::string_view udid) {
    const MutexLock held(lock_);
    for (auto device = devices_.begin(); device != devices_.end();) {
        if (device->second.udid != udid) {
            ++device;
            continue;
        }
        const uint32_t handle = device->first;
        device = devices_.erase(device);
        tellListeners(dict(entry("MessageType", std::string_view("Detached")) + entry("DeviceID", handle)));
        // The serving thread sees their end and drops them.
        for (const auto& [descriptor, client] : clients_) {
            if (client.role == Client::Role::tunnel && client.handle == handle)
                shutdown(descriptor, SHUT_RDWR);
        }
    }
}

void UsbmuxServer::setFault(Fault fault) {
    const MutexLock held(lock_);
    fault_ = fault;
}

void UsbmuxServer::serve() {
    for (;;) {
        auto watched = watchList();
        if (watched.empty()) return;
        poll(watched.data(), static_cast<nfds_t>(watched.size()), -1);
        for (const Handover& each : attend(watched)) each.app(each.descriptor);
    }
}

/// Empty when the server ends.
std::vector<pollfd> UsbmuxServer::watchList() {
    const MutexLock held(lock_);
    if (ending_) return {};
    std::vector<pollfd> watched{{listener_.get(), POLLIN, 0}};
    for (const auto& [descriptor, client] : clients_) {
        // Of a tunnel only its end is of interest.
        watched.push_back(
            {descriptor, static_cast<short>(client.role == Client::Role::tunnel ? 0 : POLLIN), 0});
    }
    return watched;
}

std::vector<UsbmuxServer::Handover> UsbmuxServer::attend(const std::vector<pollfd>& ready) {
    std::vector<Handover> handovers;
    const MutexLock held(lock_);
    if (ending_) return handovers;
    for (const pollfd& each : ready) {
        if (each.revents == 0) continue;
        if (each.fd == listener_.get()) {
            acceptClient();
            continue;
        }
        Client& client = clients_.at(each.fd);
        if (client.role == Client::Role::tunnel || !receive(each.fd, client)) {
            drop(each.fd);
            continue;
        }
        if (client.received.size() < kHeaderSize ||
            client.received.size() < loadLittleEndian32(client.received.data())) {
            continue;
        }
        const Bytes message = std::exchange(client.received, {});
        const auto* text = reinterpret_cast<const char*>(message.data());
        answer({each.fd, loadLittleEndian32(message.data() + 12),
                std::string_view(text, message.size()).substr(kHeaderSize)},
               handovers);
    }
    return handovers;
}

void UsbmuxServer::acceptClient() {
    const int descriptor = accept(listener_.get(), nullptr, nullptr);
    if (descriptor < 0) return;
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    clients_.emplace(descriptor, Client{});
}

void UsbmuxServer::drop(int descriptor) {
    // A tunnel is a copy: closing it alone would end nothing.
    shutdown(descriptor, SHUT_RDWR);
    close(descriptor);
    clients_.erase(descriptor);
}

/// Reads more of the coming message and nothing beyond it: what follows a connect belongs to the device.
/// False when the client is gone or talks nonsense.
bool UsbmuxServer::receive(int descriptor, Client& client) {
    size_t whole = kHeaderSize;
    if (client.received.size() >= kHeaderSize) whole = loadLittleEndian32(client.received.data());
    if (whole < kHeaderSize || whole > kLongestRequest) return false;
    const size_t have = client.received.size();
    client.received.resize(whole);
    const ssize_t count = recv(descriptor, client.received.data() + have, whole - have, MSG_DONTWAIT);
    client.received.resize(have + static_cast<size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

void UsbmuxServer::answer(const Request& request, std::vector<Handover>& handovers) {
    const auto type = valueOf(request.plist, "MessageType", "string");
    if (type == "ListDevices") {
        answerList(request);
    } else if (type == "Listen") {
        startListening(request);
    } else if (type == "Connect") {
        answerConnect(request, handovers);
    } else {
        sendPlist(request.descriptor, request.tag, resultPlist(Result::badCommand));
    }
}

void UsbmuxServer::answerList(const Request& request) {
    if (fault_ == Fault::hangOnList) return;
    std::string list;
    for (const auto& [handle, device] : devices_) {
        list += attachedPlist(handle, device);
    }
    sendPlist(request.descriptor, request.tag, dict(entry("DeviceList", element("array", list))));
}

void UsbmuxServer::startListening(const Request& request) {
    if (fault_ == Fault::hangOnList) return;
    sendPlist(request.descriptor, request.tag, resultPlist(Result::ok));
    for (const auto& [handle, device] : devices_) {
        sendPlist(request.descriptor, 0, attachedPlist(handle, device));
    }
    clients_.at(request.descriptor).role = Client::Role::listening;
}

void UsbmuxServer::answerConnect(const Request& request, std::vector<Handover>& handovers) {
    if (fault_ == Fault::hangOnConnect) return;
    const auto device = devices_.find(integerOf(request.plist, "DeviceID").value_or(0));
    if (device == devices_.end()) {
        sendPlist(request.descriptor, request.tag, resultPlist(Result::badDevice));
        return;
    }
    // The port comes in network order inside the number.
    const uint16_t port = ntohs(static_cast<uint16_t>(integerOf(request.plist, "PortNumber").value_or(0)));
    const auto app = device->second.apps.find(port);
    if (app == device->second.apps.end() || fault_ == Fault::refuseConnect) {
        sendPlist(request.descriptor, request.tag, resultPlist(Result::refused));
        return;
    }
    sendPlist(request.descriptor, request.tag, resultPlist(Result::ok));
    const int copy = fcntl(request.descriptor, F_DUPFD_CLOEXEC, 0);
    clients_.erase(request.descriptor);
    if (copy >= 0) clients_.emplace(copy, Client{Client::Role::tunnel, {}, device->first});
    handovers.push_back({app->second, request.descriptor});
}

void UsbmuxServer::tellListeners(const std::string& message) {
    for (const auto& [descriptor, client] : clients_) {
        if (client.role == Client::Role::listening) sendPlist(descriptor, 0, message);
    }
}

}  // namespace quillon
