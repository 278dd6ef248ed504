#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <memory>

#include "platform/linux/shell/outside_presses.hpp"
#include "platform/linux/shell/panel/panel_window.hpp"
#include "platform/linux/shell/tray_places.hpp"
#include "platform/panel.hpp"

namespace quillon {

/// When the panel last went because the user turned to something else. If that was the status item, its
/// click meant to close the panel and must not open it again.
class LastDismissal {
  public:
    void remember() { since_.start(); }
    /// Was the panel dismissed by the click that is being reported now? Answers yes once.
    bool wasThisClick();

  private:
    QElapsedTimer since_;
};

/// The panel: a window that is made when it is shown and gone when it is not.
class QtPanel : public Panel {
  public:
    QtPanel(const TrayPlaces& places, std::shared_ptr<LastDismissal> dismissal, PanelCallbacks callbacks);

    void show(const PanelContent& content) override;
    void update(const PanelContent& content) override;
    void close() override;
    bool isShown() const override { return window_ != nullptr; }

  private:
    struct DeleteLater {
        void operator()(QObject* object) const { object->deleteLater(); }
    };

    void make();
    void leaveLater();
    void dismiss();

    const TrayPlaces& places_;
    const std::shared_ptr<LastDismissal> dismissal_;
    const PanelCallbacks callbacks_;
    QObject context_;  ///< reports that are under way end with it
    std::unique_ptr<PanelWindow, DeleteLater> window_;
    std::unique_ptr<OutsidePresses> presses_;
};

}  // namespace quillon
