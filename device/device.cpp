#include "device/device.hpp"

#include "base/text.hpp"
#include "device/counter_barcode.hpp"
#include "device/rgb_picture.hpp"
#include "device/say.hpp"
#include "device/stream_receiver.hpp"

namespace quillon::device {

Device::Device(const Options& options, Shown shown)
    : options_(options),
      shown_(shown),
      recording_(options.recordFile),
      messageLog_(options.messageLog),
      counterLog_(options.counterLog) {}

Device::~Device() {
    stop();
}

void Device::start() {
    if (options_.tcp) {
        const auto buffer = options_.faults.readsLate() ? LinkServer::ReceiveBuffer::small
                                                        : LinkServer::ReceiveBuffer::automatic;
        const uint16_t port = server_.listen(options_.bind, options_.port, buffer);
        say("listening on %s:%u", options_.bind.c_str(), unsigned{port});
    }
    linkThread_ = std::thread([this] { serve(); });
}

void Device::stop() {
    server_.stop();
    if (linkThread_.joinable()) linkThread_.join();
}

void Device::serve() {
    while (auto host = server_.accept()) serveHost(std::move(*host));
}

void Device::serveHost(LinkServer::Host host) {
    const std::string name = host.name;
    say("host %s connected", name.c_str());
    const auto link = std::make_shared<HostLink>(std::move(host.descriptor), options_, statistics_);
    statistics_.linkAccepted(link->accepted());
    screen_.change([&](ScreenState& state) { state.link = link; });

    StreamReceiver receiver(link, screen_, statistics_, recording_, messageLog_, [this](const auto& frame) {
        if (shown_ == Shown::whenDecoded) frameShown(*frame);
    });
    const std::string reason =
        link->run(server_.stopDescriptor(), [&](Message& message) { receiver.take(message); });

    // The last picture stays on the screen, the pointer does not.
    screen_.change([](ScreenState& state) {
        state.link.reset();
        state.pointer = {};
    });
    const Statistics::LinkCounts counts = statistics_.linkCounts();
    const double seconds = std::chrono::duration<double>(Clock::now() - link->accepted()).count();
    say("host %s left after %.1f s (%s): %llu frames shown, %llu decode errors, %llu without their reference",
        name.c_str(), seconds, reason.c_str(), static_cast<unsigned long long>(counts.shown),
        static_cast<unsigned long long>(counts.decodeErrors),
        static_cast<unsigned long long>(counts.missingReferences));
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
        OutputFile(options_.summaryFile)
            .write(statistics_.summary(repairedUtf8(viewOf(options_.greetingLine())), options_.panel));
        say("summary written to %s", options_.summaryFile->c_str());
    }
    const ScreenState state = screen_.state();
    if (options_.snapshotFile) {
        if (!state.frame) throw std::runtime_error("no picture came, so there is no snapshot to write");
        writePng(toRgb(*state.frame->picture), *options_.snapshotFile);
        say("picture written to %s", options_.snapshotFile->c_str());
    }
}

}  // namespace quillon::device
