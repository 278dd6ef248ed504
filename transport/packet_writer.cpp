#include "transport/packet_writer.hpp"

#include <cstdlib>
#include <utility>

namespace quillon {

PacketWriter::PacketWriter(RunLoop& clock, Threads& threads, Sockets& sockets, int fd,
                           int64_t sendBufferBytes)
    : clock_(clock),
      sockets_(sockets),
      fd_(fd),
      queue_(threads.makeSerialQueue(".writer", Priority::userInitiated)) {
    const auto bytes = static_cast<int32_t>(sendBufferBytes);
    if (bytes != sendBufferBytes) std::abort();
    sockets_.setSendBuffer(fd_, bytes);
}

PacketWriter::~PacketWriter() {
    // A drain that is scheduled but has not begun then writes nothing.
    close();
}

bool PacketWriter::enqueue(Bytes packet, Kind kind) {
    {
        const MutexLock held(lock_);
        if (closed_) return false;
        switch (kind) {
            case Kind::video:
                // The older frame stays: the frames that follow refer to it.
                if (slot_) {
                    ++dropped_;
                    return false;
                }
                slot_ = std::move(packet);
                queuedAt_ = clock_.now();
                break;
            case Kind::control:
                controlQueue_.push_back(std::move(packet));
                break;
            case Kind::latest:
                latestPacket_ = std::move(packet);
                break;
        }
        if (std::exchange(drainScheduled_, true)) return true;
    }
    queue_->async([this] { drain(); });
    return true;
}

void PacketWriter::close() {
    const MutexLock held(lock_);
    closed_ = true;
    slot_.reset();
    queuedAt_.reset();
}

int64_t PacketWriter::dropped() const {
    const MutexLock held(lock_);
    return dropped_;
}

int64_t PacketWriter::sent() const {
    const MutexLock held(lock_);
    return sent_;
}

double PacketWriter::lastQueueDelay() const {
    const MutexLock held(lock_);
    return lastQueueDelay_;
}

bool PacketWriter::hasRoomForVideo() const {
    const MutexLock held(lock_);
    return !closed_ && !slot_ && !sendingVideo_;
}

void PacketWriter::countRefusal() {
    const MutexLock held(lock_);
    ++dropped_;
}

Bytes PacketWriter::takeSpareBuffer() {
    const MutexLock held(lock_);
    return std::exchange(spare_, {});
}

void PacketWriter::drain() {
    MutexLock held(lock_);
    // Packets accepted from here on schedule a drain of their own: after a failed send this one is over.
    drainScheduled_ = false;
    while (auto packet = takeNext()) {
        sendingVideo_ = packet->isVideo;
        held.unlock();
        const bool whole = write(packet->bytes);
        held.lock();
        sendingVideo_ = false;
        if (packet->isVideo) {
            spare_ = std::move(packet->bytes);
            spare_.clear();
        }
        // The link is lost, and it is the reader that finds out. What still waits stays as it is.
        if (!whole) return;
        ++sent_;
    }
}

std::optional<PacketWriter::Packet> PacketWriter::takeNext() {
    if (closed_) return std::nullopt;
    if (!controlQueue_.empty()) {
        Packet packet{std::move(controlQueue_.front())};
        controlQueue_.pop_front();
        return packet;
    }
    if (latestPacket_) return Packet{*std::exchange(latestPacket_, std::nullopt)};
    if (slot_) {
        lastQueueDelay_ = toMilliseconds(clock_.now() - *std::exchange(queuedAt_, std::nullopt));
        return Packet{*std::exchange(slot_, std::nullopt), true};
    }
    return std::nullopt;
}

bool PacketWriter::write(ByteView bytes) {
    while (!bytes.empty()) {
        const ptrdiff_t count = sockets_.send(fd_, bytes);
        if (count <= 0) return false;
        bytes = bytes.subspan(static_cast<size_t>(count));
    }
    return true;
}

}  // namespace quillon
