#include "tests/support/display_guardians.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace quillon::testing {

namespace {

constexpr const char* kName = "quillon-display";  // the kernel keeps 15 letters
constexpr int kEndLimit = 10'000;                 // ms

}  // namespace

std::set<pid_t> displayGuardians(const std::string& display) {
    std::set<pid_t> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string number = entry.path().filename();
        if (number.find_first_not_of("0123456789") != std::string::npos) continue;
        std::string name;
        std::ifstream(entry.path() / "comm") >> name;
        if (name != kName) continue;
        std::ifstream file(entry.path() / "environ");
        const std::string environment = '\0' + std::string(std::istreambuf_iterator<char>(file), {});
        if (environment.find('\0' + ("DISPLAY=" + display) + '\0') != std::string::npos) {
            found.insert(std::stoi(number));
        }
    }
    return found;
}

void killAndWait(pid_t process) {
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    kill(process, SIGKILL);
    if (handle < 0) return;
    pollfd watched{handle, POLLIN, 0};
    poll(&watched, 1, kEndLimit);
    close(handle);
}

}  // namespace quillon::testing
