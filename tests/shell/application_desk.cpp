#include "tests/shell/application_desk.hpp"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/shell/toolkit.hpp"

namespace quillon::testing {

namespace {

::testing::AssertionResult result(bool holds, const std::string& otherwise) {
    return holds ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << otherwise;
}

}  // namespace

void ApplicationDesk::SetUp() {
    Desk::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    host = std::make_unique<NotifierHost>(busAddress());
    // Loopback is wide: each test has an address of its own, so that all can have the usual port.
    const int number = getpid();
    address_ = "127.77." + std::to_string(number / 250 % 250 + 1) + "." + std::to_string(number % 250 + 1);
}

void ApplicationDesk::TearDown() {
    device_.reset();
}

ChildProcess& ApplicationDesk::startApplication() {
    heard_ = 0;
    return Desk::startApplication();
}

void ApplicationDesk::storeSettings(const std::string& lines) {
    std::filesystem::create_directories(path("config/Quillon"));
    std::ofstream(path("config/Quillon/settings.ini")) << "[Settings]\n" << lines;
}

std::string ApplicationDesk::contentOf(const std::string& name) const {
    std::ifstream file(path(name));
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

ChildProcess& ApplicationDesk::startDevice() {
    device_ = std::make_unique<ChildProcess>(std::vector<std::string>{
        QUILLON_DEVICE, "--headless", "--bind", address_, "--usbmux", path("mux"), "--udid", "tablet-1",
        "--greeting", "Tablet 2 Tablet13,8 display 1600x1200", "--panel", "1600x1200", "--json",
        path("summary.json"), "--snapshot", path("shot.png")});
    EXPECT_TRUE(device_->printed("behind USBMUXD_SOCKET_ADDRESS")) << device_->output();
    return *device_;
}

::testing::AssertionResult ApplicationDesk::registers(size_t times) {
    return result(eventually([&] { return host->items().size() >= times; }),
                  "no item came\n" + probe().output());
}

::testing::AssertionResult ApplicationDesk::stores(const std::string& line) {
    return result(eventually([&] { return settings().find("\n" + line + "\n") != std::string::npos; }),
                  "no " + line + " in\n" + settings() + probe().output());
}

::testing::AssertionResult ApplicationDesk::storesNo(const std::string& key) {
    return result(eventually([&] { return settings().find("\n" + key + "=") == std::string::npos; }),
                  key + " is in\n" + settings() + probe().output());
}

void ApplicationDesk::listen() {
    heard_ = probe().output().size();
    if (device_) heardOfDevice_ = device_->output().size();
}

::testing::AssertionResult ApplicationDesk::prints(ChildProcess& program, size_t from,
                                                   const std::string& text) {
    return result(eventually([&] { return program.output().find(text, from) != std::string::npos; }),
                  "no \"" + text + "\" in\n" + program.output().substr(from) + "--- of\n" +
                      contentOf("Library/Logs/Quillon.log"));
}

::testing::AssertionResult ApplicationDesk::writes(const std::string& name, const std::string& text) {
    return result(eventually([&] { return contentOf(name) == text; }), name + ": " + contentOf(name));
}

void ApplicationDesk::choose(const std::string& label) {
    listen();
    const auto chosen = entry(label);
    ASSERT_FALSE(chosen.properties.isEmpty()) << label;
    host->chooseEntry(chosen.id);
}

NotifierHost::Entry ApplicationDesk::entry(const std::string& label) {
    const auto menu = host->openMenu();
    const auto* const found = find(menu, QString::fromStdString(label));
    return found != nullptr ? *found : NotifierHost::Entry();
}

bool ApplicationDesk::isChecked(const std::string& label) {
    return entry(label).properties.value(QStringLiteral("toggle-state")).toInt() == 1;
}

bool ApplicationDesk::isEnabled(const std::string& label) {
    return entry(label).properties.value(QStringLiteral("enabled"), true).toBool();
}

::testing::AssertionResult ApplicationDesk::getsAWindow() {
    return result(eventually([] {
                      return std::system("xdotool getactivewindow getwindowname 2>&1 | grep -qx Quillon") ==
                             0;
                  }),
                  "no window\n" + probe().output());
}

::testing::AssertionResult ApplicationDesk::losesItsWindows() {
    return result(eventually([] {
                      return std::system("xdotool search --onlyvisible --name '^Quillon$' >/dev/null 2>&1") !=
                             0;
                  }),
                  "a window stays\n" + probe().output());
}

::testing::AssertionResult ApplicationDesk::hasMonitors(int count) {
    const std::string question =
        "xrandr --listactivemonitors 2>&1 | grep -qx 'Monitors: " + std::to_string(count) + "'";
    return result(eventually([&] { return std::system(question.c_str()) == 0; }),
                  "not " + std::to_string(count) + " monitors\n" + probe().output());
}

}  // namespace quillon::testing
