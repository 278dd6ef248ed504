#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quillon {

/// One line of a menu, as a value. The platform draws it and decides nothing: which item is enabled or
/// checked stands here, and clicking an item changes nothing but what the next menu says.
///
/// `action` names what a click asks for; the platform hands it back and never looks into it. An item without
/// an action and without a submenu is there to be read. Texts are UTF-8, without mnemonics: an "&" is an "&".
struct MenuItem {
    std::string title;
    std::string action;                              ///< empty: a click does nothing
    std::optional<std::string> representedObject{};  ///< comes back with the click
    std::string key{};      ///< one character, pressed with the platform's menu modifier; empty: none
    std::string toolTip{};  ///< empty: none
    bool enabled = true;
    bool checked = false;
    bool isSeparator = false;  ///< a line; everything else is empty then
    std::vector<MenuItem> submenu{};

    static MenuItem separator() {
        MenuItem item;
        item.isSeparator = true;
        return item;
    }
    bool operator==(const MenuItem&) const = default;
};

using Menu = std::vector<MenuItem>;

/// The other side of a menu. All on the main thread, from the loop.
struct MenuCallbacks {
    /// The menu is about to open: what it shows this time. Asked for anew at each opening, and answered
    /// within a few milliseconds. A menu that is open does not change.
    std::function<Menu()> menuNeedsUpdate;
    std::function<void()> menuWillOpen;
    /// Comes before `onAction` or after it, as the toolkit has it, but always comes.
    std::function<void()> menuDidClose;
    /// An enabled item with an action was clicked, or its key pressed. May destroy the status item that the
    /// menu belongs to: the platform holds on to what it still needs.
    std::function<void(const MenuItem& item)> onAction;
};

}  // namespace quillon
