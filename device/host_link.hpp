#pragma once

#include <functional>
#include <string>

#include "base/descriptor.hpp"
#include "base/thread_annotations.hpp"
#include "device/message_reader.hpp"
#include "device/options.hpp"
#include "device/statistics.hpp"

namespace quillon::device {

/// The connection to one host, from the greeting to its end. Shared between the link thread, which
/// runs it, and whoever sends on it; frames hold it, so that each is acknowledged on its own link.
class HostLink {
  public:
    /// Sends the touch for a finger at a place of the panel.
    using Touch = std::function<void(uint8_t action, Point onPanel)>;

    /// `greeting` is the line to begin with, without its line feed; `touch` is for the script's fingers and
    /// is called on the link thread.
    HostLink(Descriptor host, std::string greeting, const Options& options, Statistics& statistics,
             Touch touch);

    /// Greets, then reads messages into `sink` and sends what the clock asks for, until the host goes,
    /// breaks the protocol, or `stopDescriptor` becomes readable. Returns why it ended. Link thread.
    std::string run(int stopDescriptor, const MessageReader::Sink& sink);

    /// Sends one message; nothing when the link has ended. A host that takes no bytes for two seconds
    /// loses the link. Any thread.
    void send(wire::MessageType type, uint64_t pts, ByteView payload) EXCLUDES(sendLock_);

    Moment accepted() const { return accepted_; }

  private:
    void sendBytes(ByteView bytes) EXCLUDES(sendLock_);
    std::string receive(int stopDescriptor, const MessageReader::Sink& sink);
    bool readSome(MessageReader& reader, ReadGate& gate, size_t most);
    Moment doWhatIsDue(Moment now, const ReadGate& gate);
    void end() EXCLUDES(sendLock_);

    // Constant after construction
    const Options& options_;
    Statistics& statistics_;
    const std::string greeting_;
    const Touch touch_;
    const Moment accepted_;

    // Link thread only
    Moment nextBeat_;
    size_t nextScripted_ = 0;
    uint64_t randomState_ = 1;

    Mutex sendLock_;     ///< one message at a time
    Descriptor socket_;  ///< replaced only at the end of `run`, under the lock; the link thread reads
    bool ended_ GUARDED_BY(sendLock_) = false;
};

}  // namespace quillon::device
