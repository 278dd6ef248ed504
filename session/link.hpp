#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "base/bytes.hpp"
#include "base/thread_annotations.hpp"
#include "platform/platform.hpp"
#include "transport/backlog.hpp"
#include "transport/message_reader.hpp"
#include "transport/packet_writer.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {

/// A descriptor that is closed with its owner.
class OwnedDescriptor {
  public:
    OwnedDescriptor() = default;
    OwnedDescriptor(Sockets& sockets, int descriptor) : sockets_(&sockets), descriptor_(descriptor) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept
        : sockets_(other.sockets_), descriptor_(std::exchange(other.descriptor_, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        std::swap(sockets_, other.sockets_);
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~OwnedDescriptor() {
        if (descriptor_ >= 0) sockets_->close(descriptor_);
    }
    int get() const { return descriptor_; }

  private:
    Sockets* sockets_ = nullptr;
    int descriptor_ = -1;
};

/// One connection to a device: its socket, the writer, and the reader on a queue of its own. It is the
/// only owner of the socket. Made and closed on the main thread; the rest may be called from any.
class Link {
  public:
    Link(Platform& platform, OwnedDescriptor socket);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    int fd() const { return fd_; }

    /// Frames a message and queues it; false when it was refused or the link is closed.
    bool send(wire::MessageType type, uint64_t pts, ByteView payload, PacketWriter::Kind kind);

    /// Can the link take a video frame now, so that it goes out at once? False while one waits, and while
    /// much of the last one has still to go (see Backlog).
    bool hasRoomForVideo();
    /// What the link took lately while it had something to do, bytes a second, once that is known.
    std::optional<double> speed() const;
    /// Counts a picture left out for want of room with the writer's drops.
    void countRefusal();
    int64_t dropped() const;

    /// Reads messages until the link ends: `onMessage` for each, then `onEnd` once, both on the reader's
    /// queue. Neither may close the link.
    void startReader(std::function<void(const MessageReader::Message&)> onMessage,
                     std::function<void()> onEnd);

    /// Has the reader come to the end of the stream? Any thread.
    bool hasEnded() const { return ended_; }

    /// Ends the link: nothing more is sent, a waiting frame is dropped, the reader and the writer are
    /// joined, the socket is closed. Main thread.
    void close();

  private:
    Platform& platform_;
    OwnedDescriptor socket_;  // main thread only
    const int fd_;

    mutable Mutex lock_;
    std::unique_ptr<PacketWriter> writer_ GUARDED_BY(lock_);
    Backlog backlog_ GUARDED_BY(lock_);

    std::atomic<bool> ended_ = false;
    std::unique_ptr<SerialQueue> readerQueue_;  // main thread only
};

}  // namespace quillon
