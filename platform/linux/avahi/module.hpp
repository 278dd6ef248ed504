#pragma once

#include "platform/service_browser.hpp"

/// What libquillon-avahi.so gives: a new search, owned by the caller. Names are without their final dot.
extern "C" quillon::ServiceBrowser::Search* quillonMakeAvahiSearch(
    const char* type, const char* domain, quillon::ServiceBrowser::Callbacks callbacks);
