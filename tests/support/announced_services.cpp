#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>
#include <avahi-common/strlst.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>

#include "tests/support/avahi_daemon.hpp"

namespace quillon::testing {

namespace {

constexpr const char* kType = "_paravane._tcp";
constexpr auto kLimit = std::chrono::seconds(20);

class Announcement : public AnnouncedServices {
  public:
    Announcement() : poll_(avahi_simple_poll_new()) {}
    ~Announcement() override {
        if (client_ != nullptr) avahi_client_free(client_);  // and its group
        avahi_simple_poll_free(poll_);
    }

    bool establish(const std::vector<ServiceDescription>& services) {
        int error = 0;
        client_ = avahi_client_new(
            avahi_simple_poll_get(poll_), {}, [](AvahiClient*, AvahiClientState, void*) {}, nullptr, &error);
        if (client_ == nullptr) return false;
        group_ = avahi_entry_group_new(
            client_,
            [](AvahiEntryGroup*, AvahiEntryGroupState state, void* self) {
                static_cast<Announcement*>(self)->state_ = state;
            },
            this);
        if (group_ == nullptr) return false;
        const bool added = std::ranges::all_of(services, [this](const auto& each) { return add(each); });
        return added && avahi_entry_group_commit(group_) == AVAHI_OK && untilEstablished();
    }

  private:
    bool add(const ServiceDescription& service) {
        const char* const host = service.host.empty() ? nullptr : service.host.c_str();
        for (const std::string& text : service.addresses) {
            AvahiAddress address;
            avahi_address_parse(text.c_str(), AVAHI_PROTO_UNSPEC, &address);
            if (avahi_entry_group_add_address(group_, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET,
                                              AVAHI_PUBLISH_NO_REVERSE, host, &address) != AVAHI_OK)
                return false;
        }
        AvahiStringList* list = nullptr;  // in the reverse order of the record
        for (const std::string& entry : service.txt) {
            list = avahi_string_list_add_arbitrary(list, reinterpret_cast<const uint8_t*>(entry.data()),
                                                   entry.size());
        }
        const int result = avahi_entry_group_add_service_strlst(group_, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, {},
                                                                service.name.c_str(), kType, nullptr, host,
                                                                service.port, list);
        avahi_string_list_free(list);
        return result == AVAHI_OK;
    }

    bool untilEstablished() {
        const auto deadline = std::chrono::steady_clock::now() + kLimit;
        while (state_ != AVAHI_ENTRY_GROUP_ESTABLISHED && std::chrono::steady_clock::now() < deadline) {
            if (avahi_simple_poll_iterate(poll_, 100) != 0) return false;
        }
        return state_ == AVAHI_ENTRY_GROUP_ESTABLISHED;
    }

    AvahiSimplePoll* const poll_;
    AvahiClient* client_ = nullptr;
    AvahiEntryGroup* group_ = nullptr;
    AvahiEntryGroupState state_ = AVAHI_ENTRY_GROUP_UNCOMMITED;
};

}  // namespace

std::unique_ptr<AnnouncedServices> AnnouncedServices::announce(
    const std::vector<ServiceDescription>& services) {
    auto announcement = std::make_unique<Announcement>();
    if (!announcement->establish(services)) return nullptr;
    return announcement;
}

bool AnnouncedServices::hasNoAddress(const std::string& host) {
    using Poll = std::unique_ptr<AvahiSimplePoll, decltype(&avahi_simple_poll_free)>;
    using Client = std::unique_ptr<AvahiClient, decltype(&avahi_client_free)>;
    const Poll poll(avahi_simple_poll_new(), avahi_simple_poll_free);
    const Client client(avahi_client_new(
                            avahi_simple_poll_get(poll.get()), {},
                            [](AvahiClient*, AvahiClientState, void*) {}, nullptr, nullptr),
                        avahi_client_free);
    if (!client) return false;
    std::optional<AvahiBrowserEvent> answer;
    // Goes with its client.
    avahi_record_browser_new(
        client.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, host.c_str(), AVAHI_DNS_CLASS_IN, AVAHI_DNS_TYPE_A,
        {},
        [](AvahiRecordBrowser*, AvahiIfIndex, AvahiProtocol, AvahiBrowserEvent event, const char*, uint16_t,
           uint16_t, const void*, size_t, AvahiLookupResultFlags, void* heard) {
            if (event != AVAHI_BROWSER_CACHE_EXHAUSTED)
                *static_cast<std::optional<AvahiBrowserEvent>*>(heard) = event;
        },
        &answer);
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    while (!answer && std::chrono::steady_clock::now() < deadline) {
        if (avahi_simple_poll_iterate(poll.get(), 100) != 0) return false;
    }
    return answer == AVAHI_BROWSER_ALL_FOR_NOW;
}

}  // namespace quillon::testing
