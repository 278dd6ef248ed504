#pragma once

#include <algorithm>
#include <cstdlib>

#include "platform/sockets.hpp"

namespace quillon::fuzz {

/// What a fuzzer found wrong, told by the crash that libFuzzer looks for.
inline void require(bool holds) {
    if (!holds) std::abort();
}

/// A socket whose peer sends the fuzzer's input, in pieces of at most `piece` bytes, and hangs up.
class InputSockets : public Sockets {
  public:
    InputSockets(ByteView input, size_t piece) : input_(input), piece_(std::max<size_t>(piece, 1)) {}

    ByteView rest() const { return input_; }

    ptrdiff_t receive(int, std::span<uint8_t> buffer, Fill) override {
        const size_t count = std::min({buffer.size(), input_.size(), piece_});
        std::copy_n(input_.begin(), count, buffer.begin());
        input_ = input_.subspan(count);
        return static_cast<ptrdiff_t>(count);
    }
    TcpAttempt connectTcp(const std::string&, uint16_t) override { return {}; }
    ptrdiff_t send(int, ByteView bytes) override { return static_cast<ptrdiff_t>(bytes.size()); }
    void setReceiveTimeout(int, int) override {}
    void setSendBuffer(int, int) override {}
    void makeBlockingWithoutDelay(int) override {}
    SendProgress sendProgress(int) override { return {}; }
    void shutdown(int) override {}
    void close(int) override {}

  private:
    ByteView input_;
    const size_t piece_;
};

}  // namespace quillon::fuzz
