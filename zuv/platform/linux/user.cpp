#include "zuv/platform/user.h"

#include <unistd.h>

namespace zuv::platform {

uint32_t CurrentUserId() { return getuid(); }

std::vector<uint32_t> SupplementaryGroups() {
  const int count = getgroups(0, nullptr);
  if (count <= 0) return {};
  std::vector<gid_t> groups(static_cast<size_t>(count));
  const int filled = getgroups(count, groups.data());
  return std::vector<uint32_t>(groups.begin(), groups.begin() + (filled > 0 ? filled : 0));
}

}  // namespace zuv::platform
