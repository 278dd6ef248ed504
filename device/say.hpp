#pragma once

namespace quillon::device {

/// Prints one line for people: "[device] " and the text, printf style. Any thread.
[[gnu::format(printf, 1, 2)]] void say(const char* format, ...);

}  // namespace quillon::device
