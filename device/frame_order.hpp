#pragma once

#include <cstdint>
#include <optional>

#include "base/bytes.hpp"

namespace quillon::device {

/// Watches the frame numbers of an H.264 stream for frames that never came. Decoders hide such a gap by
/// repeating an older picture, so it has to be seen in the stream itself. One thread.
class FrameOrder {
  public:
    /// Takes length-prefixed parameter sets.
    void configure(ByteView parameterSets);

    /// Takes one length-prefixed access unit; false when it builds on a frame that never came: from a gap
    /// in the frame numbers, or from the beginning, up to the next IDR picture.
    bool accept(ByteView accessUnit);

  private:
    struct Sequence {
        uint32_t frameNumbers = 16;  ///< frame numbers count modulo this
        bool separatePlanes = false;
    };
    static std::optional<Sequence> parseSequence(ByteView unit);
    void acceptUnit(ByteView unit);
    void acceptSlice(ByteView unit);

    Sequence sequence_;
    std::optional<uint32_t> lastReference_;  ///< frame number; empty while the chain is broken
};

}  // namespace quillon::device
