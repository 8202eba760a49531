// The process-wide counter behind the temporary file names, for tests that must see or set it.
#pragma once

#include <atomic>
#include <cstdint>

namespace zuv::files_internal {

/// Moved on by one for every temporary file name tried; never reset.
std::atomic<uint32_t>& TempFileCounter();

}  // namespace zuv::files_internal
