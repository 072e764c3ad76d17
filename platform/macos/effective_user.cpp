#include "platform/effective_user.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <vector>

// With these, the system tells of more groups than it takes back.
#if defined(_DARWIN_UNLIMITED_GETGROUPS) || defined(_DARWIN_C_SOURCE)
#error "the groups of root could not be restored"
#endif

namespace pellam {

namespace {

[[noreturn]] void throwError(const char* operation) {
  throw std::system_error(errno, std::generic_category(), operation);
}

// The privileged identity, taken back when it goes out of scope.
class PrivilegedIdentity {
 public:
  PrivilegedIdentity() : group_(::getegid()) {
    const int count = ::getgroups(0, nullptr);
    if (count < 0) throwError("getgroups");
    groups_.resize(static_cast<std::size_t>(count));
    if (::getgroups(count, groups_.data()) != count) throwError("getgroups");
  }
  PrivilegedIdentity(const PrivilegedIdentity&) = delete;
  PrivilegedIdentity& operator=(const PrivilegedIdentity&) = delete;
  ~PrivilegedIdentity() {
    // Going on with an identity that is half the user's and half root's is not an option.
    if (::seteuid(0) != 0 || ::setegid(group_) != 0 ||
        ::setgroups(static_cast<int>(groups_.size()), groups_.data()) != 0) {
      std::abort();
    }
  }

 private:
  gid_t group_;
  std::vector<gid_t> groups_;
};

class SystemEffectiveUserSwitching final : public EffectiveUserSwitching {
 public:
  void performAs(std::uint32_t userID, std::uint32_t groupID, const std::function<void()>& work) override {
    if (::geteuid() != 0) return work();
    const PrivilegedIdentity identity;
    const gid_t group = groupID;
    if (::setgroups(1, &group) != 0) throwError("setgroups");
    if (::setegid(group) != 0) throwError("setegid");
    if (::seteuid(userID) != 0) throwError("seteuid");
    work();
  }
};

}  // namespace

std::shared_ptr<EffectiveUserSwitching> makeSystemEffectiveUserSwitching() {
  return std::make_shared<SystemEffectiveUserSwitching>();
}

}  // namespace pellam
