#include "device/announcement.hpp"

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/simple-watch.h>
#include <avahi-common/strlst.h>

#include <memory>
#include <utility>

#include "base/releaser.hpp"
#include "base/text.hpp"
#include "device/say.hpp"

namespace quillon::device {
namespace {

constexpr const char* kServiceType = "_paravane._tcp";
/// How long after the daemon was found absent, or went away, it is looked for again. Milliseconds.
constexpr int kReconnect = 1000;

}  // namespace

/// One thread's talk with the daemon. Callbacks note what happened; `run` acts on it.
class Announcement::Client {
  public:
    explicit Client(Service service) : service_(std::move(service)), poll_(avahi_simple_poll_new()) {}

    /// Until `end` is readable.
    void run(int end);

  private:
    template <auto release, typename Object>
    using Owned = std::unique_ptr<Object, Releaser<release>>;

    void connect();
    void disconnect(int error);
    void actOnClient(AvahiClientState state);
    void actOnGroup(AvahiEntryGroupState state);
    void announce();
    int addService();
    void takeAnotherName();

    Service service_;
    const Owned<avahi_simple_poll_free, AvahiSimplePoll> poll_;
    Owned<avahi_client_free, AvahiClient> client_;
    Owned<avahi_entry_group_free, AvahiEntryGroup> group_;
    bool hasEnded_ = false;
    bool hasToldAbsence_ = false;
    std::optional<AvahiClientState> clientState_;     ///< new, not yet acted upon
    std::optional<AvahiEntryGroupState> groupState_;  ///< likewise
};

Announcement::Announcement(Service service)
    : thread_([this, service = std::move(service)] { Client(service).run(end_.descriptor()); }) {}

Announcement::~Announcement() {
    end_.signal();
    thread_.join();
}

void Announcement::Client::run(int end) {
    const AvahiPoll* const watches = avahi_simple_poll_get(poll_.get());
    AvahiWatch* const endWatch = watches->watch_new(
        watches, end, AVAHI_WATCH_IN,
        [](AvahiWatch*, int, AvahiWatchEvent, void* self) { static_cast<Client*>(self)->hasEnded_ = true; },
        this);
    while (!hasEnded_) {
        if (!client_) connect();
        if (const auto state = std::exchange(clientState_, std::nullopt)) actOnClient(*state);
        if (const auto state = std::exchange(groupState_, std::nullopt)) actOnGroup(*state);
        const bool hasMore = clientState_ || groupState_;
        avahi_simple_poll_iterate(poll_.get(), hasMore ? 0 : client_ ? -1 : kReconnect);
    }
    watches->watch_free(endWatch);
    group_.reset();  // which withdraws the service
    client_.reset();
}

void Announcement::Client::connect() {
    int error = 0;
    client_.reset(avahi_client_new(
        avahi_simple_poll_get(poll_.get()), AvahiClientFlags{},
        [](AvahiClient*, AvahiClientState state, void* self) {
            static_cast<Client*>(self)->clientState_ = state;
        },
        this, &error));
    if (!client_) disconnect(error);
}

void Announcement::Client::disconnect(int error) {
    group_.reset();
    client_.reset();
    clientState_.reset();
    groupState_.reset();
    if (!std::exchange(hasToldAbsence_, true)) say("not announced on the network: %s", avahi_strerror(error));
}

void Announcement::Client::actOnClient(AvahiClientState state) {
    switch (state) {
        case AVAHI_CLIENT_S_RUNNING:
            announce();
            break;
        case AVAHI_CLIENT_S_REGISTERING:
        case AVAHI_CLIENT_S_COLLISION:
            group_.reset();  // until the daemon knows the machine's name
            break;
        case AVAHI_CLIENT_FAILURE:
            disconnect(avahi_client_errno(client_.get()));
            break;
        case AVAHI_CLIENT_CONNECTING:
            break;
    }
}

void Announcement::Client::actOnGroup(AvahiEntryGroupState state) {
    if (state == AVAHI_ENTRY_GROUP_ESTABLISHED) {
        hasToldAbsence_ = false;
        say("announced on the network as \"%s\", port %u", onOneLine(service_.name).c_str(),
            unsigned{service_.port});
    } else if (state == AVAHI_ENTRY_GROUP_COLLISION) {
        takeAnotherName();
        announce();
    } else if (state == AVAHI_ENTRY_GROUP_FAILURE) {
        disconnect(avahi_client_errno(client_.get()));
    }
}

void Announcement::Client::announce() {
    group_.reset(avahi_entry_group_new(
        client_.get(),
        [](AvahiEntryGroup*, AvahiEntryGroupState state, void* self) {
            static_cast<Client*>(self)->groupState_ = state;
        },
        this));
    int error = group_ ? addService() : avahi_client_errno(client_.get());
    while (error == AVAHI_ERR_COLLISION) {  // with a service of this machine
        takeAnotherName();
        error = addService();
    }
    if (error == AVAHI_OK) error = avahi_entry_group_commit(group_.get());
    if (error != AVAHI_OK) disconnect(error);
}

int Announcement::Client::addService() {
    Owned<avahi_string_list_free, AvahiStringList> txt;
    if (service_.model) {
        const std::string entry = "model=" + *service_.model;
        txt.reset(avahi_string_list_add_arbitrary(nullptr, reinterpret_cast<const uint8_t*>(entry.data()),
                                                  entry.size()));
    }
    return avahi_entry_group_add_service_strlst(group_.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                                AvahiPublishFlags{}, service_.name.c_str(), kServiceType,
                                                nullptr, nullptr, service_.port, txt.get());
}

void Announcement::Client::takeAnotherName() {
    const Owned<avahi_free, char> another(avahi_alternative_service_name(service_.name.c_str()));
    say("another device is called \"%s\"", onOneLine(service_.name).c_str());
    service_.name = another.get();
}

}  // namespace quillon::device
