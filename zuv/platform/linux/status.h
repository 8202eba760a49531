// The one place where the system's errno values become the error numbers the file code expects.
#pragma once

#include "zuv/platform/catalog.h"

namespace zuv::platform::detail {

/// The error number for an errno value: not found, busy, duplicate name, disk full, access denied
/// and the like; kErrIO for anything without a closer match. 0 stays kNoErr.
OSStatus StatusFromErrno(int error);

}  // namespace zuv::platform::detail
