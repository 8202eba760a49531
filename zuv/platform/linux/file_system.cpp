#include "zuv/platform/file_system.h"

#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "zuv/platform/linux/linux_file_system.h"

namespace zuv::platform {

bool detail::IsFolder(const FSRef& item) {
  struct stat st;
  return lstat(item.path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool detail::LinuxFileSystem::Exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

OSStatus detail::LinuxFileSystem::DeleteResourceFork(const FSRef&) { return kErrForkNotFound; }

OSStatus detail::LinuxFileSystem::SetCatalogInfo(const FSRef& item, FSCatalogInfoBitmap which,
                                                 const FSCatalogInfo& info) {
  return zuv::platform::SetCatalogInfo(item, which, info);
}

void detail::LinuxFileSystem::Pause(std::chrono::milliseconds duration) {
  std::this_thread::sleep_for(duration);
}

template <>
FileSystem& Replaceable<FileSystem>::Real() {
  static detail::LinuxFileSystem real;
  return real;
}

}  // namespace zuv::platform
