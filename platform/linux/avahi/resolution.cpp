#include "platform/linux/avahi/resolution.hpp"

#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace quillon::avahi {

namespace {

/// The addresses of one host come in one answer, or in one for each of its interfaces: so long after the
/// last the next one is still waited for.
constexpr Clock::duration kSettling = std::chrono::milliseconds(50);
/// More addresses of one family than any host has.
constexpr ptrdiff_t kMostAddresses = 64;

using Text = std::unique_ptr<char, Releaser<avahi_free>>;

/// Keys count without regard to case, and of several equal ones the first.
std::map<std::string, Bytes> entriesOf(AvahiStringList* txt) {
    std::map<std::string, Bytes> entries;
    for (; txt != nullptr; txt = avahi_string_list_get_next(txt)) {
        char* rawKey = nullptr;
        char* rawValue = nullptr;
        size_t size = 0;
        if (avahi_string_list_get_pair(txt, &rawKey, &rawValue, &size) != 0) continue;
        const Text keyText(rawKey);
        const Text value(rawValue);
        std::string key(keyText.get());
        std::ranges::transform(key, key.begin(),
                               [](unsigned char each) { return static_cast<char>(std::tolower(each)); });
        entries.emplace(std::move(key), value ? Bytes(value.get(), value.get() + size) : Bytes());
    }
    return entries;
}

std::string numericHost(const void* address, socklen_t size) {
    char host[NI_MAXHOST];
    const int failure = getnameinfo(static_cast<const sockaddr*>(address), size, host, sizeof host, nullptr,
                                    0, NI_NUMERICHOST);
    return failure == 0 ? host : "";
}

/// The address in an A or AAAA record; an empty host when the record holds none. A link-local one of IPv6 is
/// one on an interface.
ServiceBrowser::Address addressIn(uint16_t type, const void* data, size_t size, AvahiIfIndex interface) {
    if (type == AVAHI_DNS_TYPE_A && size == sizeof(in_addr)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        std::memcpy(&address.sin_addr, data, size);
        return {AF_INET, numericHost(&address, sizeof address)};
    }
    if (type == AVAHI_DNS_TYPE_AAAA && size == sizeof(in6_addr)) {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        std::memcpy(&address.sin6_addr, data, size);
        if (IN6_IS_ADDR_LINKLOCAL(&address.sin6_addr))
            address.sin6_scope_id = static_cast<uint32_t>(interface);
        return {AF_INET6, numericHost(&address, sizeof address)};
    }
    return {};
}

}  // namespace

Resolution::Resolution(AvahiClient* client, const std::string& name, const std::string& type,
                       const std::string& domain, Clock::time_point deadline)
    : client_(client), deadline_(deadline), due_(deadline) {
    service_.name = name;
    resolver_.reset(avahi_service_resolver_new(client, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, name.c_str(),
                                               type.c_str(), domain.c_str(), AVAHI_PROTO_UNSPEC,
                                               AVAHI_LOOKUP_NO_ADDRESS, onResolver, this));
    if (!resolver_) fail();
}

void Resolution::onResolver(AvahiServiceResolver*, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent event,
                            const char*, const char*, const char*, const char* host, const AvahiAddress*,
                            uint16_t port, AvahiStringList* txt, AvahiLookupResultFlags, void* self) {
    auto* const resolution = static_cast<Resolution*>(self);
    if (resolution->isLocated_) return;
    if (event == AVAHI_RESOLVER_FOUND && host != nullptr) {
        resolution->located(host, port, txt);
    } else {
        resolution->fail();
    }
}

void Resolution::located(const char* host, uint16_t port, AvahiStringList* txt) {
    isLocated_ = true;
    service_.port = port;
    service_.txt = entriesOf(txt);
    ipv6_ = recordsOf(host, AVAHI_DNS_TYPE_AAAA);
    ipv4_ = recordsOf(host, AVAHI_DNS_TYPE_A);
    if (!ipv4_) end();
}

RecordBrowser Resolution::recordsOf(const char* host, uint16_t type) {
    return RecordBrowser(avahi_record_browser_new(client_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, host,
                                                  AVAHI_DNS_CLASS_IN, type, AvahiLookupFlags{}, onRecord,
                                                  this));
}

// That the daemon has told all for now ends nothing: the host may answer later.
void Resolution::onRecord(AvahiRecordBrowser*, AvahiIfIndex interface, AvahiProtocol, AvahiBrowserEvent event,
                          const char*, uint16_t, uint16_t type, const void* data, size_t size,
                          AvahiLookupResultFlags, void* self) {
    auto* const resolution = static_cast<Resolution*>(self);
    if (event == AVAHI_BROWSER_NEW) {
        resolution->takeAddress(addressIn(type, data, size, interface));
    } else if (event == AVAHI_BROWSER_FAILURE && type == AVAHI_DNS_TYPE_A) {
        resolution->end();
    }
}

void Resolution::takeAddress(const ServiceBrowser::Address& address) {
    auto& known = service_.addresses;
    if (address.host.empty() || std::ranges::count(known, address.host, &ServiceBrowser::Address::host) != 0)
        return;  // on another interface
    if (std::ranges::count(known, address.family, &ServiceBrowser::Address::family) == kMostAddresses) return;
    known.push_back(address);
    if (std::ranges::count(known, AF_INET, &ServiceBrowser::Address::family) != 0)
        due_ = std::min(deadline_, Clock::now() + kSettling);
}

void Resolution::fail() {
    failure_ = avahi_strerror(avahi_client_errno(client_));
    end();
}

}  // namespace quillon::avahi
