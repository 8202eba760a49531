// The desktop's trash, as the move-to-trash code asks for it: put named items of one folder where
// the user's file manager keeps deleted items, so that they can be put back from there. Asked
// through Replaceable<Trash>, so that a test can put in a trash that refuses.
#pragma once

#include <string>
#include <vector>

#include "zuv/platform/replaceable.h"

namespace zuv::platform {

class Trash {
 public:
  virtual ~Trash() = default;
  /// Moves each named item of the absolute `folder` to the trash of its volume, trying every name.
  /// True when every name was trashed; an empty name is skipped, and a name that is not one item
  /// of the folder ("." or "..", or one holding "/" or U+0000) is not trashed. May be called from
  /// any thread.
  virtual bool Recycle(const std::string& folder, const std::vector<std::string>& names) = 0;
};

template <>
Trash& Replaceable<Trash>::Real();

}  // namespace zuv::platform
