#include "session/link.hpp"

#include "transport/usb_link.hpp"

namespace quillon {

namespace {
/// The socket's send buffer, bytes.
constexpr int64_t kSendBufferBytes = 262144;
}  // namespace

Link::Link(Platform& platform, OwnedDescriptor socket)
    : platform_(platform),
      socket_(std::move(socket)),
      fd_(socket_.get()),
      writer_(std::make_unique<PacketWriter>(platform.mainLoop(), platform.threads(), platform.sockets(), fd_,
                                             kSendBufferBytes)) {}

Link::~Link() {
    close();
}

bool Link::send(wire::MessageType type, uint64_t pts, ByteView payload, PacketWriter::Kind kind) {
    const MutexLock held(lock_);
    if (!writer_) return false;
    Bytes packet = kind == PacketWriter::Kind::video ? writer_->takeSpareBuffer() : Bytes();
    wire::encodeMessage(packet, type, pts, payload);
    return writer_->enqueue(std::move(packet), kind);
}

bool Link::hasRoomForVideo() {
    const MutexLock held(lock_);
    return writer_ && writer_->hasRoomForVideo() &&
           backlog_.allowsFrame(platform_.sockets().sendProgress(fd_));
}

std::optional<double> Link::speed() const {
    const MutexLock held(lock_);
    return backlog_.speed();
}

void Link::countRefusal() {
    const MutexLock held(lock_);
    if (writer_) writer_->countRefusal();
}

int64_t Link::dropped() const {
    const MutexLock held(lock_);
    return writer_ ? writer_->dropped() : 0;
}

void Link::startReader(std::function<void(const MessageReader::Message&)> onMessage,
                       std::function<void()> onEnd) {
    readerQueue_ = platform_.threads().makeSerialQueue(".reader", Priority::userInteractive);
    readerQueue_->async([this, &sockets = platform_.sockets(), fd = fd_, onMessage = std::move(onMessage),
                         onEnd = std::move(onEnd)] {
        MessageReader reader(sockets, fd);
        try {
            for (;;) onMessage(reader.next());
        } catch (const USBLinkError&) {
            ended_ = true;
            onEnd();
        }
    });
}

void Link::close() {
    if (socket_.get() < 0) return;
    std::unique_ptr<PacketWriter> writer;
    {
        const MutexLock held(lock_);
        writer = std::move(writer_);
    }
    writer->close();
    platform_.sockets().shutdown(fd_);
    readerQueue_.reset();
    writer.reset();
    socket_ = OwnedDescriptor();
}

}  // namespace quillon
