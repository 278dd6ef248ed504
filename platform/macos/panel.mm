#include "platform/macos/panel.hpp"

#include <utility>

#include "platform/macos/panel_view.hpp"

/// Tells when the popover has closed.
@interface QuillonPopoverWatch : NSObject <NSPopoverDelegate>
- (instancetype)initWithOnClose:(std::function<void()>)onClose;
@end

@implementation QuillonPopoverWatch {
    std::function<void()> _onClose;
}

- (instancetype)initWithOnClose:(std::function<void()>)onClose {
    if ((self = [super init])) _onClose = std::move(onClose);
    return self;
}

- (void)popoverDidClose:(NSNotification*)notification {
    const auto onClose = _onClose;  // it may take this object away
    if (onClose) onClose();
}

@end

namespace quillon {

class MacPanel::Parts {
  public:
    explicit Parts(PanelCallbacks callbacks)
        : view([[QuillonPanelView alloc] initWithReport:std::move(callbacks.onChange)]),
          watch([[QuillonPopoverWatch alloc] initWithOnClose:std::move(callbacks.onClose)]) {
        NSViewController* const controller = [NSViewController new];
        controller.view = view;
        popover.contentViewController = controller;
        popover.behavior = NSPopoverBehaviorTransient;
        popover.delegate = watch;
    }

    /// The popover takes the size that the content wants.
    void show(const PanelContent& content) const {
        [view show:content];
        const NSSize size = view.fittingSize;
        if (size.width != popover.contentSize.width || size.height != popover.contentSize.height) {
            popover.contentSize = size;
        }
    }

    QuillonPanelView* const view;
    QuillonPopoverWatch* const watch;  // the popover does not hold it
    NSPopover* const popover = [NSPopover new];
};

MacPanel::MacPanel(PanelCallbacks callbacks, std::function<NSView*()> anchor)
    : anchor_(std::move(anchor)), parts_(std::make_unique<Parts>(std::move(callbacks))) {}

MacPanel::~MacPanel() {
    parts_->popover.delegate = nil;
    [parts_->popover close];
}

void MacPanel::show(const PanelContent& content) {
    NSView* const anchor = anchor_();
    if (anchor.window == nil) return;  // the popover takes nothing else
    [NSApp activate];
    parts_->show(content);
    if (!isShown()) {
        [parts_->popover showRelativeToRect:anchor.bounds ofView:anchor preferredEdge:NSRectEdgeMinY];
    }
    [parts_->view.window makeKeyWindow];
}

void MacPanel::update(const PanelContent& content) {
    if (isShown()) parts_->show(content);
}

void MacPanel::close() {
    [parts_->popover close];
}

bool MacPanel::isShown() const {
    return parts_->popover.shown;
}

}  // namespace quillon
