#pragma once

#include <QWidget>
#include <functional>

#include "platform/linux/shell/panel/panel_view.hpp"

namespace quillon {

/// The window around the panel: without a frame at the pointer, or an ordinary small window.
///
/// The one without a frame is a tool window and no popup: accessibility tools see it, and a click outside is
/// noticed however it was opened. It goes when the user turns to something else.
class PanelWindow : public QWidget {
  public:
    enum class Kind { popover, ordinary };

    struct Callbacks {
        std::function<void(const PanelChange& change)> onChange;
        /// Escape, the close control, the frame's. From inside the toolkit's handling of the event.
        std::function<void()> onLeave;
        /// The user has turned to something else.
        std::function<void()> onTurnedAway;
    };

    PanelWindow(Kind kind, Callbacks callbacks);

    void setContent(const PanelContent& content);

    /// Shows the window near this point of the desktop, whole on its screen. Without a frame it goes along
    /// where that screen goes on the desktop.
    void showAt(QPoint anchor);

    /// Goes through all the drawing without a window on any screen.
    void drawUnseen();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void fit();
    void moveNear(QPoint anchor, const QScreen& screen);

    const Kind kind_;
    const Callbacks callbacks_;
    const bool isRounded_;
    PanelView* const view_;
    bool wasActive_ = false;
};

}  // namespace quillon
