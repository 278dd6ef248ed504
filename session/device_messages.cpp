#include "session/device_messages.hpp"

#include "base/log.hpp"
#include "base/text.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {

DeviceMessages::DeviceMessages(RunLoop& clock, Instant startTime, std::shared_ptr<Statistics> statistics,
                               std::shared_ptr<SilenceWatchdog> watchdog, std::optional<Size> panel,
                               std::function<void()> onPanelChanged)
    : clock_(clock),
      startTime_(startTime),
      statistics_(std::move(statistics)),
      watchdog_(std::move(watchdog)),
      panel_(panel),
      onPanelChanged_(std::move(onPanelChanged)) {}

void DeviceMessages::handle(const MessageReader::Message& message) {
    switch (static_cast<wire::MessageType>(message.header.type)) {
        case wire::MessageType::acknowledgement:
            watchdog_->noteTraffic();
            acknowledge(message.header.pts);
            break;
        case wire::MessageType::keepAlive:
            watchdog_->noteTraffic();
            break;
        case wire::MessageType::input:
            statistics_->countInput();
            if (const auto injector = this->injector()) injector->handle(message.payload);
            break;
        case wire::MessageType::panelReport:
            panelReported(repairedUtf8(message.payload));
            break;
        default:
            break;  // a newer device may say more than this host knows
    }
}

void DeviceMessages::acknowledge(uint64_t echoed) {
    const Instant now = clock_.now();
    const uint64_t clock = sessionMicroseconds(startTime_, now);
    if (clock <= echoed) return;
    statistics_->addLatency(now, static_cast<double>(clock - echoed) / 1000);
}

void DeviceMessages::panelReported(const std::string& text) {
    Log::write("panel report: " + onOneLine(text));
    const auto panel = wire::panelSize(text);
    if (!panel || panel == panel_) return;
    Log::write("panel changed to " + sizeText(*panel));
    panel_ = panel;
    MutexLock held(lock_);
    const bool isWaiting = std::exchange(waitingPanel_, panel).has_value();
    held.unlock();
    if (!isWaiting) onPanelChanged_();
}

}  // namespace quillon
