#pragma once

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/simple-watch.h>

#include <chrono>
#include <memory>

#include "base/releaser.hpp"

namespace quillon::avahi {

using Clock = std::chrono::steady_clock;

// Browsers and resolvers go before their client, and it before its poll.
using Poll = std::unique_ptr<AvahiSimplePoll, Releaser<avahi_simple_poll_free>>;
using Client = std::unique_ptr<AvahiClient, Releaser<avahi_client_free>>;
using Browser = std::unique_ptr<AvahiServiceBrowser, Releaser<avahi_service_browser_free>>;
using Resolver = std::unique_ptr<AvahiServiceResolver, Releaser<avahi_service_resolver_free>>;
using RecordBrowser = std::unique_ptr<AvahiRecordBrowser, Releaser<avahi_record_browser_free>>;

}  // namespace quillon::avahi
