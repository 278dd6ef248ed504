#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.hpp"

namespace quillon::testing {

/// A real Avahi daemon in a network namespace, and a message bus of its own that leads to it.
class AvahiDaemon {
  public:
    /// Why there can be none on this machine; empty when there can.
    static std::string missing();

    // Nothing is started yet: as on a machine that has neither bus nor daemon.

    /// In a namespace with nothing but a loopback in it. DBUS_SYSTEM_BUS_ADDRESS names the bus, for this
    /// process and its children. One at a time.
    AvahiDaemon();
    /// On `interface` of an existing namespace. `address` names the bus.
    AvahiDaemon(const std::string& networkNamespace, const std::string& interface);
    ~AvahiDaemon();
    AvahiDaemon(const AvahiDaemon&) = delete;
    AvahiDaemon& operator=(const AvahiDaemon&) = delete;

    // Each is true once it has come about.
    bool startBus();
    bool startDaemon();
    bool start() { return startBus() && startDaemon(); }

    /// The daemon dies without a farewell.
    void killDaemon() { daemon_.reset(); }
    /// The daemon answers nobody any more.
    void freezeDaemon() const;
    void killBus() { bus_.reset(); }

    /// Of the bus, as DBUS_SYSTEM_BUS_ADDRESS takes it.
    std::string address() const { return "unix:path=" + (folder_ / "bus").string(); }

    /// What the daemon and the bus had to say.
    std::string output() const;

  private:
    std::filesystem::path folder_;
    const std::vector<std::string> enterNetwork_;  ///< the start of the daemon's command line
    const std::string interface_;
    std::unique_ptr<ChildProcess> bus_;
    std::unique_ptr<ChildProcess> daemon_;
};

struct ServiceDescription {
    std::string name;
    uint16_t port = 5555;
    std::string host;                    ///< empty: the daemon's own
    std::vector<std::string> addresses;  ///< of `host`
    std::vector<std::string> txt;        ///< "key=value", any bytes, in the order of the record
};

/// Services that stand on the daemon's network until the object goes.
class AnnouncedServices {
  public:
    /// Null when the daemon does not take them within some seconds.
    static std::unique_ptr<AnnouncedServices> announce(const std::vector<ServiceDescription>& services);
    virtual ~AnnouncedServices() = default;

    /// Waits until the daemon has told that it knows no IPv4 address of `host`; false when it knows one, or
    /// is silent for some seconds.
    static bool hasNoAddress(const std::string& host);
};

}  // namespace quillon::testing
