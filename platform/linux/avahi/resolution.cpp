#include "platform/linux/avahi/resolution.hpp"

#include <arpa/inet.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>

#include <algorithm>
#include <cctype>

namespace quillon::avahi {

namespace {

/// The addresses of one host come in one answer, or in one for each of its interfaces: so long after the
/// last the next one is still waited for.
constexpr Clock::duration kSettling = std::chrono::milliseconds(50);
/// More addresses than any host has.
constexpr size_t kMostAddresses = 64;

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

}  // namespace

Resolution::Resolution(AvahiClient* client, const std::string& name, const std::string& type,
                       const std::string& domain, Clock::duration limit)
    : client_(client), due_(Clock::now() + limit) {
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
    addresses_.reset(avahi_record_browser_new(client_, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, host,
                                              AVAHI_DNS_CLASS_IN, AVAHI_DNS_TYPE_A, AvahiLookupFlags{},
                                              onRecord, this));
    if (!addresses_) end();
}

void Resolution::onRecord(AvahiRecordBrowser*, AvahiIfIndex, AvahiProtocol, AvahiBrowserEvent event,
                          const char*, uint16_t, uint16_t, const void* data, size_t size,
                          AvahiLookupResultFlags, void* self) {
    auto* const resolution = static_cast<Resolution*>(self);
    switch (event) {
        case AVAHI_BROWSER_NEW:
            resolution->takeAddress(data, size);
            break;
        case AVAHI_BROWSER_ALL_FOR_NOW:
        case AVAHI_BROWSER_FAILURE:
            resolution->end();
            break;
        default:
            break;
    }
}

void Resolution::takeAddress(const void* data, size_t size) {
    if (size != sizeof(in_addr) || service_.addresses.size() == kMostAddresses) return;
    char text[INET_ADDRSTRLEN];
    const std::string host = inet_ntop(AF_INET, data, text, sizeof text);
    const bool isKnown =
        std::ranges::any_of(service_.addresses, [&](const auto& each) { return each.host == host; });
    if (isKnown) return;  // on another interface
    service_.addresses.push_back({AF_INET, host});
    due_ = std::min(due_, Clock::now() + kSettling);
}

void Resolution::fail() {
    failure_ = avahi_strerror(avahi_client_errno(client_));
    end();
}

}  // namespace quillon::avahi
