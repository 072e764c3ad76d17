#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "pellam/main_thread.h"

namespace pellam {

struct ApplicationMenuItem {
  std::string title;
  std::function<void()> action;
};

// The event loop of an application with windows, with just enough of an application around it (one window
// with a text to edit, and a menu) for the samples and tests of this system. Make it and run it on the main
// thread.
class Application {
 public:
  Application() = default;
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  virtual ~Application() = default;

  // Shows the application's own window with a menu of the given name; the text is the document. Closing the
  // window ends run().
  virtual void showDocumentWindow(const std::string& title, const std::string& text,
                                  const std::string& menuTitle, std::vector<ApplicationMenuItem> menu) = 0;
  // Handles events until stop() or until the document window is closed.
  virtual void run() = 0;
  // Any thread.
  virtual void stop() = 0;
};

// Throws DisplayUnavailable.
[[nodiscard]] std::unique_ptr<Application> makeSystemApplication(const std::string& identifier,
                                                                 const std::string& name);

}  // namespace pellam
