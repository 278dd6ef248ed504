#pragma once

#include <poll.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/bytes.hpp"
#include "base/descriptor.hpp"
#include "base/thread_annotations.hpp"

namespace quillon {

/// A small usbmuxd: lists devices and connects to their ports, for devices that live in this process
/// instead of on a cable. Clients find it through
///
///     USBMUXD_SOCKET_ADDRESS=UNIX:/path/of/the/socket
///
/// It serves on a thread of its own, started by the constructor and joined by the destructor. All other
/// operations may be called from any thread and have taken effect when they return. Destroying the server
/// is what a crash of the service looks like: every connection ends, also those to devices.
class UsbmuxServer {
  public:
    enum class Connection { cable, network };

    /// Takes over a connected stream descriptor whose other end is the client. Called on the server's
    /// thread, so it does not block. The server keeps a copy to pull the cable with: the new owner ends the
    /// connection by `shutdown` first and `close` then, or the client does not see the end.
    using App = std::function<void(int descriptor)>;

    struct Device {
        std::string udid;
        uint32_t productID = 0x12ab;
        Connection connection = Connection::cable;
        std::map<uint16_t, App> apps;  ///< by port; other ports refuse
    };

    /// What the service does wrong, to every client.
    enum class Fault {
        none,
        refuseConnect,  ///< as if no app listened
        hangOnList,     ///< never answers which devices there are
        hangOnConnect,  ///< never answers whether the connection stands
    };

    /// Listens at `socketPath`, replacing a socket that an earlier run left. Throws std::system_error.
    explicit UsbmuxServer(const std::string& socketPath);
    ~UsbmuxServer();
    UsbmuxServer(const UsbmuxServer&) = delete;
    UsbmuxServer& operator=(const UsbmuxServer&) = delete;

    void addDevice(Device device) EXCLUDES(lock_);
    /// Pulls the cable: connections to the device end.
    void removeDevice(std::string_view udid) EXCLUDES(lock_);
    void setFault(Fault fault) EXCLUDES(lock_);

  private:
    /// An open descriptor of the server.
    struct Client {
        enum class Role { asking, listening, tunnel };
        Role role = Role::asking;
        Bytes received;       ///< of the message that is coming in
        uint32_t handle = 0;  ///< of a tunnel's device
    };
    struct Request {
        int descriptor;
        uint32_t tag;
        std::string_view plist;
    };
    /// A connection on its way to its app, once the lock is released.
    struct Handover {
        App app;
        int descriptor;
    };

    void serve();
    std::vector<pollfd> watchList() EXCLUDES(lock_);
    std::vector<Handover> attend(const std::vector<pollfd>& ready) EXCLUDES(lock_);
    void acceptClient() REQUIRES(lock_);
    void drop(int descriptor) REQUIRES(lock_);
    bool receive(int descriptor, Client& client) REQUIRES(lock_);
    void answer(const Request& request, std::vector<Handover>& handovers) REQUIRES(lock_);
    void answerList(const Request& request) REQUIRES(lock_);
    void answerConnect(const Request& request, std::vector<Handover>& handovers) REQUIRES(lock_);
    void startListening(const Request& request) REQUIRES(lock_);
    void tellListeners(const std::string& message) REQUIRES(lock_);

    const std::string path_;
    const Descriptor listener_;

    Mutex lock_;
    std::map<uint32_t, Device> devices_ GUARDED_BY(lock_);  ///< by handle
    uint32_t lastHandle_ GUARDED_BY(lock_) = 0;
    std::map<int, Client> clients_ GUARDED_BY(lock_);  ///< by descriptor
    Fault fault_ GUARDED_BY(lock_) = Fault::none;
    bool ending_ GUARDED_BY(lock_) = false;

    std::thread thread_;
};

}  // namespace quillon
