#include "platform/linux/shell/autostart_item.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace quillon {

namespace {

namespace fs = std::filesystem;

/// A path as a desktop entry's Exec key wants it: quoted for the key, and "%" doubled.
std::string quoted(const fs::path& path) {
    std::string result = "\"";
    for (const char c : path.native()) {
        // The key's own rule first, then the one of strings in entries, which needs the backslash twice.
        if (c == '"' || c == '`' || c == '$') result += "\\\\";
        if (c == '\\') result += "\\\\\\";
        if (c == '%') result += '%';
        result += c;
    }
    return result + '"';
}

/// The word by which a process knows that its entry started it.
constexpr std::string_view kAtLogin = "--at-login";

std::string entryFor(const fs::path& program) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Quillon\n"
           "Comment=Use a tablet as a second display\n"
           "Exec=" +
           quoted(program) + " " + std::string(kAtLogin) +
           "\n"
           "Icon=quillon\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// Is there a line that says just this?
bool hasLine(const std::string& text, std::string_view line) {
    return ("\n" + text + "\n").find("\n" + std::string(line) + "\n") != std::string::npos;
}

[[noreturn]] void fail(const std::string& what, int error) {
    throw LoginItemError(what + ": " + std::strerror(error));
}

}  // namespace

AutostartItem::AutostartItem(fs::path program, fs::path folder)
    : program_(std::move(program)), file_(folder / "quillon.desktop") {}

LoginItem::Status AutostartItem::status() {
    std::error_code ignored;
    if (!fs::exists(file_, ignored)) {
        return access(program_.c_str(), X_OK) == 0 ? Status::notRegistered : Status::notFound;
    }
    // So the desktops' own settings switch an entry off.
    const std::string entry = contentOf(file_);
    const bool isOff = hasLine(entry, "Hidden=true") || hasLine(entry, "X-GNOME-Autostart-enabled=false");
    return isOff ? Status::requiresApproval : Status::enabled;
}

void AutostartItem::enlist() {
    std::error_code error;
    fs::create_directories(file_.parent_path(), error);
    if (error) throw LoginItemError(file_.parent_path().string() + ": " + error.message());
    // Written aside and renamed: a login meanwhile sees all of it or nothing.
    const fs::path draft = file_.string() + ".new";
    errno = 0;
    std::ofstream stream(draft, std::ios::trunc);
    stream << entryFor(program_);
    stream.close();
    if (!stream) {
        const int reason = errno;
        fs::remove(draft, error);
        fail(draft.string(), reason);
    }
    if (std::rename(draft.c_str(), file_.c_str()) != 0) fail(file_.string(), errno);
}

void AutostartItem::withdraw() {
    if (unlink(file_.c_str()) != 0 && errno != ENOENT) fail(file_.string(), errno);
}

fs::path AutostartItem::defaultFolder() {
    const char* const config = std::getenv("XDG_CONFIG_HOME");
    if (config != nullptr && *config == '/') return fs::path(config) / "autostart";
    const char* const home = std::getenv("HOME");
    return fs::path(home != nullptr ? home : "/") / ".config" / "autostart";
}

fs::path AutostartItem::invokedProgram() {
    const std::string line = contentOf("/proc/self/cmdline");
    const fs::path invoked = line.substr(0, line.find('\0'));
    std::error_code ignored;
    // Not made canonical: the folder that makes it an application may be reached by a link.
    return fs::absolute(invoked, ignored).lexically_normal();
}

bool AutostartItem::startedThisProcess() {
    const std::string line = contentOf("/proc/self/cmdline");
    return line.find('\0' + std::string(kAtLogin) + '\0') != std::string::npos;
}

}  // namespace quillon
