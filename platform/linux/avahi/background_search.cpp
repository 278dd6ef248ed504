#include <condition_variable>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/thread_annotations.hpp"
#include "platform/linux/avahi/avahi_search.hpp"
#include "platform/linux/avahi/module.hpp"

namespace quillon::avahi {

namespace {

/// How often the thread looks for services to resolve.
constexpr Duration kSlice = 20ms;
/// How long the thread may take to end before it is left to end by itself.
constexpr Duration kPatience = 500ms;

using Callbacks = ServiceBrowser::Callbacks;

/// What the thread of a search and its user hand each other. It outlives the user when the daemon hangs.
class Exchange {
  public:
    using Event = std::function<void(const Callbacks&)>;
    struct Request {
        std::string name;
        Duration limit;
    };

    // --- the user's side
    std::vector<Event> waitForEvents(Duration limit) EXCLUDES(lock_) {
        MutexLock held(lock_);
        changed_.wait_for(held, limit, [this]() NO_THREAD_SAFETY_ANALYSIS { return !events_.empty(); });
        return std::exchange(events_, {});
    }
    void request(Request request) EXCLUDES(lock_) {
        const MutexLock held(lock_);
        requests_.push_back(std::move(request));
    }
    /// Tells the thread to end. True when it has within `limit`.
    bool end(Duration limit) EXCLUDES(lock_) {
        MutexLock held(lock_);
        isWanted_ = false;
        return changed_.wait_for(held, limit, [this]() NO_THREAD_SAFETY_ANALYSIS { return hasEnded_; });
    }

    // --- the thread's side
    void tell(Event event) EXCLUDES(lock_) {
        const MutexLock held(lock_);
        events_.push_back(std::move(event));
        changed_.notify_all();
    }
    /// Nothing once the search is no longer wanted.
    std::optional<std::vector<Request>> requests() EXCLUDES(lock_) {
        const MutexLock held(lock_);
        if (!isWanted_) return std::nullopt;
        return std::exchange(requests_, {});
    }
    void hasEnded() EXCLUDES(lock_) {
        const MutexLock held(lock_);
        hasEnded_ = true;
        changed_.notify_all();
    }

  private:
    Mutex lock_;
    std::condition_variable_any changed_;
    std::vector<Event> events_ GUARDED_BY(lock_);
    std::vector<Request> requests_ GUARDED_BY(lock_);
    bool isWanted_ GUARDED_BY(lock_) = true;
    bool hasEnded_ GUARDED_BY(lock_) = false;
};

Callbacks passingOn(Exchange& exchange) {
    Callbacks callbacks;
    callbacks.onFound = [&exchange](const std::string& name) {
        exchange.tell([name](const Callbacks& user) { user.onFound(name); });
    };
    callbacks.onResolved = [&exchange](const ServiceBrowser::Service& service) {
        exchange.tell([service](const Callbacks& user) { user.onResolved(service); });
    };
    callbacks.onNotResolved = [&exchange](const std::string& name, const std::string& error) {
        exchange.tell([name, error](const Callbacks& user) { user.onNotResolved(name, error); });
    };
    callbacks.onNotSearching = [&exchange](const std::string& error) {
        exchange.tell([error](const Callbacks& user) { user.onNotSearching(error); });
    };
    return callbacks;
}

void serve(Exchange& exchange, const std::string& type, const std::string& domain) {
    {
        const auto search = makeAvahiSearch(type, domain, passingOn(exchange));
        while (const auto requests = exchange.requests()) {
            for (const Exchange::Request& each : *requests) search->resolve(each.name, each.limit);
            search->run(kSlice);
        }
    }
    exchange.hasEnded();
}

/// A search on a thread of its own, so that a daemon that hangs holds up nobody: its user waits no longer
/// than it wants to, and leaves a thread that is stuck to the end of its call.
class BackgroundSearch : public ServiceBrowser::Search {
  public:
    BackgroundSearch(const std::string& type, const std::string& domain, Callbacks callbacks)
        : callbacks_(std::move(callbacks)),
          thread_([exchange = exchange_, type, domain] { serve(*exchange, type, domain); }) {}
    ~BackgroundSearch() override {
        if (exchange_->end(kPatience)) {
            thread_.join();
        } else {
            thread_.detach();
        }
    }
    BackgroundSearch(const BackgroundSearch&) = delete;
    BackgroundSearch& operator=(const BackgroundSearch&) = delete;

    void run(Duration slice) override {
        for (const Exchange::Event& tell : exchange_->waitForEvents(slice)) tell(callbacks_);
    }
    void resolve(const std::string& name, Duration limit) override { exchange_->request({name, limit}); }

  private:
    const Callbacks callbacks_;
    const std::shared_ptr<Exchange> exchange_ = std::make_shared<Exchange>();
    std::thread thread_;
};

}  // namespace

}  // namespace quillon::avahi

quillon::ServiceBrowser::Search* quillonMakeAvahiSearch(const char* type, const char* domain,
                                                        quillon::ServiceBrowser::Callbacks callbacks) {
    return new quillon::avahi::BackgroundSearch(type, domain, std::move(callbacks));
}
