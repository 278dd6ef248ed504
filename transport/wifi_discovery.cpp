#include "transport/wifi_discovery.hpp"

#include <sys/socket.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <utility>

#include "base/log.hpp"
#include "base/text.hpp"

namespace quillon {
namespace {

constexpr const char* kServiceType = "_paravane._tcp.";
constexpr const char* kDomain = "local.";
/// How long one service may take to resolve.
constexpr Duration kResolveLimit = 4s;
/// How soon after the first result a search for one endpoint ends.
constexpr Duration kSlice = 100ms;

/// The model in a TXT record; not UTF-8, or empty, is none.
std::optional<std::string> modelIn(const ServiceBrowser::Service& service) {
    const auto entry = service.txt.find("model");
    if (entry == service.txt.end() || entry->second.empty()) return std::nullopt;
    std::string model(entry->second.begin(), entry->second.end());
    if (repairedUtf8(entry->second) != model) return std::nullopt;
    return model;
}

}  // namespace

bool isLinkLocal(std::string_view host) {
    return host.starts_with("169.254.");
}

/// One search. Belongs to the thread that runs it, and so do the browser's callbacks.
class WiFiDiscovery::Finder {
  public:
    Finder(RunLoop& clock, ServiceBrowser& browser) : clock_(clock), browser_(browser) {}

    std::optional<Endpoint> run(Duration timeout) {
        search(timeout, [this] { return result_.has_value(); });
        return std::move(result_);
    }
    std::vector<Endpoint> runAll(Duration timeout) {
        search(timeout, [] { return false; });
        return std::move(found_);
    }

  private:
    void search(Duration timeout, const std::function<bool()>& isEnough);
    void onFound(const std::string& name);
    void onResolved(const ServiceBrowser::Service& service);
    std::optional<std::string> ipv4Address(const ServiceBrowser::Service& service);
    std::vector<std::string> localPrefixes();

    RunLoop& clock_;
    ServiceBrowser& browser_;
    std::unique_ptr<ServiceBrowser::Search> search_;
    std::optional<Endpoint> result_;
    std::vector<Endpoint> found_;
};

std::optional<WiFiDiscovery::Endpoint> WiFiDiscovery::discover(Duration timeout) {
    return Finder(clock_, browser_).run(timeout);
}

std::vector<WiFiDiscovery::Endpoint> WiFiDiscovery::discoverAll(Duration timeout) {
    return Finder(clock_, browser_).runAll(timeout);
}

void WiFiDiscovery::Finder::search(Duration timeout, const std::function<bool()>& isEnough) {
    ServiceBrowser::Callbacks callbacks;
    callbacks.onFound = [this](const std::string& name) { onFound(name); };
    callbacks.onResolved = [this](const ServiceBrowser::Service& service) { onResolved(service); };
    callbacks.onNotResolved = [](const std::string& name, const std::string& error) {
        Log::write("discover: didNotResolve " + onOneLine(name) + ": " + error);
    };
    callbacks.onNotSearching = [](const std::string& error) {
        Log::write("discover: didNotSearch " + error);
    };
    const Instant deadline = clock_.now() + timeout;
    search_ = browser_.search(kServiceType, kDomain, std::move(callbacks));
    while (!isEnough() && clock_.now() < deadline) search_->run(kSlice);
    search_.reset();
}

void WiFiDiscovery::Finder::onFound(const std::string& name) {
    Log::write("discover: didFind " + onOneLine(name));
    Log::write("discover: will resolve " + onOneLine(name));
    search_->resolve(name, kResolveLimit);
}

void WiFiDiscovery::Finder::onResolved(const ServiceBrowser::Service& service) {
    Log::write("discover: resolved " + onOneLine(service.name) + " port=" + std::to_string(service.port) +
               " addrs=" + std::to_string(service.addresses.size()));
    for (const auto& address : service.addresses) {
        Log::write("   addr family=" + std::to_string(address.family) + " " + address.host);
    }
    const auto host = ipv4Address(service);
    if (!host || service.port < 1 || service.port > std::numeric_limits<uint16_t>::max()) return;

    const Endpoint endpoint{*host, static_cast<uint16_t>(service.port), service.name, modelIn(service)};
    const bool isKnown = std::any_of(found_.begin(), found_.end(), [&](const Endpoint& each) {
        return each.name == endpoint.name && each.host == endpoint.host;
    });
    if (!isKnown) found_.push_back(endpoint);
    if (!result_) result_ = endpoint;
    Log::write("discovered " + onOneLine(endpoint.name) + " at " + endpoint.host + ":" +
               std::to_string(endpoint.port));
}

/// The address that this machine most likely reaches: in a network of its own, else the first that is
/// not link-local, else the first.
std::optional<std::string> WiFiDiscovery::Finder::ipv4Address(const ServiceBrowser::Service& service) {
    std::vector<std::string> hosts;
    std::optional<std::string> linkLocal;
    for (const auto& address : service.addresses) {
        if (address.family != AF_INET) continue;
        if (!isLinkLocal(address.host)) {
            hosts.push_back(address.host);
        } else if (!linkLocal) {
            linkLocal = address.host;
        }
    }
    const auto prefixes = localPrefixes();
    for (const auto& host : hosts) {
        for (const auto& prefix : prefixes) {
            if (host.starts_with(prefix + ".")) return host;
        }
    }
    return hosts.empty() ? linkLocal : hosts.front();
}

/// The first three numbers of this machine's addresses, for example "192.168.1".
std::vector<std::string> WiFiDiscovery::Finder::localPrefixes() {
    std::vector<std::string> prefixes;
    for (const auto& address : browser_.interfaceAddresses()) {
        if (isLinkLocal(address) || address.starts_with("127.")) continue;
        prefixes.push_back(address.substr(0, address.rfind('.')));
    }
    return prefixes;
}

}  // namespace quillon
