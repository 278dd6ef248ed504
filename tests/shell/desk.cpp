#include "tests/shell/desk.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/shell/toolkit.hpp"

namespace quillon::testing {

namespace {

bool runs(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace

Desk::Desk() {
    toolkit();
    std::string pattern = ::testing::TempDir() + "quillon-desk-XXXXXX";
    folder_ = mkdtemp(pattern.data());
    setenv("HOME", folder_.c_str(), 1);
    environment = {{"HOME", folder_},
                   {"XDG_RUNTIME_DIR", folder_ / "run"},
                   {"XDG_CONFIG_HOME", folder_ / "config"},
                   {"XDG_DATA_HOME", folder_ / "data"},
                   {"QT_QPA_PLATFORM", std::nullopt},
                   {"QT_QPA_PLATFORMTHEME", std::nullopt},
                   {"XDG_CURRENT_DESKTOP", std::nullopt}};
    std::filesystem::create_directory(folder_ / "run");
    std::filesystem::permissions(folder_ / "run", std::filesystem::perms::owner_all);
}

Desk::~Desk() {
    probe_.reset();
    tray_.reset();
    windowManager_.reset();
    bus_.reset();
    server_.reset();
    std::filesystem::remove_all(folder_);
}

void Desk::SetUp() {
    if (const std::string missing = XorgServer::missing(); !missing.empty()) GTEST_SKIP() << missing;
    for (const char* tool : {"dbus-daemon", "openbox", "trayer", "xdotool"}) {
        if (!runs(std::string("command -v ") + tool)) GTEST_SKIP() << tool << " is not installed";
    }
    server_ = XorgServer::start();
    ASSERT_TRUE(server_) << "Xorg did not start";

    // A bus on which nobody is but whom the test puts there.
    std::filesystem::create_directory(folder_ / "bus");
    const std::string address = "unix:path=" + (folder_ / "bus/socket").string();
    std::ofstream(folder_ / "bus/config")
        << "<busconfig><type>session</type><listen>" << address << "</listen><policy context=\"default\">"
        << "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/>"
        << "</policy></busconfig>";
    bus_ = std::make_unique<ChildProcess>(std::vector<std::string>{
        "dbus-daemon", "--nofork", "--print-address", "--config-file", folder_ / "bus/config"});
    ASSERT_TRUE(bus_->printed("unix:path")) << bus_->output();
    busAddress_ = address;
    environment["DBUS_SESSION_BUS_ADDRESS"] = address;

    windowManager_ =
        std::make_unique<ChildProcess>(std::vector<std::string>{"openbox", "--sm-disable"}, environment);
    ASSERT_TRUE(
        eventually([] { return runs("xprop -root -notype _NET_SUPPORTING_WM_CHECK | grep '# 0x'"); }));
}

void Desk::startTray() {
    tray_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"trayer", "--edge", "top", "--align", "right", "--widthtype", "pixel",
                                 "--width", "24", "--heighttype", "pixel", "--height", "24"},
        environment);
    ASSERT_TRUE(eventually([] { return runs("xdotool search --class trayer"); }));
}

void Desk::installOpener(const std::string& commands) {
    std::filesystem::create_directory(path("bin"));
    const auto opener = path("bin") / "xdg-open";
    std::ofstream(opener) << "#!/bin/sh\n" << commands << "\n";
    std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
    environment["PATH"] = path("bin").string() + ":" + std::getenv("PATH");
}

ChildProcess& Desk::startProbe(const std::vector<std::string>& words) {
    std::vector<std::string> command{QUILLON_SHELL_PROBE};
    command.insert(command.end(), words.begin(), words.end());
    probe_ = std::make_unique<ChildProcess>(command, environment);
    return *probe_;
}

ChildProcess& Desk::startApplication() {
    std::filesystem::create_directories(path("Quillon.app"));
    std::error_code exists;
    std::filesystem::create_symlink(QUILLON_HOST, path("Quillon.app/QuillonHost"), exists);
    environment["USBMUXD_SOCKET_ADDRESS"] = "UNIX:" + path("mux").string();
    environment["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=" + path("no-system-bus").string();
    probe_ = std::make_unique<ChildProcess>(applicationCommand(), environment);
    return *probe_;
}

::testing::AssertionResult Desk::says(const std::string& line, int times) {
    // Events of the test's own services are handled meanwhile.
    if (eventually([&] { return count(line) >= times; })) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "no \"" << line << "\" (" << times << ") in\n"
                                         << probe_->output();
}

::testing::AssertionResult Desk::clickIconUntil(const std::string& line, int times) {
    const auto clicked = [&] {
        click(trayIcon());
        return eventually([&] { return count(line) >= times; }, std::chrono::milliseconds(400));
    };
    return eventually(clicked) ? ::testing::AssertionSuccess() : says(line, times);
}

void Desk::openPanel() {
    ASSERT_TRUE(says("launched"));
    ASSERT_TRUE(clickIconUntil("clicked"));
    ASSERT_TRUE(says("all controls"));
    ASSERT_TRUE(says("active"));
}

int Desk::count(const std::string& line) const {
    std::istringstream lines(probe_->output());
    int found = 0;
    for (std::string each; std::getline(lines, each);) found += each.starts_with(line) ? 1 : 0;
    return found;
}

std::multimap<std::string, Desk::Place> Desk::controls() const {
    const std::string output = probe_->output();
    const size_t shown = output.rfind("panel shown");
    std::istringstream lines(shown == std::string::npos ? "" : output.substr(shown));
    std::multimap<std::string, Place> places;
    for (std::string each; std::getline(lines, each);) {
        std::istringstream words(each);
        std::string word;
        Place place{};
        if (!(words >> word >> place.x >> place.y) || word != "control") continue;
        words.get();
        std::string name;
        std::getline(words, name);
        places.emplace(name, place);
    }
    return places;
}

void Desk::hands(const std::string& arguments) const {
    ASSERT_TRUE(runs("xdotool " + arguments)) << arguments;
}

void Desk::click(Place place, int button) {
    hands("mousemove " + std::to_string(place.x) + " " + std::to_string(place.y) + " click " +
          std::to_string(button));
}

void Desk::press(const std::string& keys) {
    hands("key " + keys);
}

void Desk::type(const std::string& text) {
    hands("type '" + text + "'");
}

Desk::Place Desk::trayIcon() {
    iconSide_ = -iconSide_;
    return {1920 - 12 + iconSide_, 12};
}

}  // namespace quillon::testing
