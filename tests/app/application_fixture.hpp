#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "app/app_delegate.hpp"
#include "platform/simulated/platform.hpp"
#include "tests/support/own_home.hpp"

namespace quillon {

/// The tray application on a simulated computer, seen and used as its user does: by its status item, menu,
/// panel and dialogs.
class ApplicationTest : public testing::Test, protected test::OwnHome {
  protected:
    ~ApplicationTest() override {
        delegate.reset();
        shell.reset();
    }

    void launch() { delegate->applicationDidFinishLaunching(); }
    void launchWithMenu() {
        machine.stored.setBoolean("popoverUI", false);
        launch();
    }
    /// With a device behind the cable.
    void launchStreaming() {
        if (!tablet) tablet = machine.attachDevice("tablet-1");
        launch();
        ASSERT_TRUE(eventuallyRunning());
    }

    void run(Duration interval) { machine.loop.runFor(interval); }
    testing::AssertionResult eventually(const std::function<bool()>& done, Duration limit = 60s) {
        if (machine.loop.runUntil(done, limit)) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "not within " << toSeconds(limit) << " s of virtual time";
    }
    testing::AssertionResult eventuallyRunning() { return eventuallyIs(Session::State::Kind::running); }
    testing::AssertionResult eventuallyIs(Session::State::Kind kind) {
        const auto reached = eventually([this, kind] { return state() == kind; });
        run(1ms);  // the observers hear of it in the loop's next turn
        return reached;
    }
    Session::State::Kind state() const { return delegate->session().state().kind; }

    /// The menu as it would open now.
    Menu menu() const { return delegate->menuNeedsUpdate(); }
    /// Opens the menu and clicks.
    bool choose(const std::string& title) {
        machine.shell.showMenu();
        return machine.shell.clickMenu(title);
    }
    const PanelRow& row(const std::string& id) const {
        const auto& rows = machine.shell.panel->rows;
        return *std::ranges::find(rows, id, &PanelRow::id);
    }
    bool switchIsOn(const std::string& id) const {
        const auto& switches = machine.shell.panel->switches;
        return std::ranges::find(switches, id, &PanelSwitch::id)->on;
    }
    std::string selected(const std::string& id) const {
        for (const PanelPill& pill : row(id).pills) {
            if (pill.selected) return pill.value;
        }
        return "none";
    }
    std::string toolTip() const { return machine.shell.item->look.toolTip; }
    std::optional<std::string> stored(const std::string& key) { return machine.stored.string(key); }

    simulated::SimulatedPlatform machine;
    std::shared_ptr<simulated::Device> tablet;
    std::unique_ptr<ApplicationShell> shell = machine.makeApplicationShell();
    std::unique_ptr<AppDelegate> delegate =
        std::make_unique<AppDelegate>(machine, *shell, AppDelegate::Details{"1.2.3", {"QuillonHost"}});
};

}  // namespace quillon
