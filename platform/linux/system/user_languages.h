#pragma once

#include <string>
#include <vector>

namespace pellam {

// The user's languages as names of localisation folders ("pt-BR", "pt"), the preferred one first, taken from
// the environment; English and "Base" close the list.
[[nodiscard]] std::vector<std::string> userLanguages();

}  // namespace pellam
