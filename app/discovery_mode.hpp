#pragma once

#include "transport/wifi_discovery.hpp"

namespace quillon {

/// Looks for devices on the network for five seconds and prints, in one line, all that were found. Blocks.
void printAllEndpoints(WiFiDiscovery& discovery);

/// Looks for a device on the network, for five seconds at most, and prints the first that is found, or that
/// there is none. Blocks.
void printFirstEndpoint(WiFiDiscovery& discovery);

}  // namespace quillon
