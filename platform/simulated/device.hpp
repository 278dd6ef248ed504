#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/simulated/network.hpp"

namespace quillon::simulated {

/// A companion app on the simulated network: greets, collects what the host sends, acknowledges video
/// and keeps alive. Speaks one message layout: type (1 byte), length (4), time (8), payload. One
/// connection at a time is `current`.
class Device : public Peer, public std::enable_shared_from_this<Device> {
  public:
    struct Message {
        uint8_t type = 0;
        uint64_t pts = 0;
        Bytes payload;
        Instant at;  ///< when its last byte arrived
        std::string text() const { return {payload.begin(), payload.end()}; }
    };

    Device(Machine& machine, Network& network) : machine_(machine), network_(network) {}

    // What it does, to be set by a test.
    std::string greeting = "Tablet 2 Tablet13,8 x 2048x1536\n";  ///< sent as it stands
    bool acknowledges = true;
    Duration acknowledgementDelay = 2ms;
    Duration keepAliveInterval = 1s;  ///< 0: none
    bool keepsPayloads = true;        ///< of video; off in long runs

    // What it saw.
    std::vector<Message> messages;
    std::map<uint8_t, int> counts;
    std::vector<Instant> connectedAt;
    int closed = 0;
    int current = -1;  ///< connection, -1 when there is none

    std::vector<Message> ofType(uint8_t type) const;
    void send(uint8_t type, ByteView payload, uint64_t pts = 0);
    void sendBytes(ByteView bytes);
    void disconnect();

    void onConnected(int connection) override;
    void onBytes(int connection, ByteView bytes) override;
    void onClosed(int connection) override;

  private:
    void react(const Message& message);
    void keepAlive(int connection);

    Machine& machine_;
    Network& network_;
    Bytes pending_;
};

}  // namespace quillon::simulated
