#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "base/thread_annotations.hpp"
#include "device/wake.hpp"

namespace quillon::device {

/// Where hosts arrive: a TCP port, and whoever offers connections that were accepted elsewhere. Hosts
/// come out one at a time; the others wait, on TCP in the kernel's queue.
class LinkServer {
  public:
    enum class ReceiveBuffer {
        automatic,
        small,  ///< so that a device that reads late is felt by the host
    };

    /// Listens on an IPv4 address; port 0 takes any free one. Returns the port. Throws std::system_error,
    /// or std::invalid_argument for an address that is none. Before `accept`.
    uint16_t listen(const std::string& address, uint16_t port, ReceiveBuffer buffer);

    /// Hands over a connected descriptor. Any thread.
    void offer(Descriptor host) EXCLUDES(lock_);

    struct Host {
        Descriptor descriptor;
        std::string name;  ///< for people
    };
    /// Waits for the next host; empty once `stop` was called. One thread.
    std::optional<Host> accept() EXCLUDES(lock_);

    /// Ends `accept` for good. Any thread.
    void stop() { stop_.signal(); }

    /// Becomes readable with `stop` and stays so.
    int stopDescriptor() const { return stop_.descriptor(); }

  private:
    std::optional<Host> takeOffered() EXCLUDES(lock_);
    std::optional<Host> acceptTcp() const;

    Descriptor listener_;
    Wake stop_;
    Wake offered_;
    Mutex lock_;
    std::deque<Descriptor> waiting_ GUARDED_BY(lock_);
};

}  // namespace quillon::device
