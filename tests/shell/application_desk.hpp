#pragma once

#include <memory>
#include <string>

#include "tests/shell/desk.hpp"
#include "tests/shell/notifier_host.hpp"

namespace quillon::testing {

/// The application as people have it, in a panel of the StatusNotifier kind, and if need be a device at the
/// other end, on a cable and on the network.
class ApplicationDesk : public Desk {
  protected:
    void SetUp() override;
    void TearDown() override;

    ChildProcess& startApplication();
    /// What the application finds stored; a fresh account without it.
    void storeSettings(const std::string& lines);
    std::string settings() const { return contentOf("config/Quillon/settings.ini"); }
    std::string contentOf(const std::string& name) const;

    /// A device that all interfaces of the machine but the loopback know nothing of.
    ChildProcess& startDevice();
    ChildProcess& device() { return *device_; }
    /// Its address on the network.
    const std::string& address() const { return address_; }

    /// Waits for the item of the `times`-th status item.
    ::testing::AssertionResult registers(size_t times = 1);
    ::testing::AssertionResult stores(const std::string& line);
    ::testing::AssertionResult storesNo(const std::string& key);

    /// The application's and the device's output so far is old from now on.
    void listen();
    /// Waits for a line that contains this and is not old.
    ::testing::AssertionResult logs(const std::string& text) { return prints(probe(), heard_, text); }
    ::testing::AssertionResult deviceSays(const std::string& text) {
        return prints(device(), heardOfDevice_, text);
    }
    /// Waits until a program that the application started has written a file.
    ::testing::AssertionResult writes(const std::string& name, const std::string& text);

    /// Listens, opens the menu anew and clicks an item in it.
    void choose(const std::string& label);
    /// An entry of the menu as it opens now; without properties when there is none.
    NotifierHost::Entry entry(const std::string& label);
    bool isChecked(const std::string& label);
    bool isEnabled(const std::string& label);

    /// A window of the application that has the keyboard.
    ::testing::AssertionResult getsAWindow();
    ::testing::AssertionResult losesItsWindows();

    /// Waits until the desktop has so many monitors.
    ::testing::AssertionResult hasMonitors(int count);

    std::unique_ptr<NotifierHost> host;

  private:
    ::testing::AssertionResult prints(ChildProcess& program, size_t from, const std::string& text);

    std::unique_ptr<ChildProcess> device_;
    std::string address_;
    size_t heard_ = 0;
    size_t heardOfDevice_ = 0;
};

}  // namespace quillon::testing
