#include "platform/macos/panel_view.hpp"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/macos/text.hpp"

namespace {

using namespace quillon;

constexpr CGFloat kWidth = 380;  // points, all below
constexpr CGFloat kMargin = 16;
constexpr CGFloat kBetweenRows = 10;
constexpr CGFloat kBetweenControls = 6;
constexpr CGFloat kDotSize = 13;

NSColor* colorOf(PanelContent::Dot dot) {
    switch (dot) {
        case PanelContent::Dot::starting:
            return NSColor.systemYellowColor;
        case PanelContent::Dot::runningOverUSB:
            return NSColor.systemGreenColor;
        case PanelContent::Dot::runningOverWiFi:
            return NSColor.systemBlueColor;
        case PanelContent::Dot::failed:
            return NSColor.systemRedColor;
        case PanelContent::Dot::stopped:
            break;
    }
    return NSColor.systemGrayColor;
}

/// One line.
NSTextField* label(const std::string& text, NSColor* color) {
    NSTextField* const field = [NSTextField labelWithString:systemText(text)];
    field.textColor = color;
    return field;
}

/// As many lines as it takes.
NSTextField* paragraph(const std::string& text, NSColor* color) {
    NSTextField* const field = [NSTextField wrappingLabelWithString:systemText(text)];
    field.textColor = color;
    field.preferredMaxLayoutWidth = kWidth - 2 * kMargin;
    return field;
}

NSTextField* heading(const std::string& text) {
    NSTextField* const field = label(text, NSColor.labelColor);
    field.font = [NSFont boldSystemFontOfSize:NSFont.systemFontSize];
    return field;
}

NSStackView* line(NSArray<NSView*>* views) {
    NSStackView* const stack = [NSStackView stackViewWithViews:views];
    stack.spacing = kBetweenControls;
    return stack;
}

/// A view that takes the room between its neighbours.
NSView* spring() {
    NSView* const view = [NSView new];
    [view setContentHuggingPriority:1 forOrientation:NSLayoutConstraintOrientationHorizontal];
    return view;
}

/// The content without what changes every second.
PanelContent withoutHeader(PanelContent content) {
    content.dot = PanelContent::Dot::stopped;
    content.dotDescription = content.status = content.statistics = "";
    return content;
}

}  // namespace

@interface QuillonPanelView ()
- (void)showHeader:(const quillon::PanelContent&)content;
- (void)build:(const quillon::PanelContent&)content;
- (NSButton*)button:(const quillon::PanelButton&)button;
- (NSButton*)pill:(const quillon::PanelPill&)pill of:(const std::string&)row;
- (NSView*)segments:(const quillon::PanelRow&)row;
- (void)addPills:(const quillon::PanelRow&)row;
- (void)addRow:(const quillon::PanelRow&)row;
- (void)addPermission:(const quillon::PanelPermission&)permission;
- (BOOL)focus:(NSString*)name in:(NSView*)view;
- (void)bind:(NSControl*)control to:(const quillon::PanelChange&)change;
- (void)change:(NSControl*)sender;
- (void)flip:(NSSwitch*)sender;
- (void)chooseSegment:(NSSegmentedControl*)sender;
@end

@implementation QuillonPanelView {
    std::function<void(const quillon::PanelChange&)> _report;
    std::vector<quillon::PanelChange> _changes;  // a control's tag is the place of its first change here
    std::optional<quillon::PanelContent> _shown;
    NSTextField* _dot;
    NSTextField* _status;
    NSTextField* _statistics;
}

- (instancetype)initWithReport:(std::function<void(const quillon::PanelChange&)>)report {
    if ((self = [super init])) {
        _report = std::move(report);
        self.orientation = NSUserInterfaceLayoutOrientationVertical;
        self.alignment = NSLayoutAttributeLeading;
        self.spacing = kBetweenRows;
        self.edgeInsets = NSEdgeInsetsMake(kMargin, kMargin, kMargin, kMargin);
        [self.widthAnchor constraintEqualToConstant:kWidth].active = YES;
    }
    return self;
}

- (void)show:(const quillon::PanelContent&)content {
    if (!_shown || withoutHeader(*_shown) != withoutHeader(content)) [self build:content];
    [self showHeader:content];
    _shown = content;
}

- (void)showHeader:(const quillon::PanelContent&)content {
    _dot.textColor = colorOf(content.dot);
    _dot.toolTip = systemText(content.dotDescription);
    _dot.accessibilityLabel = systemText(content.dotDescription);
    _status.stringValue = systemText(content.status);
    // A line without text keeps its height by a space.
    _statistics.stringValue = systemText(content.statistics.empty() ? " " : content.statistics);
}

- (void)build:(const quillon::PanelContent&)content {
    NSResponder* const focus = self.window.firstResponder;
    NSString* const focused =
        [focus isKindOfClass:NSView.class] ? static_cast<NSView*>(focus).identifier : nil;
    _changes.clear();
    for (NSView* view in self.arrangedSubviews) [view removeFromSuperview];

    _dot = label("●", NSColor.labelColor);
    _dot.font = [NSFont systemFontOfSize:kDotSize];
    _status = paragraph("", NSColor.labelColor);
    _statistics = paragraph("", NSColor.secondaryLabelColor);
    [self addArrangedSubview:line(@[
              heading(content.title), _dot, spring(), [self button:content.streamButton]
          ])];
    [self addArrangedSubview:_status];
    [self addArrangedSubview:_statistics];
    if (!content.notice.empty()) [self addArrangedSubview:paragraph(content.notice, NSColor.labelColor)];

    for (const PanelRow& row : content.rows) [self addRow:row];
    for (const PanelSwitch& each : content.switches) {
        NSSwitch* const control = [NSSwitch new];
        control.state = each.on ? NSControlStateValueOn : NSControlStateValueOff;
        control.accessibilityLabel = systemText(each.label);
        [self bind:control to:{each.id}];
        control.action = @selector(flip:);
        [self addArrangedSubview:line(@[ label(each.label, NSColor.labelColor), spring(), control ])];
    }
    for (const PanelButton& each : content.buttons) [self addArrangedSubview:[self button:each]];
    for (const PanelPermission& each : content.permissions) [self addPermission:each];
    NSMutableArray<NSView*>* const footer = [NSMutableArray new];
    for (const PanelButton& each : content.footer) [footer addObject:[self button:each]];
    [self addArrangedSubview:line(footer)];

    for (NSView* row in self.arrangedSubviews) {
        [row.widthAnchor constraintLessThanOrEqualToConstant:kWidth - 2 * kMargin].active = YES;
    }
    if (focused != nil) [self focus:focused in:self];
}

/// Gives the keyboard's focus to the view of this name; whether there is one.
- (BOOL)focus:(NSString*)name in:(NSView*)view {
    if ([view.identifier isEqualToString:name]) return [self.window makeFirstResponder:view];
    for (NSView* each in view.subviews) {
        if ([self focus:name in:each]) return YES;
    }
    return NO;
}

- (void)addRow:(const quillon::PanelRow&)row {
    if (row.style == PanelRow::Style::segments) {
        [self addArrangedSubview:[self segments:row]];
        return;
    }
    NSMutableArray<NSView*>* const title = [NSMutableArray new];
    [title addObject:heading(row.title)];
    if (row.button) {
        [title addObject:spring()];
        [title addObject:[self button:*row.button]];
    }
    [self addArrangedSubview:line(title)];
    if (row.pills.empty()) {
        [self addArrangedSubview:paragraph(row.note, NSColor.secondaryLabelColor)];
    } else {
        [self addPills:row];
    }
}

- (NSView*)segments:(const quillon::PanelRow&)row {
    NSSegmentedControl* const control = [NSSegmentedControl new];
    control.segmentCount = static_cast<NSInteger>(row.pills.size());
    control.segmentDistribution = NSSegmentDistributionFillEqually;
    control.accessibilityLabel = systemText(row.title);
    [self bind:control to:{row.id}];
    _changes.pop_back();
    NSInteger place = 0;
    for (const PanelPill& pill : row.pills) {
        [control setLabel:systemText(pill.label) forSegment:place];
        [control setToolTip:systemText(pill.toolTip) forSegment:place];
        if (pill.selected) control.selectedSegment = place;
        _changes.push_back({row.id, pill.value});
        ++place;
    }
    control.action = @selector(chooseSegment:);
    return control;
}

/// As many pills in a line as have room.
- (void)addPills:(const quillon::PanelRow&)row {
    NSMutableArray<NSView*>* pills = [NSMutableArray new];
    CGFloat taken = 0;
    for (const PanelPill& each : row.pills) {
        NSButton* const pill = [self pill:each of:row.id];
        const CGFloat width = pill.fittingSize.width + kBetweenControls;
        if (taken > 0 && taken + width > kWidth - 2 * kMargin) {
            [self addArrangedSubview:line(pills)];
            pills = [NSMutableArray new];
            taken = 0;
        }
        [pills addObject:pill];
        taken += width;
    }
    [self addArrangedSubview:line(pills)];
}

- (NSButton*)pill:(const quillon::PanelPill&)pill of:(const std::string&)row {
    const std::string text = pill.detail.empty() ? pill.label : pill.label + "\n" + pill.detail;
    NSButton* const button = [NSButton buttonWithTitle:systemText(text) target:nil action:nil];
    button.bezelStyle = pill.detail.empty() ? NSBezelStylePush : NSBezelStyleFlexiblePush;
    if (pill.selected) button.bezelColor = NSColor.controlAccentColor;
    button.accessibilityValue = pill.selected ? @1 : @0;
    if (!pill.toolTip.empty()) button.toolTip = systemText(pill.toolTip);
    [self bind:button to:{row, pill.value}];
    return button;
}

- (NSButton*)button:(const quillon::PanelButton&)value {
    NSButton* const button = [NSButton buttonWithTitle:systemText(value.label) target:nil action:nil];
    if (!value.toolTip.empty()) button.toolTip = systemText(value.toolTip);
    [self bind:button to:{value.id}];
    return button;
}

- (void)addPermission:(const quillon::PanelPermission&)permission {
    NSTextField* const name = label(permission.label, NSColor.labelColor);
    if (!permission.toolTip.empty()) name.toolTip = systemText(permission.toolTip);
    if (!permission.granted) {
        [self addArrangedSubview:line(@[ name, spring(), [self button:permission.button] ])];
        return;
    }
    NSTextField* const granted = label(permission.text, NSColor.secondaryLabelColor);
    NSImage* const mark = [NSImage imageWithSystemSymbolName:@"checkmark" accessibilityDescription:nil];
    NSArray<NSView*>* const views = mark != nil
                                        ? @[ name, spring(), [NSImageView imageViewWithImage:mark], granted ]
                                        : @[ name, spring(), granted ];
    [self addArrangedSubview:line(views)];
}

/// The control reports `change` from now on, and its name is found again in the next content.
- (void)bind:(NSControl*)control to:(const quillon::PanelChange&)change {
    control.tag = static_cast<NSInteger>(_changes.size());
    control.identifier = systemText(change.control + "/" + change.value);
    control.target = self;
    control.action = @selector(change:);
    _changes.push_back(change);
}

- (void)change:(NSControl*)sender {
    // Copies: what is reported may close the panel and take this view away.
    const auto report = _report;
    const PanelChange change = _changes.at(static_cast<size_t>(sender.tag));
    report(change);
}

- (void)flip:(NSSwitch*)sender {
    sender.state = sender.state == NSControlStateValueOn ? NSControlStateValueOff : NSControlStateValueOn;
    [self change:sender];
}

- (void)chooseSegment:(NSSegmentedControl*)sender {
    const auto report = _report;
    const PanelChange change = _changes.at(static_cast<size_t>(sender.tag + sender.selectedSegment));
    if (_shown) {  // the choice shows when the next content says so
        [self build:*_shown];
        [self showHeader:*_shown];
    }
    report(change);
}

@end
