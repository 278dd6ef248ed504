#pragma once

#include <string>

#include "platform/linux/avahi/handles.hpp"
#include "platform/service_browser.hpp"

namespace quillon::avahi {

inline constexpr const char* kTimedOut = "timed out";

/// One service on its way from its name to everything known about it. A resolver gives host, port and TXT;
/// browsers for the host's A and AAAA records all its addresses, where a resolver alone would give any one.
/// It ends soon after the last address when there is one of IPv4, the only ones that are connected to;
/// otherwise at its deadline. On the search's thread.
class Resolution {
  public:
    Resolution(AvahiClient* client, const std::string& name, const std::string& type,
               const std::string& domain, Clock::time_point deadline);
    Resolution(const Resolution&) = delete;
    Resolution& operator=(const Resolution&) = delete;

    const std::string& name() const { return service_.name; }
    Clock::time_point begun() const { return begun_; }

    /// When `hasEnded` is worth asking even though nothing happened.
    Clock::time_point due() const { return due_; }
    bool hasEnded(Clock::time_point now) const { return now >= due_; }

    /// What came of it, once it has ended: the service, or why there is none.
    const ServiceBrowser::Service* service() const { return isLocated_ ? &service_ : nullptr; }
    const std::string& failure() const { return failure_; }

  private:
    static void onResolver(AvahiServiceResolver*, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent event,
                           const char* name, const char* type, const char* domain, const char* host,
                           const AvahiAddress*, uint16_t port, AvahiStringList* txt, AvahiLookupResultFlags,
                           void* self);
    static void onRecord(AvahiRecordBrowser*, AvahiIfIndex interface, AvahiProtocol, AvahiBrowserEvent event,
                         const char* name, uint16_t recordClass, uint16_t type, const void* data, size_t size,
                         AvahiLookupResultFlags, void* self);
    void located(const char* host, uint16_t port, AvahiStringList* txt);
    RecordBrowser recordsOf(const char* host, uint16_t type);
    void takeAddress(const ServiceBrowser::Address& address);
    void end() { due_ = {}; }
    void fail();

    AvahiClient* const client_;
    const Clock::time_point begun_ = Clock::now();
    const Clock::time_point deadline_;
    ServiceBrowser::Service service_;
    bool isLocated_ = false;
    std::string failure_ = kTimedOut;
    Clock::time_point due_;
    Resolver resolver_;
    RecordBrowser ipv4_;
    RecordBrowser ipv6_;
};

}  // namespace quillon::avahi
