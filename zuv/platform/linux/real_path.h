// The canonical form of a path, as the system resolves it.
#pragma once

#include <string>

namespace zuv::platform::detail {

/// The absolute path of the existing item at `path`, with every symbolic link, "." and ".."
/// resolved; empty, with errno set, when it cannot be resolved.
std::string RealPath(const std::string& path);

}  // namespace zuv::platform::detail
