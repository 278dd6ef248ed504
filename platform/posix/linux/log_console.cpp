#include "base/log_console.hpp"

#include <cstdio>

namespace quillon {

void writeToConsole(const std::string& line) {
    const std::string whole = line + "\n";
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

}  // namespace quillon
