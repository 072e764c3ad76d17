#include <vector>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/ui/release_notes_view.h"
#include "platform/macos/ui/view_handles.h"
#include "platform/macos/ui/window_contents.h"

namespace pellam::macos {

namespace {

constexpr NSInteger mostSentenceLines = 10;
constexpr NSLayoutPriority lowResistance = 250;
constexpr NSLayoutPriority required = 1000;

// Adds a view that is laid out by constraints alone.
template <typename ViewClass>
ViewClass added(ViewClass view, NSView* contentView) {
  view.translatesAutoresizingMaskIntoConstraints = NO;
  [contentView addSubview:view];
  return view;
}

NSLayoutGuide* addColumn(NSView* contentView, const UpdatePromptContent& content) {
  NSLayoutGuide* column = [[NSLayoutGuide alloc] init];
  [contentView addLayoutGuide:column];
  [NSLayoutConstraint activateConstraints:@[
    [column.leadingAnchor constraintEqualToAnchor:contentView.leadingAnchor],
    [column.topAnchor constraintEqualToAnchor:contentView.topAnchor],
    [column.bottomAnchor constraintEqualToAnchor:contentView.bottomAnchor],
    [column.widthAnchor constraintEqualToConstant:content.layout.columnWidth]
  ]];
  return column;
}

void addLogo(NSView* contentView, NSLayoutGuide* column, const UpdatePromptContent& content) {
  NSImage* image = [NSImage imageNamed:stringFrom(content.logoImageName)];
  if (image == nil) return;
  NSImageView* logo = added([NSImageView imageViewWithImage:image], contentView);
  logo.imageScaling = NSImageScaleProportionallyUpOrDown;
  [NSLayoutConstraint activateConstraints:@[
    [logo.centerXAnchor constraintEqualToAnchor:column.centerXAnchor],
    [logo.topAnchor constraintEqualToAnchor:column.topAnchor constant:content.layout.margin],
    [logo.widthAnchor constraintEqualToAnchor:column.widthAnchor multiplier:content.layout.logoScale],
    [logo.heightAnchor constraintEqualToAnchor:logo.widthAnchor]
  ]];
}

OrvoUpdateProgressActionButton* addButton(NSView* contentView, const UpdatePromptButton& description) {
  OrvoUpdateProgressActionButton* button =
      added([[OrvoUpdateProgressActionButton alloc] initWithFrame:NSZeroRect], contentView);
  button.bezelStyle = NSBezelStyleRounded;
  button.title = stringFrom(description.title);
  button.accessibilityIdentifier = stringFrom(description.accessibilityIdentifier);
  if (description.isDefault) button.keyEquivalent = @"\r";
  button.hidden = description.isHidden;
  const std::function<void()> action = description.action;
  [button setPellamActionHandler:[action](Button&) {
    if (action) action();
  }];
  return button;
}

// From the trailing edge towards the leading one, along the bottom. The first, or nil without buttons.
NSView* addButtons(NSView* contentView, const UpdatePromptContent& content) {
  NSView* first = nil;
  NSLayoutXAxisAnchor* edge = contentView.trailingAnchor;
  for (const UpdatePromptButton& description : content.buttons) {
    NSView* button = addButton(contentView, description);
    [NSLayoutConstraint activateConstraints:@[
      [button.trailingAnchor constraintEqualToAnchor:edge constant:-content.layout.margin],
      [button.bottomAnchor constraintEqualToAnchor:contentView.bottomAnchor constant:-content.layout.margin]
    ]];
    edge = button.leadingAnchor;
    if (first == nil) first = button;
  }
  return first;
}

NSBox* addNotes(NSView* contentView, const UpdatePromptContent& content) {
  NSBox* box = added([[NSBox alloc] initWithFrame:NSZeroRect], contentView);
  box.titlePosition = NSNoTitle;
  box.boxType = NSBoxCustom;
  box.borderColor = NSColor.tertiaryLabelColor;
  box.contentViewMargins = NSZeroSize;
  NSView* inside = box.contentView;
  if (inside == nil) return box;
  PellamReleaseNotesView* notes =
      added([[PellamReleaseNotesView alloc] initWithPolicy:content.decidePolicy], inside);
  [NSLayoutConstraint activateConstraints:@[
    [notes.leadingAnchor constraintEqualToAnchor:inside.leadingAnchor],
    [notes.trailingAnchor constraintEqualToAnchor:inside.trailingAnchor],
    [notes.topAnchor constraintEqualToAnchor:inside.topAnchor],
    [notes.bottomAnchor constraintEqualToAnchor:inside.bottomAnchor]
  ]];
  if (content.releaseNotes) [notes loadPage:*content.releaseNotes timeout:content.timeout];
  return box;
}

}  // namespace

void addPromptContent(NSView* contentView, const UpdatePromptContent& content) {
  NSLayoutGuide* column = addColumn(contentView, content);
  addLogo(contentView, column, content);
  NSView* firstButton = addButtons(contentView, content);

  NSTextField* headline = added([NSTextField labelWithString:stringFrom(content.headline)], contentView);
  headline.font = [NSFont boldSystemFontOfSize:13];
  NSTextField* sentence =
      added([NSTextField wrappingLabelWithString:stringFrom(content.sentence)], contentView);
  sentence.font = [NSFont systemFontOfSize:12];
  // The versions in it are the feed's words; a text without measure must not push the buttons off the screen.
  sentence.maximumNumberOfLines = mostSentenceLines;
  sentence.lineBreakMode = NSLineBreakByWordWrapping;
  sentence.cell.truncatesLastVisibleLine = YES;
  sentence.toolTip = sentence.stringValue;
  [sentence setContentCompressionResistancePriority:lowResistance
                                     forOrientation:NSLayoutConstraintOrientationHorizontal];
  [sentence setContentCompressionResistancePriority:required
                                     forOrientation:NSLayoutConstraintOrientationVertical];
  NSTextField* caption = added([NSTextField labelWithString:stringFrom(content.caption)], contentView);
  caption.font = [NSFont boldSystemFontOfSize:11];
  NSBox* box = addNotes(contentView, content);

  NSLayoutYAxisAnchor* floor = firstButton != nil ? firstButton.topAnchor : contentView.bottomAnchor;
  [NSLayoutConstraint activateConstraints:@[
    [headline.topAnchor constraintEqualToAnchor:contentView.topAnchor constant:content.layout.margin],
    [sentence.topAnchor constraintEqualToAnchor:headline.bottomAnchor constant:content.layout.textSpacing],
    [caption.topAnchor constraintEqualToAnchor:sentence.bottomAnchor constant:content.layout.textSpacing],
    [box.topAnchor constraintEqualToAnchor:caption.bottomAnchor constant:content.layout.textSpacing],
    [box.bottomAnchor constraintEqualToAnchor:floor constant:-content.layout.margin],
    [box.heightAnchor constraintGreaterThanOrEqualToConstant:content.layout.minimumNotesHeight]
  ]];
  for (NSView* row in @[ headline, sentence, caption, box ]) {
    [NSLayoutConstraint activateConstraints:@[
      [row.leadingAnchor constraintEqualToAnchor:column.trailingAnchor],
      [row.trailingAnchor constraintEqualToAnchor:contentView.trailingAnchor constant:-content.layout.margin]
    ]];
  }
}

}  // namespace pellam::macos
