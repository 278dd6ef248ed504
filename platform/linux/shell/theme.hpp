#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

namespace quillon {

/// The colours of the panel and the dialogs, on light and on dark. Widgets ask for them when they paint, so a
/// change of the application's palette is all that it takes to change from one to the other.
struct Theme {
    bool isDark;
    QColor window;
    QColor raised;   ///< a control's ground
    QColor hovered;  ///< the same under the pointer
    QColor outline;  ///< around the panel, between its sections
    QColor text;
    QColor quiet;     ///< titles, details
    QColor accent;    ///< what is chosen or switched on
    QColor onAccent;  ///< text on it
    QColor notice;    ///< ground of the notice
    // The status dot's; each state has a shape of its own besides.
    QColor stopped;
    QColor starting;
    QColor usb;
    QColor wifi;
    QColor failed;
};

/// The theme that belongs to a palette: the dark one for a dark window.
const Theme& themeOf(const QPalette& palette);

/// The palette with a theme's colours, for the toolkit's own widgets.
QPalette paletteOf(const Theme& theme);

const Theme& lightTheme();
const Theme& darkTheme();

/// Spaces between things, in pixels of the toolkit (which scales them): one grid for all widgets.
namespace space {
inline constexpr int hair = 2;
inline constexpr int small = 6;
inline constexpr int medium = 10;
inline constexpr int large = 16;
}  // namespace space

/// The application's font, larger or smaller.
QFont scaledFont(double factor, QFont::Weight weight = QFont::Normal);
/// The font of details and titles of rows.
QFont smallFont();

}  // namespace quillon
