#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/bytes.hpp"
#include "base/time.hpp"

namespace quillon {

/// Finds services on the local network (DNS-SD). A search belongs to the thread that started it, and
/// its callbacks come only while that thread is inside `run`. Names and TXT come from strangers: any bytes.
class ServiceBrowser {
  public:
    struct Address {
        int family = 0;    ///< AF_INET or AF_INET6
        std::string host;  ///< numeric
    };
    struct Service {
        std::string name;
        int port = 0;
        std::vector<Address> addresses;
        std::map<std::string, Bytes> txt;  ///< keys in lower case
    };
    /// They may call `resolve`, but not end the search.
    struct Callbacks {
        /// Once for each service, on however many interfaces it is; again when it had gone.
        std::function<void(const std::string& name)> onFound;
        std::function<void(const Service&)> onResolved;
        std::function<void(const std::string& name, const std::string& error)> onNotResolved;
        /// Nothing is found at present. The search goes on and finds services when that has changed.
        std::function<void(const std::string& error)> onNotSearching;
    };
    class Search {
      public:
        virtual ~Search() = default;  ///< ends the search
        /// Serves callbacks for at most `slice`; returns early when it has served some.
        virtual void run(Duration slice) = 0;
        /// Resolves a found service: one `onResolved` or `onNotResolved` comes within `limit`.
        virtual void resolve(const std::string& name, Duration limit) = 0;
    };

    virtual ~ServiceBrowser() = default;

    /// Browses for `type` (for example "_paravane._tcp.") in `domain`.
    virtual std::unique_ptr<Search> search(const std::string& type, const std::string& domain,
                                           Callbacks callbacks) = 0;
    /// Numeric IPv4 addresses of this machine's interfaces, in their order.
    virtual std::vector<std::string> interfaceAddresses() = 0;
};

}  // namespace quillon
