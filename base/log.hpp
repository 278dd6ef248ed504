#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace quillon {

/// The program's one diagnostic log. Each line goes to the console as
/// "[Quillon] message" and, with a time stamp (ISO 8601, UTC, milliseconds), to a file that is opened
/// and closed for every line. Never throws, never reports a failure: a line may be lost.
class Log {
  public:
    Log() = delete;

    /// Appends one line. Any thread.
    static void write(std::string_view message);

    /// `Library/Logs/Quillon.log` in the user's home folder. Each read creates the folder if need be.
    static std::filesystem::path url();
};

}  // namespace quillon
