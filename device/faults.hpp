#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "device/time.hpp"

namespace quillon::device {

/// Ways in which a device may misbehave, for tests of hosts. They hold for every link anew.
struct Faults {
    /// The device stops reading and says nothing for `length`, beginning `start` after the accept.
    struct Stall {
        Clock::duration start{};
        Clock::duration length{};
    };

    bool silent = false;       ///< accepts, sends no greeting and nothing else
    bool garbage = false;      ///< sends random bytes after the greeting, once a second
    bool noAck = false;        ///< shows frames, acknowledges none
    bool noKeepAlive = false;  ///< sends no keep-alives
    std::optional<size_t> bytesPerSecond;
    std::optional<Stall> stall;
    std::optional<uint64_t> cutAfter;  ///< closes the link after so many received bytes

    /// Whether the device takes bytes later than they come; it then asks for a small receive buffer so
    /// that the kernel does not hide it.
    bool readsLate() const { return bytesPerSecond || stall; }
};

/// Adds the fault that `text` names: "no-ack", "no-keepalive", "garbage", "silent", "slow:BYTES_PER_SECOND",
/// "stall:SECONDS@SECOND", "cut:BYTES". False when it names none.
bool addFault(Faults& faults, std::string_view text);

/// Tells the reader of one link how much it may read at a moment. One thread.
class ReadGate {
  public:
    ReadGate(const Faults& faults, Moment accepted) : faults_(faults), accepted_(accepted) {}

    struct Answer {
        size_t bytes = 0;  ///< 0: nothing now, ask again after `wait`
        Clock::duration wait{};
    };
    /// How much of at most `wanted` bytes may be read at `now`.
    Answer mayRead(Moment now, size_t wanted) const;

    void didRead(size_t bytes) { received_ += bytes; }

    /// The link has received all that it will ever take.
    bool isCut() const { return faults_.cutAfter && received_ >= *faults_.cutAfter; }

    /// The device plays dead.
    bool isStalled(Moment now) const { return remainingStall(now) > Clock::duration::zero(); }

  private:
    Clock::duration remainingStall(Moment now) const;

    const Faults faults_;
    const Moment accepted_;
    uint64_t received_ = 0;
};

}  // namespace quillon::device
