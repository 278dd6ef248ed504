#include "device/say.hpp"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace quillon::device {

void say(const char* format, ...) {
    std::array<char, 512> text{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    std::printf("[device] %s\n", text.data());
    std::fflush(stdout);
}

}  // namespace quillon::device
