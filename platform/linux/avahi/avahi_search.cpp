#include "platform/linux/avahi/avahi_search.hpp"

#include <avahi-common/error.h>

#include <algorithm>
#include <deque>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/avahi/resolution.hpp"

namespace quillon::avahi {

namespace {

/// How long after the daemon was found absent, or went away, it is looked for again.
constexpr Clock::duration kReconnect = std::chrono::milliseconds(500);
/// Services of one search: more than any home has, and a bound on what a flood of them costs.
constexpr size_t kMostServices = 256;
/// So many are resolved side by side. One that has got no answer for a while makes room for the next, and is
/// still waited for: services that never answer do not hold up those that do.
constexpr ptrdiff_t kAtOnce = 16;
constexpr Clock::duration kAWhile = std::chrono::milliseconds(100);

/// What the daemon reports is only noted in its callbacks; `run` acts on it, so that the browser's user may
/// do anything in a callback.
class AvahiSearch : public ServiceBrowser::Search {
  public:
    AvahiSearch(std::string type, std::string domain, ServiceBrowser::Callbacks callbacks)
        : type_(std::move(type)),
          domain_(std::move(domain)),
          callbacks_(std::move(callbacks)),
          poll_(avahi_simple_poll_new()) {}

    void run(Duration slice) override;
    void resolve(const std::string& name, Duration limit) override;

  private:
    struct Waiting {
        std::string name;
        Clock::time_point deadline;
    };

    void connect(Clock::time_point now);
    void disconnect(int error, Clock::time_point now);
    bool deliver(Clock::time_point now);
    Clock::time_point nextDue(Clock::time_point now) const;
    static bool isFresh(const Resolution& resolution, Clock::time_point now) {
        return now < resolution.begun() + kAWhile;
    }
    bool beginResolution(Clock::time_point now);
    void onService(AvahiBrowserEvent event, const char* name);
    static void onBrowser(AvahiServiceBrowser*, AvahiIfIndex, AvahiProtocol, AvahiBrowserEvent event,
                          const char* name, const char* type, const char* domain, AvahiLookupResultFlags,
                          void* self);
    static void onClient(AvahiClient* client, AvahiClientState state, void* self);

    const std::string type_;
    const std::string domain_;
    const ServiceBrowser::Callbacks callbacks_;

    Poll poll_;
    Client client_;
    Browser browser_;
    std::deque<Waiting> waiting_;  ///< to be resolved, in the order of the requests
    bool isNewestNext_ = false;
    std::list<Resolution> resolutions_;

    Clock::time_point reconnect_{};
    bool hasToldAbsence_ = false;
    int failure_ = 0;                   ///< of the client, not yet acted upon
    std::map<std::string, int> known_;  ///< on how many interfaces a service is
    std::deque<std::string> found_;     ///< not yet told
    size_t foundCount_ = 0;
};

void AvahiSearch::run(Duration slice) {
    const auto end = Clock::now() + slice;
    for (auto now = Clock::now();; now = Clock::now()) {
        if (failure_ != 0) disconnect(std::exchange(failure_, 0), now);
        if (!client_ && now >= reconnect_) connect(now);
        const bool delivered = deliver(now);
        const bool begun = beginResolution(now);
        if (delivered || now >= end) return;
        const auto next = begun ? now : std::min(end, nextDue(now));
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now);
        avahi_simple_poll_iterate(poll_.get(), static_cast<int>(std::max<int64_t>(0, wait.count())));
    }
}

/// The moment at which something happens without the daemon's doing.
Clock::time_point AvahiSearch::nextDue(Clock::time_point now) const {
    auto due = client_ ? Clock::time_point::max() : reconnect_;
    for (const Resolution& each : resolutions_) {
        due = std::min(due, each.due());
        if (!waiting_.empty() && isFresh(each, now)) due = std::min(due, each.begun() + kAWhile);
    }
    return due;
}

/// Begins the next one if it may; each is a question that a slow daemon takes its time for. The oldest and
/// the newest request take turns: neither is what was there before a flood of services hidden by it, nor what
/// comes after.
bool AvahiSearch::beginResolution(Clock::time_point now) {
    const auto fresh = std::ranges::count_if(resolutions_, [now](const auto& e) { return isFresh(e, now); });
    if (!client_ || waiting_.empty() || fresh >= kAtOnce) return false;
    const bool isNewest = std::exchange(isNewestNext_, !isNewestNext_);
    const Waiting next = isNewest ? waiting_.back() : waiting_.front();
    isNewest ? waiting_.pop_back() : waiting_.pop_front();
    resolutions_.emplace_back(client_.get(), next.name, type_, domain_, next.deadline);
    return true;
}

void AvahiSearch::connect(Clock::time_point now) {
    int error = 0;
    client_.reset(
        avahi_client_new(avahi_simple_poll_get(poll_.get()), AvahiClientFlags{}, onClient, this, &error));
    if (client_) {
        browser_.reset(avahi_service_browser_new(client_.get(), AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                                 type_.c_str(), domain_.c_str(), AvahiLookupFlags{},
                                                 onBrowser, this));
        if (!browser_) error = avahi_client_errno(client_.get());
    }
    if (browser_) {
        hasToldAbsence_ = false;
    } else {
        disconnect(error, now);
    }
}

/// The client is of no use any more: it goes, with everything that hung on it.
void AvahiSearch::disconnect(int error, Clock::time_point now) {
    const std::string reason = avahi_strerror(error);
    reconnect_ = now + kReconnect;
    std::vector<std::string> abandoned;
    for (const Resolution& each : resolutions_) abandoned.push_back(each.name());
    for (const Waiting& each : waiting_) abandoned.push_back(each.name);
    resolutions_.clear();
    waiting_.clear();
    browser_.reset();
    client_.reset();
    known_.clear();
    for (const std::string& name : abandoned) callbacks_.onNotResolved(name, reason);
    if (!std::exchange(hasToldAbsence_, true)) callbacks_.onNotSearching(reason);
}

/// Tells what has come in. True when there was something.
bool AvahiSearch::deliver(Clock::time_point now) {
    bool delivered = false;
    for (; !found_.empty(); delivered = true) {
        const std::string name = std::move(found_.front());
        found_.pop_front();
        callbacks_.onFound(name);
    }
    for (; !waiting_.empty() && waiting_.front().deadline <= now; delivered = true) {
        const std::string name = std::move(waiting_.front().name);
        waiting_.pop_front();
        callbacks_.onNotResolved(name, kTimedOut);
    }
    for (auto each = resolutions_.begin(); each != resolutions_.end();) {
        if (!each->hasEnded(now)) {
            ++each;
            continue;
        }
        std::list<Resolution> ended;
        ended.splice(ended.begin(), resolutions_, each++);
        if (const auto* service = ended.front().service()) {
            callbacks_.onResolved(*service);
        } else {
            callbacks_.onNotResolved(ended.front().name(), ended.front().failure());
        }
        delivered = true;
    }
    return delivered;
}

void AvahiSearch::resolve(const std::string& name, Duration limit) {
    if (client_) {
        waiting_.push_back({name, Clock::now() + limit});
    } else {
        callbacks_.onNotResolved(name, avahi_strerror(AVAHI_ERR_DISCONNECTED));
    }
}

/// One service may be reported from several interfaces.
void AvahiSearch::onService(AvahiBrowserEvent event, const char* name) {
    if (event == AVAHI_BROWSER_NEW) {
        const auto known = known_.find(name);
        if (known != known_.end()) {
            ++known->second;
        } else if (foundCount_ < kMostServices) {
            ++foundCount_;
            known_.emplace(name, 1);
            found_.emplace_back(name);
        }
    } else if (event == AVAHI_BROWSER_REMOVE) {
        const auto known = known_.find(name);
        if (known != known_.end() && --known->second == 0) known_.erase(known);
    }
}

void AvahiSearch::onBrowser(AvahiServiceBrowser* browser, AvahiIfIndex, AvahiProtocol,
                            AvahiBrowserEvent event, const char* name, const char*, const char*,
                            AvahiLookupResultFlags, void* self) {
    auto* const search = static_cast<AvahiSearch*>(self);
    if (event == AVAHI_BROWSER_FAILURE) {
        search->failure_ = avahi_client_errno(avahi_service_browser_get_client(browser));
    } else if (name != nullptr) {
        search->onService(event, name);
    }
}

void AvahiSearch::onClient(AvahiClient* client, AvahiClientState state, void* self) {
    if (state == AVAHI_CLIENT_FAILURE) static_cast<AvahiSearch*>(self)->failure_ = avahi_client_errno(client);
}

}  // namespace

std::unique_ptr<ServiceBrowser::Search> makeAvahiSearch(const std::string& type, const std::string& domain,
                                                        ServiceBrowser::Callbacks callbacks) {
    return std::make_unique<AvahiSearch>(type, domain, std::move(callbacks));
}

}  // namespace quillon::avahi
