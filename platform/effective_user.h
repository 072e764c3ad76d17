#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace pellam {

// Lets a privileged process touch a user's own folders with that user's rights and no others, so that a link
// or a folder that the user put there leads nowhere the user could not go anyway, and what is created belongs
// to the user.
class EffectiveUserSwitching {
 public:
  virtual ~EffectiveUserSwitching() = default;
  // Runs the work as the user; a process that is not privileged runs it as it is. The identity belongs to the
  // whole process: not for processes with other threads at work. What the work throws is thrown here, after
  // the way back; a way back that fails ends the process. Throws std::system_error, without running the work,
  // when the switch fails.
  virtual void performAs(std::uint32_t userID, std::uint32_t groupID, const std::function<void()>& work) = 0;
};

[[nodiscard]] std::shared_ptr<EffectiveUserSwitching> makeSystemEffectiveUserSwitching();

}  // namespace pellam
