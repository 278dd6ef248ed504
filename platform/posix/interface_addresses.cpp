#include "platform/posix/interface_addresses.hpp"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <memory>

namespace quillon {

std::vector<std::string> ipv4InterfaceAddresses() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return {};
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> all(first, freeifaddrs);
    std::vector<std::string> addresses;
    for (const ifaddrs* each = all.get(); each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET) continue;
        const auto* const address = reinterpret_cast<const sockaddr_in*>(each->ifa_addr);
        char text[INET_ADDRSTRLEN];
        addresses.emplace_back(inet_ntop(AF_INET, &address->sin_addr, text, sizeof text));
    }
    return addresses;
}

}  // namespace quillon
