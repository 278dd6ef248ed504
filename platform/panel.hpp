#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quillon {

// The popover panel as a value: every text, what is chosen, and a name for each control. The platform lays it
// out from top to bottom in the order of the fields, draws it, and reports what the user does by the
// control's name. It never changes a control by itself: a switch shows its new state when the next content
// says so.
//
// Controls keep their names (`id`) from one content to the next, so a platform can update in place and the
// keyboard's focus stays. Each control is reachable by keyboard and labelled for accessibility tools.

/// A click, or Return or Space on the focused control.
struct PanelButton {
    std::string id;
    std::string label;
    std::string toolTip{};
    bool operator==(const PanelButton&) const = default;
};

/// One of the options of a row; of a row's pills at most one is selected.
struct PanelPill {
    std::string value;  ///< comes back with the change
    std::string label;
    std::string detail{};   ///< a second, quieter line; empty: none
    std::string toolTip{};  ///< empty: none
    bool selected = false;
    bool operator==(const PanelPill&) const = default;
};

/// A titled row of options.
struct PanelRow {
    enum class Style {
        segments,  ///< one control of equal parts, without a visible title
        pills,     ///< as many as there are; they wrap to further lines
    };
    std::string id;
    std::string title;
    Style style = Style::pills;
    std::vector<PanelPill> pills{};
    std::string note{};  ///< stands there instead of pills when there are none
    std::optional<PanelButton> button{};
    bool operator==(const PanelRow&) const = default;
};

struct PanelSwitch {
    std::string id;
    std::string label;
    bool on = false;
    bool operator==(const PanelSwitch&) const = default;
};

/// A permission: with a check mark when granted, otherwise with the button.
struct PanelPermission {
    std::string label;
    bool granted = false;
    std::string text;  ///< beside the check mark, for example "Granted"
    PanelButton button;
    std::string toolTip{};
    bool operator==(const PanelPermission&) const = default;
};

struct PanelContent {
    /// The coloured dot; the platform chooses five colours that can be told apart on light and on dark.
    enum class Dot { stopped, starting, runningOverUSB, runningOverWiFi, failed };

    std::string title;
    Dot dot = Dot::stopped;
    std::string dotDescription;  ///< the dot in words: its tool tip, and for accessibility tools
    std::string status;
    std::string statistics;  ///< empty: the line keeps its room, so that nothing jumps
    std::string notice;      ///< something to tell once, above the rows; empty: no room is kept
    PanelButton streamButton;
    std::vector<PanelRow> rows;
    std::vector<PanelSwitch> switches;
    std::vector<PanelButton> buttons;  ///< below the switches
    std::vector<PanelPermission> permissions;
    std::vector<PanelButton> footer;
    bool operator==(const PanelContent&) const = default;
};

/// What the user did: the control's name, and the pill's value (empty for buttons and switches). Clicking
/// the selected pill reports it too.
struct PanelChange {
    std::string control;
    std::string value{};
    bool operator==(const PanelChange&) const = default;
};

/// All on the main thread, from the loop.
struct PanelCallbacks {
    /// May show, update or close the panel, and may open dialogs.
    std::function<void(const PanelChange& change)> onChange;
    /// The panel is gone, by `close` or by the user (Escape, a click outside, its close control).
    std::function<void()> onClose;
};

/// The panel that the status item opens. Hidden at first. Main thread.
class Panel {
  public:
    virtual ~Panel() = default;

    /// Brings the application to the front and shows the panel at the status item, within 50 ms. Where the
    /// desktop has no place for a status item it is an ordinary small window. Shown already: comes to the
    /// front.
    virtual void show(const PanelContent& content) = 0;

    /// Replaces what a shown panel shows, also while the user is in it; ignored while hidden.
    virtual void update(const PanelContent& content) = 0;

    virtual void close() = 0;
    virtual bool isShown() const = 0;
};

}  // namespace quillon
