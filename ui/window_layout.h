#pragma once

#include "platform/window_toolkit.h"

namespace pellam {

// How the product's windows are laid out, in points. A toolkit draws what it is told.
inline constexpr PromptLayout promptLayout{
    .margin = 16, .columnWidth = 120, .logoScale = 0.7, .textSpacing = 8, .minimumNotesHeight = 200};
inline constexpr ProgressLayout progressLayout{.margin = 20, .spacing = 6, .barHeight = 16};

}  // namespace pellam
