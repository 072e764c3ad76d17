#pragma once

#include <optional>
#include <string>

#include "pellam/cancellation.h"

namespace pellam {

// Whether somebody sits at the stream.
[[nodiscard]] bool standardInputIsTerminal();
[[nodiscard]] bool standardOutputIsTerminal();

// One line from standard input, without its end; nothing at the end of the input and once the token is
// cancelled. Blocks.
[[nodiscard]] std::optional<std::string> readTerminalLine(const CancellationToken& cancellation);

}  // namespace pellam
