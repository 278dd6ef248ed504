#include "session/link_connector.hpp"

#include "base/log.hpp"

namespace quillon {

namespace {
constexpr int kMostAttempts = 10;
constexpr Duration kBetweenAttempts = 600ms;
constexpr Duration kConnectLimit = 4s;
constexpr Duration kDiscoveryLimit = 3s;
}  // namespace

std::string tcpLinkDescription(const std::string& host) {
    return (isLinkLocal(host) ? "USB link (" : "Wi-Fi (") + host + ")";
}

LinkConnector::LinkConnector(Platform& platform)
    : platform_(platform),
      usbLink_(platform.threads(), platform.sockets(), platform.usbMux()),
      discovery_(platform.mainLoop(), platform.serviceBrowser()) {}

Task<std::optional<Connection>> LinkConnector::connectWithRetry(std::shared_ptr<LinkConnector> self,
                                                                SessionConfig config) {
    RunLoop& loop = self->platform_.mainLoop();
    Threads& threads = self->platform_.threads();
    struct Interest {
        std::shared_ptr<std::atomic<bool>> lasts = std::make_shared<std::atomic<bool>>(true);
        ~Interest() { *lasts = false; }
    } const interest;
    for (int attempt = 1;; ++attempt) {
        auto work = inBackground(loop, threads, [self, config, wanted = interest.lasts] {
            return self->connectOnce(config, *wanted);
        });
        auto connection = co_await work;
        if (connection || attempt == kMostAttempts) co_return connection;
        co_await loop.sleep(kBetweenAttempts);
    }
}

std::optional<Connection> LinkConnector::connectOnce(const SessionConfig& config,
                                                     const std::atomic<bool>& wanted) {
    if (config.tcpHost) return connectTCP(*config.tcpHost, config.tcpPort);

    const bool mayUseUSB = config.transport != Transport::wifi;
    const bool mayUseWiFi = config.transport != Transport::usb;
    if (mayUseUSB) {
        if (const auto udid = usbDevice(config)) {
            if (auto connection = connectUSB(*udid, config.port)) return connection;
        }
    }
    std::optional<std::string> host = config.targetHost;
    if (!host && config.wifiHost && !config.wifiHost->empty()) host = config.wifiHost;
    if (mayUseWiFi && host && wanted) {
        if (auto connection = connectTCP(*host, config.port)) return connection;
    }
    if (config.targetUDID || config.targetHost || !mayUseWiFi || !wanted) return std::nullopt;
    const auto endpoint = discovery_.discover(kDiscoveryLimit);
    if (!endpoint || !wanted) return std::nullopt;
    return connectTCP(endpoint->host, endpoint->port);
}

std::optional<std::string> LinkConnector::usbDevice(const SessionConfig& config) {
    if (config.targetUDID) return config.targetUDID;
    if (!config.udid.empty()) return config.udid;
    return usbLink_.soleCabledUDID();
}

std::optional<std::string> LinkConnector::cabledDevice(const SessionConfig& config) {
    const auto chosen = config.targetUDID ? *config.targetUDID : config.udid;
    if (!chosen.empty() && usbLink_.devicePresent(chosen)) return chosen;
    return usbLink_.soleCabledUDID();
}

std::optional<Connection> LinkConnector::connectUSB(const std::string& udid, uint16_t port) {
    const auto greeted = usbLink_.connect(udid, port, kConnectLimit);
    if (!greeted) return std::nullopt;
    return Connection{OwnedDescriptor(platform_.sockets(), greeted->descriptor), "USB", udid,
                      greeted->greeting};
}

std::optional<Connection> LinkConnector::connectTCP(const std::string& host, uint16_t port) {
    const auto greeted = usbLink_.connectTCP(host, port, kConnectLimit);
    if (!greeted) return std::nullopt;
    return Connection{OwnedDescriptor(platform_.sockets(), greeted->descriptor),
                      tcpLinkDescription(host),
                      {},
                      greeted->greeting};
}

}  // namespace quillon
