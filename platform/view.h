#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace pellam {

// What a window holds. These objects are handles: they share the view that lives in the window, compare by
// nothing, and may be dropped and fetched again at any time. Main thread only. Operations on a view that has
// been removed from its window are harmless.
class View {
 public:
  View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  virtual ~View() = default;

  // The exact string that names the view for code, tests and assistive technology; empty when it has none.
  [[nodiscard]] virtual std::string accessibilityIdentifier() const = 0;
  // The direct subviews in the order in which they are drawn. A view of a kind that is named below is of that
  // class (dynamic_pointer_cast tells), every other one a plain View.
  [[nodiscard]] virtual std::vector<std::shared_ptr<View>> subviews() const = 0;
  virtual void removeAllSubviews() = 0;

  [[nodiscard]] virtual bool isHidden() const = 0;
  // A hidden view takes no room.
  virtual void setHidden(bool isHidden) = 0;
};

// One line or a paragraph of plain text: markup in it is shown, never interpreted.
class Label : public View {
 public:
  [[nodiscard]] virtual std::string text() const = 0;
  virtual void setText(const std::string& text) = 0;
};

class Button : public View {
 public:
  [[nodiscard]] virtual std::string title() const = 0;
  virtual void setTitle(const std::string& title) = 0;
  [[nodiscard]] virtual bool isEnabled() const = 0;
  virtual void setEnabled(bool isEnabled) = 0;
  // Called for each press, on the main thread, with the pressed button. The view keeps the handler, not this
  // handle; an empty one takes the earlier handler away.
  virtual void setActionHandler(std::function<void(Button&)> handler) = 0;
  virtual void sizeToFit() = 0;
};

class ProgressIndicator : public View {
 public:
  [[nodiscard]] virtual bool isIndeterminate() const = 0;
  virtual void setIndeterminate(bool isIndeterminate) = 0;
  // The bar's range is 0…1.
  [[nodiscard]] virtual double value() const = 0;
  virtual void setValue(double value) = 0;
  [[nodiscard]] virtual bool isAnimating() const = 0;
  virtual void startAnimation() = 0;
  virtual void stopAnimation() = 0;
};

}  // namespace pellam
