#include "app/popover_controller.hpp"

#include <utility>

#include "app/popover_content.hpp"

namespace quillon {

PopoverController::PopoverController(ApplicationShell& shell, Host host)
    : host_(std::move(host)),
      model_{{}, host_.applyPopoverChange},
      panel_(shell.makePanel({
          .onChange =
              [this](const PanelChange& change) {
                  if (const auto known = popoverChange(change)) model_.onChange(*known);
              },
          .onClose = [this] { host_.popoverDidClose(); },
      })) {}

void PopoverController::show() {
    model_.snapshot = host_.popoverSnapshot();
    panel_->show(panelContent(model_.snapshot));
}

void PopoverController::close() {
    panel_->close();
}

bool PopoverController::isShown() const {
    return panel_->isShown();
}

void PopoverController::refresh() {
    if (!isShown()) return;
    model_.snapshot = host_.popoverSnapshot();
    panel_->update(panelContent(model_.snapshot));
}

}  // namespace quillon
