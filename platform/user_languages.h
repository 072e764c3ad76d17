#pragma once

#include <optional>
#include <string>
#include <vector>

namespace pellam {

// The user's languages as names of localisation folders ("pt-BR", "pt"), the preferred one first; English and
// "Base" close the list. Any thread.
[[nodiscard]] std::vector<std::string> userLanguages();

// The code of the user's preferred language without its region ("pt"); nothing when the user has stated none.
[[nodiscard]] std::optional<std::string> preferredUserLanguage();

}  // namespace pellam
