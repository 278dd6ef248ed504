#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/child_process.hpp"
#include "tests/support/xorg_server.hpp"

namespace quillon::testing {

/// A desktop for one test: an X server, a session bus, a window manager, and a home of its own. What else a
/// desktop has (a tray, a screen saver) the test starts.
class Desk : public ::testing::Test {
  protected:
    Desk();
    ~Desk() override;
    void SetUp() override;

    std::filesystem::path path(const std::string& name) const { return folder_ / name; }
    const std::string& busAddress() const { return busAddress_; }
    const std::string& display() const { return server_->display(); }

    /// A tray of the XEmbed kind in the top right corner.
    void startTray();

    /// The small application that says what it is told. Its environment can be changed before.
    ChildProcess& startProbe(const std::vector<std::string>& words);
    /// The application itself, as if from its bundle; no device is in reach but one behind path("mux").
    ChildProcess& startApplication();
    std::vector<std::string> applicationCommand() const { return {path("Quillon.app/QuillonHost")}; }
    ChildProcess::Environment environment;
    /// The desktop's program for files becomes a script of these commands, the file's path is its first word.
    /// Before the start.
    void installOpener(const std::string& commands);

    ChildProcess& probe() { return *probe_; }
    /// Waits for a line of the probe's that begins like this.
    ::testing::AssertionResult says(const std::string& line, int times = 1);
    /// Lines so far.
    int count(const std::string& line) const;

    struct Place {
        int x;
        int y;
    };
    /// Where the controls of the panel lie that the probe told about last, by their names.
    std::multimap<std::string, Place> controls() const;

    /// Clicks the icon in the tray, which appears a moment after the start, until the probe says this.
    ::testing::AssertionResult clickIconUntil(const std::string& line, int times = 1);
    /// Opens the panel at the tray and waits until the keyboard works in it.
    void openPanel();

    /// The user's hands.
    void click(Place place, int button = 1);
    void press(const std::string& keys);
    void type(const std::string& text);
    /// In the tray's one icon, each time elsewhere: two clicks at one place are a double click.
    Place trayIcon();
    /// On the desktop, beside everything.
    static constexpr Place kNowhere{300, 900};

  private:
    void hands(const std::string& arguments) const;

    std::filesystem::path folder_;
    std::unique_ptr<XorgServer> server_;
    std::unique_ptr<ChildProcess> bus_;
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<ChildProcess> tray_;
    std::unique_ptr<ChildProcess> probe_;
    std::string busAddress_;
    int iconSide_ = 6;
};

}  // namespace quillon::testing
