#pragma once

#include <filesystem>

namespace pellam {

// Connects this process to its display, once, and teaches the toolkit the look of this system's views. Main
// thread. Throws DisplayUnavailable; a later call tries again.
void connectToDisplay();

}  // namespace pellam
