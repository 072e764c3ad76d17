#pragma once

#include <string_view>
#include <system_error>

#include "formats/archive/entry_name.h"

namespace pellam::archive {

// What the system refuses while the work is done is told under this name, as messages show names.
template <typename Work>
auto at(std::string_view name, const Work& work) {
  try {
    return work();
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), shownName(name));
  }
}

}  // namespace pellam::archive
