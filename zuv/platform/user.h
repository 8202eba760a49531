// Who the process runs as: the user id and the supplementary groups that permission checks use.
#pragma once

#include <cstdint>
#include <vector>

namespace zuv::platform {

/// The process's real user id.
uint32_t CurrentUserId();
/// The process's supplementary group ids as they are now; empty when it has none.
std::vector<uint32_t> SupplementaryGroups();

}  // namespace zuv::platform
