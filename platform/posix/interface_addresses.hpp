#pragma once

#include <string>
#include <vector>

namespace quillon {

/// Numeric IPv4 addresses of this machine's interfaces, in their order; none when the system gives none. Any
/// thread.
std::vector<std::string> ipv4InterfaceAddresses();

}  // namespace quillon
