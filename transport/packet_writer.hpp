#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

#include "base/bytes.hpp"
#include "base/thread_annotations.hpp"
#include "base/time.hpp"
#include "platform/run_loop.hpp"
#include "platform/sockets.hpp"
#include "platform/threads.hpp"

namespace quillon {

/// The sending side of one link. Messages are handed over whole and written on a queue of the writer's
/// own, so a slow link never holds up its callers. Control messages are never lost, of a `latest`
/// message only the newest value counts, and at most one video frame waits; a frame that comes while
/// another waits is refused and counted.
///
/// Owned by the session, one per link. The descriptor is the session's: it shuts the socket down, then
/// destroys the writer (which joins the queue; a blocked send has ended by then), then closes the
/// socket. All operations but construction and destruction may be called from any thread.
class PacketWriter {
  public:
    enum class Kind {
        video,    ///< one waits; refused while another waits
        control,  ///< in order, never refused
        latest,   ///< replaces the one that waits
    };

    /// `sendBufferBytes` becomes the socket's send buffer; it fits in 32 bits. Of `clock` only the time
    /// is asked for.
    PacketWriter(RunLoop& clock, Threads& threads, Sockets& sockets, int fd, int64_t sendBufferBytes);
    ~PacketWriter();
    PacketWriter(const PacketWriter&) = delete;
    PacketWriter& operator=(const PacketWriter&) = delete;

    /// True when `packet` was accepted; it is then written unless the link or the writer ends first.
    bool enqueue(Bytes packet, Kind kind) EXCLUDES(lock_);

    /// Refuses everything from now on; the waiting frame is released and nothing more is written.
    void close() EXCLUDES(lock_);

    /// Video frames refused because another one waited, and those that `countRefusal` added.
    int64_t dropped() const EXCLUDES(lock_);
    /// Packets written completely.
    int64_t sent() const EXCLUDES(lock_);
    /// How long the last video frame waited before its first byte was written, in milliseconds.
    double lastQueueDelay() const EXCLUDES(lock_);

    /// Whether a frame enqueued now would go out at once: none waits and none is being written. What
    /// the frame path asks before it spends work on a picture.
    bool hasRoomForVideo() const EXCLUDES(lock_);
    /// Counts a picture that the frame path left out for want of room with the dropped frames.
    void countRefusal() EXCLUDES(lock_);
    /// The emptied buffer of the last written frame, with its capacity, for building the next one;
    /// a new buffer when there is none.
    Bytes takeSpareBuffer() EXCLUDES(lock_);

  private:
    struct Packet {
        Bytes bytes;
        bool isVideo = false;
    };

    void drain() EXCLUDES(lock_);
    std::optional<Packet> takeNext() REQUIRES(lock_);
    bool write(ByteView bytes);

    RunLoop& clock_;
    Sockets& sockets_;
    const int fd_;

    mutable Mutex lock_;
    std::optional<Bytes> slot_ GUARDED_BY(lock_);
    std::optional<Instant> queuedAt_ GUARDED_BY(lock_);
    std::deque<Bytes> controlQueue_ GUARDED_BY(lock_);
    std::optional<Bytes> latestPacket_ GUARDED_BY(lock_);
    bool closed_ GUARDED_BY(lock_) = false;
    int64_t dropped_ GUARDED_BY(lock_) = 0;
    int64_t sent_ GUARDED_BY(lock_) = 0;
    double lastQueueDelay_ GUARDED_BY(lock_) = 0;
    bool drainScheduled_ GUARDED_BY(lock_) = false;
    bool sendingVideo_ GUARDED_BY(lock_) = false;
    Bytes spare_ GUARDED_BY(lock_);

    // Last, so that it is joined before anything its work touches goes away.
    const std::unique_ptr<SerialQueue> queue_;
};

}  // namespace quillon
