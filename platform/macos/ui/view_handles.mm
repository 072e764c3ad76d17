#include "platform/macos/ui/view_handles.h"

#include <algorithm>
#include <utility>

#include "platform/macos/foundation_bridge.h"
#include "platform/macos/guarded_call.h"

@interface OrvoUpdateProgressActionButton ()
- (void)becomeOwnTarget;
@end

@implementation OrvoUpdateProgressActionButton {
  std::function<void(pellam::Button&)> _actionHandler;
}
- (instancetype)initWithFrame:(NSRect)frameRect {
  if ((self = [super initWithFrame:frameRect])) [self becomeOwnTarget];
  return self;
}
- (instancetype)initWithCoder:(NSCoder*)coder {
  if ((self = [super initWithCoder:coder])) [self becomeOwnTarget];
  return self;
}
- (void)becomeOwnTarget {
  self.target = self;
  self.action = @selector(performProgressAction:);
}
- (void)setPellamActionHandler:(std::function<void(pellam::Button&)>)handler {
  _actionHandler = std::move(handler);
}
- (void)performProgressAction:(id)sender {
  (void)sender;
  // The handler may take itself away, and the button with it.
  const std::function<void(pellam::Button&)> handler = _actionHandler;
  if (!handler) return;
  const auto handle = std::dynamic_pointer_cast<pellam::Button>(pellam::macos::handleFor(self));
  (void)pellam::macos::runGuarded([&] { handler(*handle); });
}
@end

@implementation PellamProgressIndicator
- (void)startAnimation:(id)sender {
  _moves = YES;
  [super startAnimation:sender];
}
- (void)stopAnimation:(id)sender {
  _moves = NO;
  [super stopAnimation:sender];
}
@end

namespace pellam::macos {

namespace {

// What gives the view back from behind a handle.
class ViewHolder {
 public:
  explicit ViewHolder(NSView* view) : view_(view) {}
  [[nodiscard]] NSView* view() const { return view_; }

 private:
  NSView* view_;
};

template <typename Interface>
class Handle : public Interface, public ViewHolder {
 public:
  explicit Handle(NSView* view) : ViewHolder(view) {}

  std::string accessibilityIdentifier() const override { return textOf(view().accessibilityIdentifier); }
  std::vector<std::shared_ptr<View>> subviews() const override {
    std::vector<std::shared_ptr<View>> handles;
    for (NSView* subview in contained()) handles.push_back(handleFor(subview));
    return handles;
  }
  void removeAllSubviews() override {
    for (NSView* subview in contained()) [subview removeFromSuperview];
  }
  bool isHidden() const override { return view().hidden == YES; }
  void setHidden(bool isHidden) override { view().hidden = isHidden; }

 private:
  // A stack takes hidden views out of its hierarchy while they are hidden; they belong to it all the same.
  [[nodiscard]] NSArray<NSView*>* contained() const {
    if (![view() isKindOfClass:[NSStackView class]]) return [view().subviews copy];
    NSStackView* stack = static_cast<NSStackView*>(view());
    NSMutableArray<NSView*>* all = [NSMutableArray arrayWithArray:stack.arrangedSubviews];
    for (NSView* detached in stack.detachedViews) {
      if (![all containsObject:detached]) [all addObject:detached];
    }
    return all;
  }
};

class LabelHandle final : public Handle<Label> {
 public:
  using Handle::Handle;
  std::string text() const override { return textOf(field().stringValue); }
  void setText(const std::string& text) override { field().stringValue = stringFrom(text); }

 private:
  [[nodiscard]] NSTextField* field() const { return static_cast<NSTextField*>(view()); }
};

class ButtonHandle final : public Handle<Button> {
 public:
  using Handle::Handle;
  std::string title() const override { return textOf(button().title); }
  void setTitle(const std::string& title) override { button().title = stringFrom(title); }
  bool isEnabled() const override { return button().enabled == YES; }
  void setEnabled(bool isEnabled) override { button().enabled = isEnabled; }
  void setActionHandler(std::function<void(Button&)> handler) override {
    [button() setPellamActionHandler:std::move(handler)];
  }
  void sizeToFit() override { [button() sizeToFit]; }

 private:
  [[nodiscard]] OrvoUpdateProgressActionButton* button() const {
    return static_cast<OrvoUpdateProgressActionButton*>(view());
  }
};

class ProgressIndicatorHandle final : public Handle<ProgressIndicator> {
 public:
  using Handle::Handle;
  bool isIndeterminate() const override { return bar().indeterminate == YES; }
  void setIndeterminate(bool isIndeterminate) override { bar().indeterminate = isIndeterminate; }
  double value() const override { return bar().doubleValue; }
  void setValue(double value) override { bar().doubleValue = value; }
  bool isAnimating() const override { return bar().moves == YES; }
  void startAnimation() override { [bar() startAnimation:nil]; }
  void stopAnimation() override { [bar() stopAnimation:nil]; }

 private:
  [[nodiscard]] PellamProgressIndicator* bar() const { return static_cast<PellamProgressIndicator*>(view()); }
};

}  // namespace

std::shared_ptr<View> handleFor(NSView* view) {
  if ([view isKindOfClass:[OrvoUpdateProgressActionButton class]])
    return std::make_shared<ButtonHandle>(view);
  if ([view isKindOfClass:[NSTextField class]]) return std::make_shared<LabelHandle>(view);
  if ([view isKindOfClass:[PellamProgressIndicator class]]) {
    return std::make_shared<ProgressIndicatorHandle>(view);
  }
  return std::make_shared<Handle<View>>(view);
}

NSView* viewBehind(View& handle) {
  const auto* holder = dynamic_cast<ViewHolder*>(&handle);
  return holder == nullptr ? nil : holder->view();
}

}  // namespace pellam::macos
