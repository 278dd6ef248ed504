#include "tests/linux/held_display.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/randr.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <thread>

#include "platform/linux/x11_screen.hpp"
#include "platform/linux/x11_virtual_displays.hpp"
#include "tests/support/display_guardians.hpp"

namespace quillon::testing {

namespace {

constexpr int kLimit = 10'000;  // ms

/// The fields of /proc/PID/stat that follow the name in brackets.
std::vector<std::string> statOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream rest(line.substr(std::min(line.size(), line.rfind(')') + 1)));
    return {std::istream_iterator<std::string>(rest), {}};
}

long privateKiB(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    long sum = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("Private_")) sum += std::stol(line.substr(line.find(':') + 1));
    }
    return sum;
}

bool readableWithin(int descriptor, int milliseconds) {
    pollfd watched{descriptor, POLLIN, 0};
    return poll(&watched, 1, milliseconds) == 1;
}

}  // namespace

HeldDisplay::HeldDisplay(const VirtualDisplayRequest& request) {
    std::array<int, 2> order{};
    std::array<int, 2> answer{};
    if (pipe2(order.data(), O_CLOEXEC) != 0 || pipe2(answer.data(), O_CLOEXEC) != 0) return;
    const std::string display = getenv("DISPLAY");
    const std::set<pid_t> before = displayGuardians(display);
    process_ = fork();
    if (process_ == 0) {
        close(order[1]);
        run(request, order[0], answer[1]);
    }
    close(order[0]);
    close(answer[1]);
    order_ = order[1];
    char result = 0;
    held_ = readableWithin(answer[0], kLimit) && read(answer[0], &result, 1) == 1 && result == '+';
    close(answer[0]);
    for (const pid_t each : displayGuardians(display)) {
        if (!before.contains(each)) guardian_ = each;
    }
}

void HeldDisplay::run(const VirtualDisplayRequest& request, int order, int answer) {
    auto display = X11VirtualDisplays().create(request);
    const char result = display && display->id() != 0 ? '+' : '-';
    if (write(answer, &result, 1) == 1) readableWithin(order, -1);
    display.reset();
    _exit(0);
}

HeldDisplay::~HeldDisplay() {
    kill();
}

pid_t HeldDisplay::session() const {
    return getsid(process_);
}

void HeldDisplay::kill() {
    if (process_ < 0) return;
    ::kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    close(order_);
    process_ = -1;
}

void HeldDisplay::release() {
    close(order_);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

std::optional<HeldDisplay::Guardian> HeldDisplay::guardian() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLimit);
    auto known = look();
    while (known && !known->watches() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        known = look();
    }
    return known;
}

bool HeldDisplay::Guardian::watches() const {
    return std::ranges::any_of(descriptors, [](const auto& each) { return each.starts_with("socket:"); });
}

std::optional<HeldDisplay::Guardian> HeldDisplay::look() const {
    if (guardian_ < 0) return std::nullopt;
    const auto stat = statOf(guardian_);
    if (stat.size() < 4) return std::nullopt;
    Guardian known{std::stoi(stat[1]), std::stoi(stat[3]), {}, privateKiB(guardian_)};
    for (const auto& each :
         std::filesystem::directory_iterator("/proc/" + std::to_string(guardian_) + "/fd")) {
        std::error_code ignored;
        known.descriptors.push_back(std::filesystem::read_symlink(each.path(), ignored));
    }
    return known;
}

void HeldDisplay::killGuardian() {
    if (guardian_ >= 0) killAndWait(guardian_);
}

bool HeldDisplay::guardianEnds() const {
    if (guardian_ < 0) return false;
    const int handle = static_cast<int>(syscall(SYS_pidfd_open, guardian_, 0));
    if (handle < 0) return true;
    const bool ended = readableWithin(handle, kLimit);
    close(handle);
    return ended;
}

bool HeldDisplay::hasNoEndedChildren() const {
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string number = entry.path().filename();
        if (number.find_first_not_of("0123456789") != std::string::npos) continue;
        const auto stat = statOf(std::stoi(number));
        if (stat.size() > 1 && stat[0] == "Z" && stat[1] == std::to_string(process_)) return false;
    }
    return true;
}

std::string serverState(const XorgServer& server) {
    const std::string command =
        "xrandr -d " + server.display() + " --verbose --prop | grep -v -e Timestamp: -e Identifier:";
    std::string text;
    FILE* const pipe = popen(command.c_str(), "r");
    std::array<char, 4096> part{};
    while (const size_t count = fread(part.data(), 1, part.size(), pipe)) text.append(part.data(), count);
    pclose(pipe);
    return text;
}

std::vector<uint8_t> edidOf(const X11Connection& connection, DisplayID output) {
    xcb_connection_t* c = connection.get();
    const auto atom = owned(xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 4, "EDID"), nullptr));
    if (!atom) return {};
    const auto cookie =
        xcb_randr_get_output_property(c, output, atom->atom, XCB_GET_PROPERTY_TYPE_ANY, 0, 64, 0, 0);
    const auto reply = owned(xcb_randr_get_output_property_reply(c, cookie, nullptr));
    if (!reply) return {};
    const uint8_t* const data = xcb_randr_get_output_property_data(reply.get());
    return {data, data + reply->num_items};
}

std::string outputName(const X11Connection& connection, DisplayID output) {
    const auto screen = readScreen(connection);
    const auto* known = screen ? screen->output(output) : nullptr;
    return known == nullptr ? "" : known->name;
}

}  // namespace quillon::testing
