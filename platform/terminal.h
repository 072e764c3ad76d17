#pragma once

namespace pellam {

// Whether somebody sits at the stream.
[[nodiscard]] bool standardInputIsTerminal();
[[nodiscard]] bool standardOutputIsTerminal();

}  // namespace pellam
