#pragma once

#include "platform/sockets.hpp"

namespace quillon {

/// The sockets of the system. A signal never ends a send or a receive: interrupted calls are repeated.
class PosixSockets : public Sockets {
  public:
    TcpAttempt connectTcp(const std::string& host, uint16_t port) override;
    ptrdiff_t send(int descriptor, ByteView bytes) override;
    ptrdiff_t receive(int descriptor, std::span<uint8_t> buffer, Fill fill) override;
    void setReceiveTimeout(int descriptor, int seconds) override;
    void setSendBuffer(int descriptor, int bytes) override;
    void makeBlockingWithoutDelay(int descriptor) override;
    SendProgress sendProgress(int descriptor) override;
    void shutdown(int descriptor) override;
    void close(int descriptor) override;
};

}  // namespace quillon
