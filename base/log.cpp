#include "base/log.hpp"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <system_error>

#include "base/log_console.hpp"
#include "base/text.hpp"
#include "base/thread_annotations.hpp"

namespace quillon {

namespace {

/// Keeps the file's lines whole: one append at a time.
Mutex appendLock;

std::filesystem::path homeFolder() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 16384> strings{};
    getpwuid_r(getuid(), &entry, strings.data(), strings.size(), &found);
    return found != nullptr ? found->pw_dir : "/";
}

/// For example 2026-11-15T02:28:34.123Z.
std::string timestamp() {
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const auto second = floor<std::chrono::seconds>(now);
    const std::time_t time = system_clock::to_time_t(second);
    std::tm utc{};
    gmtime_r(&time, &utc);
    return formatted("%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
                     utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>((now - second).count()));
}

void append(const std::string& line) EXCLUDES(appendLock) {
    const MutexLock hold(appendLock);
    const int file = open(Log::url().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file < 0) return;
    size_t written = 0;
    while (written < line.size()) {
        const ssize_t count = ::write(file, line.data() + written, line.size() - written);
        if (count <= 0) break;
        written += static_cast<size_t>(count);
    }
    close(file);
}

}  // namespace

void Log::write(std::string_view message) {
    writeToConsole("[Quillon] " + std::string(message));

    // The file is UTF-8 text; a message that is not stays out of it.
    if (repairedUtf8(viewOf(message)) != message) return;
    append(timestamp() + " " + std::string(message) + "\n");
}

std::filesystem::path Log::url() {
    const std::filesystem::path folder = homeFolder() / "Library" / "Logs";
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    return folder / "Quillon.log";
}

}  // namespace quillon
