#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

#include "pellam/cancellation.h"

namespace pellam {

struct BusMessageDeleter {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageDeleter>;

// How long an answer may take: the bus's own limit, or for as long as somebody is asked.
enum class Patience { ordinary, whileSomebodyIsAsked };

// Makes a call and waits for its answer, which may be an error, that of an answer too late included. Signals
// that arrive meanwhile reach their handlers. Throws OperationCancelled when the token is cancelled first,
// PlatformError when the bus is lost. The question that a call has led to ends when the bus is closed, by
// whoever owns it.
[[nodiscard]] BusMessage callUntilAnswered(sd_bus* bus, sd_bus_message* call, Patience patience,
                                           const CancellationToken& cancellation);

// The name of the error that an answer is; empty for any other answer.
[[nodiscard]] std::string errorNameOf(const BusMessage& answer);

}  // namespace pellam
