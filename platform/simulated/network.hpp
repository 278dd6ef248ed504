#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/simulated/machine.hpp"
#include "platform/sockets.hpp"
#include "platform/usb_mux.hpp"

namespace quillon::simulated {

/// The other end of one connection: what a device does with bytes. All calls come between two turns of
/// the machine's threads and must not block.
class Peer {
  public:
    virtual ~Peer() = default;
    virtual void onConnected(int connection) = 0;
    virtual void onBytes(int connection, ByteView bytes) = 0;
    virtual void onClosed(int connection) = 0;
};

/// How a place answers to a connect.
struct Listener {
    enum class Answer { accepts, refuses, hangs };
    std::shared_ptr<Peer> peer;
    Answer answer = Answer::accepts;
    Duration delay = 1ms;       ///< until the connect returns
    double bytesPerSecond = 0;  ///< host to device; 0 is unlimited
};

/// Sockets of the simulated machine. A connection is named by its descriptor; the peer uses the same
/// number for its end.
class Network : public Sockets {
  public:
    explicit Network(Machine& machine) : machine_(machine) {}

    // --- the machine's side
    TcpAttempt connectTcp(const std::string& host, uint16_t port) override;
    ptrdiff_t send(int descriptor, ByteView bytes) override;
    ptrdiff_t receive(int descriptor, std::span<uint8_t> buffer, Fill fill) override;
    void setReceiveTimeout(int descriptor, int seconds) override;
    void setSendBuffer(int descriptor, int bytes) override;
    void makeBlockingWithoutDelay(int) override {}
    SendProgress sendProgress(int descriptor) override;
    void shutdown(int descriptor) override;
    void close(int descriptor) override;

    /// Connects to `listener`; a descriptor, or -1 with `error` set when it refuses. A listener that hangs
    /// blocks the caller for `kHangs`.
    int connect(const Listener& listener, int& error);
    static constexpr Duration kHangs = 75s;

    // --- the world's side
    std::map<std::string, Listener> tcpListeners;  ///< by "host:port"
    void deliver(int connection, ByteView bytes);  ///< device to host
    void disconnect(int connection);               ///< the device closes
    /// What becomes of a connection that ends without a word: `lost` swallows what is sent, `forgotten`
    /// answers the next byte with a reset. Nothing arrives from the device any more.
    enum class Path { stands, lost, forgotten };
    void setPath(int connection, Path path);
    void setRate(int connection, double bytesPerSecond);

    size_t openDescriptors() const { return connections_.size(); }
    int opened() const { return lastDescriptor_ - kFirst + 1; }

  private:
    static constexpr int kFirst = 1000;  // far from any real descriptor
    struct Connection {
        std::shared_ptr<Peer> peer;
        double rate = 0;
        size_t sendBuffer = 256 * 1024;
        Duration receiveTimeout = Duration::zero();
        std::deque<uint8_t> unsent;
        std::deque<uint8_t> received;
        bool peerClosed = false;
        bool shut = false;
        bool transmitting = false;
        Path path = Path::stands;
        std::shared_ptr<Machine::WaitPoint> changed = std::make_shared<Machine::WaitPoint>();
    };
    std::shared_ptr<Connection> find(int descriptor) const;
    void transmit(int descriptor);

    Machine& machine_;
    std::map<int, std::shared_ptr<Connection>> connections_;
    int lastDescriptor_ = kFirst - 1;
};

/// The cable service of the simulated machine.
class SimulatedUsbMux : public UsbMux {
  public:
    explicit SimulatedUsbMux(Network& network) : network_(network) {}

    struct Attached {
        Device device;
        std::map<uint16_t, Listener> ports;
    };
    std::vector<Attached> attached;

    std::vector<Device> devices() override;
    std::optional<Device> deviceByUdid(const std::string& udid) override;
    Attempt connect(uint32_t handle, uint16_t port) override;

  private:
    Network& network_;
};

}  // namespace quillon::simulated
