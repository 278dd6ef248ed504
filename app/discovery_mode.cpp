#include "app/discovery_mode.hpp"

#include <cstdio>
#include <string>

#include "base/text.hpp"

namespace quillon {

namespace {

constexpr Duration kSearchTime = 5s;

std::string description(const WiFiDiscovery::Endpoint& endpoint) {
    std::string text = endpoint.host + " " + std::to_string(endpoint.port) + " " + onOneLine(endpoint.name);
    if (endpoint.model) text += " " + onOneLine(*endpoint.model);
    return text;
}

}  // namespace

void printAllEndpoints(WiFiDiscovery& discovery) {
    const auto endpoints = discovery.discoverAll(kSearchTime);
    std::string line = "[discover-all] " + std::to_string(endpoints.size()) + ": ";
    for (const auto& endpoint : endpoints) {
        if (&endpoint != &endpoints.front()) line += ", ";
        line += description(endpoint);
    }
    std::puts(line.c_str());
}

void printFirstEndpoint(WiFiDiscovery& discovery) {
    std::puts("[discover] browsing for _paravane._tcp. for 5s");
    if (const auto endpoint = discovery.discover(kSearchTime)) {
        std::printf("[discover] FOUND %s at %s:%u\n", onOneLine(endpoint->name).c_str(),
                    endpoint->host.c_str(), unsigned{endpoint->port});
    } else {
        std::puts("[discover] nothing found");
    }
}

}  // namespace quillon
