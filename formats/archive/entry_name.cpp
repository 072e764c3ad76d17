#include "formats/archive/entry_name.h"

#include "foundation/safe_text.h"
#include "text/unicode_text.h"

namespace pellam::archive {

std::string shownName(std::string_view name) { return text::truncatedToCharacters(visibleText(name), 200); }

}  // namespace pellam::archive
