#pragma once

#include <systemd/sd-bus.h>

#include <string>

#include "pellam/cancellation.h"
#include "platform/linux/jobs/polkit_answer.h"

namespace pellam {

// One question to the system's authority: whether this process may do what an action stands for.
struct PolkitQuestion {
  std::string action;
  std::string prompt;  // what the user reads; empty: the words of the action's policy
  bool mayInteract = false;
};

// Blocks, with interaction for as long as the user is asked; no answer within the bus's own time limit, or
// one that cannot be read, is an answer with an error's name. Throws OperationCancelled; the dialog ends when
// the bus is closed then.
[[nodiscard]] PolkitAnswer askPolkit(sd_bus* bus, const PolkitQuestion& question,
                                     const CancellationToken& cancellation);

}  // namespace pellam
