#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/application_shell.hpp"
#include "platform/run_loop.hpp"

namespace quillon::simulated {

/// What the user of a simulated desktop sees of the tray application and does with it. A test reads the first
/// block, sets the second, and acts by the operations, which go the way a real click goes. Outlives its
/// shells.
class ShellWorld {
  public:
    // --- what is drawn
    struct Item {
        StatusItemLook look;
        Menu menuInStore;                   ///< as panels have it that never ask before they open it
        std::function<void()> onClick;      ///< of an item without a menu
        std::optional<MenuCallbacks> menu;  ///< of one with a menu
    };
    std::shared_ptr<Item> item;  ///< null when no status item stands there
    int itemsMade = 0;
    std::optional<Menu> openMenu;
    std::optional<PanelContent> panel;  ///< null while the panel is hidden
    int panelUpdates = 0;
    std::optional<TextQuestion> question;
    std::vector<Message> told;
    std::vector<std::filesystem::path> openedFiles;
    std::vector<Opener::Pane> openedPanes;
    std::vector<std::string> wakeLocks;  ///< the reasons of those held now
    int terminations = 0;

    // --- what the system answers
    std::string failure;  ///< not empty: no shell can be made, in these words
    bool runsAlready = false;
    bool opensThings = true;
    bool givesWakeLocks = true;
    LoginItem::Status login = LoginItem::Status::notRegistered;
    std::string loginFailure;  ///< not empty: the login item cannot be changed, in these words

    // --- what the user does
    void clickItem();
    /// Opens the item's menu, which stays open until a click in it or `closeMenu`.
    void showMenu();
    void closeMenu();
    /// Clicks the item with this title in the open menu or one of its submenus. False when there is none, or
    /// a click on it does nothing.
    bool clickMenu(const std::string& title);
    /// The same by its key, which needs no open menu.
    bool pressKey(const std::string& key);
    /// Clicks a button, switch, or pill (by its value) of the panel. False when it has no such control.
    bool clickPanel(const std::string& control, const std::string& value = {});
    void closePanel();
    /// Answers the open question; nothing cancels.
    void answer(std::optional<std::string> text);

    /// Of the shell that runs; empty otherwise.
    ApplicationCallbacks application;

  private:
    friend class SimulatedShell;
    friend class SimulatedPanel;
    friend class SimulatedDialogs;
    PanelCallbacks panelCallbacks_;
    std::function<void(std::optional<std::string>)> onAnswer_;
};

/// As `Platform::makeApplicationShell`.
std::unique_ptr<ApplicationShell> makeSimulatedShell(RunLoop& loop, ShellWorld& world);

/// The item with this title, submenus included; null when there is none.
const MenuItem* findItem(const Menu& menu, const std::string& title);

}  // namespace quillon::simulated
