#include "platform/macos/foundation_bridge.h"
#include "platform/macos/ui/view_handles.h"
#include "platform/macos/ui/window_contents.h"

// A stack of rows that are all as wide as it is. A row that is taken out while it is hidden loses the
// constraint, which is put back when the row returns.
@interface PellamFullWidthStack : NSStackView <NSStackViewDelegate>
- (void)makeRowsFullWidth;
- (void)restoreRowWidths;
@end

@implementation PellamFullWidthStack {
  NSArray<NSView*>* _rows;
  NSArray<NSLayoutConstraint*>* _rowWidths;  // in the order of the rows
}
- (void)makeRowsFullWidth {
  _rows = self.arrangedSubviews;
  NSMutableArray<NSLayoutConstraint*>* widths = [NSMutableArray array];
  for (NSView* row in _rows) [widths addObject:[row.widthAnchor constraintEqualToAnchor:self.widthAnchor]];
  [NSLayoutConstraint activateConstraints:widths];
  _rowWidths = widths;
  self.delegate = self;
}
- (void)restoreRowWidths {
  for (NSUInteger index = 0; index < _rows.count; ++index) {
    if (!_rowWidths[index].active && [_rows[index] isDescendantOf:self]) _rowWidths[index].active = YES;
  }
}
// A row may be back without anybody having been told.
- (void)updateConstraints {
  [self restoreRowWidths];
  [super updateConstraints];
  [self restoreRowWidths];
}
- (void)stackView:(NSStackView*)stackView didReattachViews:(NSArray<NSView*>*)views {
  (void)stackView;
  (void)views;
  [self restoreRowWidths];
}
@end

namespace pellam::macos {

namespace {

constexpr NSLayoutPriority lowResistance = 250;

NSTextField* oneLineLabel(NSFont* font, const std::string& identifier) {
  NSTextField* label = [NSTextField labelWithString:@""];
  label.font = font;
  label.lineBreakMode = NSLineBreakByTruncatingTail;
  label.accessibilityIdentifier = stringFrom(identifier);
  [label setContentCompressionResistancePriority:lowResistance
                                  forOrientation:NSLayoutConstraintOrientationHorizontal];
  return label;
}

PellamProgressIndicator* progressBar(const std::string& identifier) {
  PellamProgressIndicator* bar = [[PellamProgressIndicator alloc] initWithFrame:NSZeroRect];
  bar.style = NSProgressIndicatorStyleBar;
  bar.usesThreadedAnimation = YES;
  bar.indeterminate = YES;
  bar.minValue = 0;
  bar.maxValue = 1;
  bar.accessibilityIdentifier = stringFrom(identifier);
  [bar startAnimation:nil];
  return bar;
}

NSStackView* buttonRow(const std::string& identifier) {
  OrvoUpdateProgressActionButton* button = [[OrvoUpdateProgressActionButton alloc] initWithFrame:NSZeroRect];
  button.bezelStyle = NSBezelStyleRounded;
  button.accessibilityIdentifier = stringFrom(identifier);
  button.hidden = YES;
  NSStackView* row = [NSStackView stackViewWithViews:@[ button ]];
  row.orientation = NSUserInterfaceLayoutOrientationHorizontal;
  row.alignment = NSLayoutAttributeCenterY;
  row.spacing = 0;
  row.detachesHiddenViews = YES;
  return row;
}

}  // namespace

void addProgressContent(NSView* contentView, const ProgressContent& content) {
  NSTextField* title = oneLineLabel(
      [NSFont systemFontOfSize:NSFont.systemFontSize weight:NSFontWeightSemibold], content.titleIdentifier);
  NSTextField* status = oneLineLabel([NSFont monospacedDigitSystemFontOfSize:NSFont.smallSystemFontSize
                                                                      weight:NSFontWeightRegular],
                                     content.statusIdentifier);
  status.textColor = NSColor.secondaryLabelColor;
  PellamProgressIndicator* bar = progressBar(content.barIdentifier);
  NSStackView* row = buttonRow(content.buttonIdentifier);

  NSArray<NSView*>* rows = @[ title, status, bar, row ];
  PellamFullWidthStack* stack = [PellamFullWidthStack stackViewWithViews:rows];
  stack.orientation = NSUserInterfaceLayoutOrientationVertical;
  stack.alignment = NSLayoutAttributeLeading;
  stack.distribution = NSStackViewDistributionFill;
  stack.spacing = content.layout.spacing;
  stack.detachesHiddenViews = YES;
  stack.translatesAutoresizingMaskIntoConstraints = NO;
  [contentView addSubview:stack];

  [NSLayoutConstraint activateConstraints:@[
    [stack.leadingAnchor constraintEqualToAnchor:contentView.leadingAnchor constant:content.layout.margin],
    [stack.trailingAnchor constraintEqualToAnchor:contentView.trailingAnchor constant:-content.layout.margin],
    [stack.centerYAnchor constraintEqualToAnchor:contentView.centerYAnchor],
    [bar.heightAnchor constraintEqualToConstant:content.layout.barHeight]
  ]];
  [stack makeRowsFullWidth];
  // Last: a hidden row is detached from the stack, and a constraint needs both its views in one hierarchy.
  status.hidden = YES;
}

}  // namespace pellam::macos
