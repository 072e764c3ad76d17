#include "platform/linux/jobs/bus_call.h"

#include <poll.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "platform/linux/jobs/cancellation_event.h"
#include "platform/linux/jobs/job_description.h"

namespace pellam {

namespace {

int keepAnswer(sd_bus_message* message, void* answer, sd_bus_error*) {
  static_cast<BusMessage*>(answer)->reset(sd_bus_message_ref(message));
  return 1;
}

void check(int result) {
  if (result < 0) throw jobError(-result, "the system's bus");
}

}  // namespace

BusMessage callUntilAnswered(sd_bus* bus, sd_bus_message* call, Patience patience,
                             const CancellationToken& cancellation) {
  constexpr int oneSecond = 1'000;  // between two looks at the bus's limit
  const bool isLimited = patience == Patience::ordinary;
  const CancellationEvent cancelled(cancellation);
  BusMessage answer;
  sd_bus_slot* slot = nullptr;
  check(sd_bus_call_async(bus, &slot, call, keepAnswer, &answer, isLimited ? 0 : UINT64_MAX));
  const std::unique_ptr<sd_bus_slot, decltype(&sd_bus_slot_unref)> pending(slot, &sd_bus_slot_unref);
  for (;;) {
    int result = 0;
    while (!answer && (result = sd_bus_process(bus, nullptr)) > 0) {
    }
    if (answer) return answer;
    check(result);
    const int events = sd_bus_get_events(bus);
    check(events);
    std::array<pollfd, 2> waiting = {
        {{sd_bus_get_fd(bus), static_cast<short>(events), 0}, {cancelled.descriptor(), POLLIN, 0}}};
    if (::poll(waiting.data(), waiting.size(), isLimited ? oneSecond : -1) < 0 && errno != EINTR)
      check(-errno);
    cancellation.throwIfCancelled();
  }
}

std::string errorNameOf(const BusMessage& answer) {
  const sd_bus_error* error = sd_bus_message_get_error(answer.get());
  return error == nullptr || error->name == nullptr ? std::string() : std::string(error->name);
}

}  // namespace pellam
