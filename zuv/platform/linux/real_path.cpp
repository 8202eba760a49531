#include "zuv/platform/linux/real_path.h"

#include <cstdlib>
#include <memory>

namespace zuv::platform::detail {

std::string RealPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                             &std::free);
  return resolved ? std::string(resolved.get()) : std::string();
}

}  // namespace zuv::platform::detail
