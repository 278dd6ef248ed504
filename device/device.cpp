#include "device/device.hpp"

#include "base/text.hpp"
#include "device/artwork.hpp"
#include "device/counter_barcode.hpp"
#include "device/rgb_picture.hpp"
#include "device/say.hpp"
#include "device/stream_receiver.hpp"

namespace quillon::device {
namespace {

/// Where hosts look for the app on a cabled device.
constexpr uint16_t kAppPort = 5555;

}  // namespace

Device::Device(const Options& options, Shown shown)
    : options_(options),
      shown_(shown),
      recording_(options.recordFile),
      messageLog_(options.messageLog),
      counterLog_(options.counterLog) {
    screen_.change([&](ScreenState& state) { state.panel = options.panel; });
}

Device::~Device() {
    stop();
}

void Device::start() {
    if (options_.tcp) {
        const auto buffer = options_.faults.readsLate() ? LinkServer::ReceiveBuffer::small
                                                        : LinkServer::ReceiveBuffer::automatic;
        port_ = server_.listen(options_.bind, options_.port, buffer);
        say("listening on %s:%u", options_.bind.c_str(), unsigned{port_});
        if (options_.announcedName)
            announcement_.emplace(
                Announcement::Service{*options_.announcedName, port_, options_.announcedModel});
    }
    if (options_.muxSocket) startMux(*options_.muxSocket);
    linkThread_ = std::thread([this] { serve(); });
}

void Device::startMux(const std::string& socket) {
    const uint16_t port = options_.port != 0 ? options_.port : kAppPort;
    UsbmuxServer::Device cabled;
    cabled.udid = options_.udid;
    cabled.apps[port] = [this](int host) { offer(Descriptor(host)); };
    mux_.emplace(socket);
    mux_->addDevice(std::move(cabled));
    say("behind USBMUXD_SOCKET_ADDRESS=UNIX:%s as %s, port %u", socket.c_str(), options_.udid.c_str(),
        unsigned{port});
}

void Device::stop() {
    announcement_.reset();
    server_.stop();
    mux_.reset();
    if (linkThread_.joinable()) linkThread_.join();
}

void Device::serve() {
    while (auto host = server_.accept()) serveHost(std::move(*host));
}

void Device::serveHost(LinkServer::Host host) {
    const std::string name = host.name;
    say("host %s connected", name.c_str());
    const auto link = std::make_shared<HostLink>(
        std::move(host.descriptor), options_.greetingLine(screen_.state().panel), options_, statistics_,
        [this](uint8_t action, Point inPicture) { touch(action, inPicture); });
    statistics_.linkAccepted(link->accepted());
    screen_.change([&](ScreenState& state) {
        state.link = link;
        state.pointer = {};
    });

    const auto frames =
        options_.decodes ? StreamReceiver::Frames::decoded : StreamReceiver::Frames::undecoded;
    StreamReceiver receiver(link, frames, screen_, statistics_, recording_, messageLog_,
                            [this](const auto& frame) {
                                if (shown_ == Shown::whenDecoded) frameShown(*frame);
                            });
    const std::string reason =
        link->run(server_.stopDescriptor(), [&](Message& message) { receiver.take(message); });

    screen_.change([](ScreenState& state) { state.link.reset(); });  // the last picture stays
    const Statistics::LinkCounts counts = statistics_.linkCounts();
    const double seconds = std::chrono::duration<double>(Clock::now() - link->accepted()).count();
    say("host %s left after %.1f s (%s): %llu frames shown, %llu decode errors, %llu without their reference",
        name.c_str(), seconds, reason.c_str(), static_cast<unsigned long long>(counts.shown),
        static_cast<unsigned long long>(counts.decodeErrors),
        static_cast<unsigned long long>(counts.missingReferences));
}

void Device::touch(uint8_t action, Point inPicture) {
    const ScreenState state = screen_.state();
    const PictureLayout layout = layoutOf(state, options_.mirroredDisplay);
    const MutexLock lock(fingerLock_);
    const auto input = finger_.touch(action, inPicture, layout);
    // Within the lock: touches arrive in their order.
    if (input && state.link) state.link->send(wire::MessageType::input, 0, wire::inputPayload(*input));
}

bool Device::isTouched() const {
    const MutexLock lock(fingerLock_);
    return finger_.isDown();
}

void Device::frameShown(const Frame& frame) {
    statistics_.shown(frame.times, Clock::now());
    if (!options_.faults.noAck) frame.link->send(wire::MessageType::acknowledgement, frame.times.pts, {});
    if (counterLog_.isOpen()) logCounter(frame);
}

void Device::logCounter(const Frame& frame) {
    const DecodedPicture& picture = *frame.picture;
    const auto counter =
        barcode::read({picture.plane(0), picture.stride(0), picture.size().width, picture.size().height},
                      options_.counterScale);
    counterLog_.write(formatted("%llu %lld %lld %s\n", static_cast<unsigned long long>(frame.times.pts),
                                static_cast<long long>(nanosecondsOf(frame.times.arrival)),
                                static_cast<long long>(nanosecondsOf(frame.times.decoded)),
                                counter ? std::to_string(*counter).c_str() : "-"));
}

void Device::writeResults() const {
    if (options_.summaryFile) {
        const Size panel = screen_.state().panel;
        const std::string greeting = repairedUtf8(viewOf(options_.greetingLine(panel)));
        OutputFile(options_.summaryFile).write(statistics_.summary(greeting, panel));
        say("summary written to %s", options_.summaryFile->c_str());
    }
    if (options_.snapshotFile) writeSnapshot();
}

void Device::writeSnapshot() const {
    const ScreenState state = screen_.state();
    if (!state.frame) throw std::runtime_error("no picture came, so there is no snapshot to write");
    RgbPicture picture = toRgb(*state.frame->picture);
    if (options_.snapshotPointer && state.pointer.visible) {
        const Point at =
            layoutOf(state, options_.mirroredDisplay).pictureAt({state.pointer.x, state.pointer.y});
        blend(picture, drawPointer(pointerHeight(picture.size.height)),
              static_cast<int>(at.x * picture.size.width), static_cast<int>(at.y * picture.size.height));
    }
    writePng(picture, *options_.snapshotFile);
    say("picture written to %s", options_.snapshotFile->c_str());
}

}  // namespace quillon::device
