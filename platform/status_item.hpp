#pragma once

#include <string>

namespace quillon {

/// How the status item looks. Both icons are templates: one colour, which the platform takes from the panel
/// they stand on, light or dark. There is never a title beside the icon.
struct StatusItemLook {
    enum class Icon {
        normal,  ///< two overlapping screens ("rectangle.on.rectangle")
        error,   ///< a filled warning triangle ("exclamationmark.triangle.fill")
    };
    Icon icon = Icon::normal;
    std::string description;  ///< what accessibility tools read in the icon's place
    std::string toolTip;
    bool operator==(const StatusItemLook&) const = default;
};

/// The program's item in the menu bar or tray; it stands there as long as this object lives. One at a time.
/// Main thread.
class StatusItem {
  public:
    virtual ~StatusItem() = default;

    /// Draws only what changed; called about once a second. Never fails: without a tray it is remembered for
    /// the one that may come.
    virtual void setLook(const StatusItemLook& look) = 0;

    /// What the item's menu shows has changed. For systems on which a menu lies ready before it opens: not
    /// all of those who show it say when that happens. A menu that is open is left alone.
    virtual void menuChanged() {}
};

}  // namespace quillon
