#pragma once

#include <memory>
#include <string_view>

#include "platform/view.h"

namespace pellam {

// The first view below `root`, depth first in the order of the subviews, that is of the wanted kind and has
// exactly that identifier; null when there is none. `root` itself is not looked at. Main thread only.
template <typename ViewType>
[[nodiscard]] std::shared_ptr<ViewType> orvoUpdateProgressDescendant(
    const View& root, std::string_view accessibilityIdentifier) {
  for (const std::shared_ptr<View>& subview : root.subviews()) {
    if (subview->accessibilityIdentifier() == accessibilityIdentifier) {
      if (auto wanted = std::dynamic_pointer_cast<ViewType>(subview)) return wanted;
    }
    if (auto found = orvoUpdateProgressDescendant<ViewType>(*subview, accessibilityIdentifier)) return found;
  }
  return nullptr;
}

}  // namespace pellam
