// LinuxFileSystem's removal of items: one file or empty folder, and a whole tree.
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/linux/linux_file_system.h"
#include "zuv/platform/linux/status.h"

namespace zuv::platform::detail {
namespace {

// How many folders of a tree being removed are held open at most. A folder above them is closed
// on the way down and opened again as ".." of the one below on the way back, so that a tree of any
// depth is removed with this many descriptors.
constexpr size_t kOpenFoldersHeld = 8;

// A folder on the way down a tree being removed: its stream (null while closed), its identity, its
// name in the folder above, and the names in it that could not be removed, which a stream opened
// again passes over.
struct TreeLevel {
  DIR* stream = nullptr;
  dev_t device = 0;
  ino_t inode = 0;
  std::string name;
  std::set<std::string> kept;
};

// Opens `name` in the folder `at` as a stream, never through a symbolic link.
std::optional<TreeLevel> OpenTreeLevel(int at, const char* name) {
  const int fd = openat(at, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  struct stat st;
  if (fd < 0) return std::nullopt;
  DIR* stream = fstat(fd, &st) == 0 ? fdopendir(fd) : nullptr;
  if (stream == nullptr) {
    close(fd);
    return std::nullopt;
  }
  return TreeLevel{stream, st.st_dev, st.st_ino, name, {}};
}

// Empties the folder `folder` of the folder `at` bottom up, never following a symbolic link:
// unlinkat removes a link itself, and a folder is entered by openat with O_NOFOLLOW. A folder
// opened again from below must be the one that was left, else the walk stops there, as the tree has
// been moved meanwhile. True when everything in it went.
bool EmptyTree(int at, const std::string& folder) {
  std::vector<TreeLevel> levels;
  if (std::optional<TreeLevel> top = OpenTreeLevel(at, folder.c_str())) {
    levels.push_back(std::move(*top));
  } else {
    return false;
  }
  size_t firstOpen = 0;  // the levels from here down have their streams open
  bool emptied = true;
  while (!levels.empty()) {
    TreeLevel& level = levels.back();
    const int fd = dirfd(level.stream);
    if (const dirent* entry = readdir(level.stream)) {
      const std::string name = entry->d_name;
      if (name == "." || name == ".." || level.kept.count(name) != 0) continue;
      if (unlinkat(fd, name.c_str(), 0) == 0) continue;
      const bool isFolder = errno == EISDIR;
      std::optional<TreeLevel> child;
      if (isFolder) child = OpenTreeLevel(fd, name.c_str());
      if (!child) {
        // Not a folder, or a folder that cannot be entered but may be empty.
        if (!isFolder || unlinkat(fd, name.c_str(), AT_REMOVEDIR) != 0) {
          level.kept.insert(name);
          emptied = false;
        }
        continue;
      }
      levels.push_back(std::move(*child));
      if (levels.size() - firstOpen > kOpenFoldersHeld) {
        closedir(levels[firstOpen].stream);
        levels[firstOpen++].stream = nullptr;
      }
      continue;
    }
    if (levels.size() == 1) {
      closedir(level.stream);
      break;
    }
    TreeLevel& parent = levels[levels.size() - 2];
    if (parent.stream == nullptr) {
      std::optional<TreeLevel> above = OpenTreeLevel(fd, "..");
      if (!above || above->device != parent.device || above->inode != parent.inode) {
        if (above) closedir(above->stream);
        for (size_t i = firstOpen; i < levels.size(); ++i) closedir(levels[i].stream);
        return false;
      }
      parent.stream = above->stream;
      --firstOpen;
    }
    const std::string name = std::move(level.name);
    closedir(level.stream);
    levels.pop_back();
    if (unlinkat(dirfd(parent.stream), name.c_str(), AT_REMOVEDIR) != 0) {
      parent.kept.insert(name);
      emptied = false;
    }
  }
  return emptied;
}

}  // namespace

OSStatus LinuxFileSystem::Delete(const FSRef& item) {
  const int done = IsFolder(item) ? rmdir(item.path.c_str()) : unlink(item.path.c_str());
  return done == 0 ? kNoErr : StatusFromErrno(errno);
}

OSStatus LinuxFileSystem::Unlink(const std::string& path) {
  return unlink(path.c_str()) == 0 ? kNoErr : StatusFromErrno(errno);
}

// A trailing "/" would make the system follow a symbolic link named last, so it is dropped.
bool LinuxFileSystem::RemoveTree(const std::string& path) {
  return RemoveTreeAt(AT_FDCWD, std::string(paths_internal::WithoutTrailingSlashes(path)));
}

}  // namespace zuv::platform::detail

namespace zuv::platform {

bool RemoveTreeAt(int folder, const std::string& name) {
  struct stat st;
  if (fstatat(folder, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return false;
  if (!S_ISDIR(st.st_mode)) return unlinkat(folder, name.c_str(), 0) == 0;
  const bool emptied = detail::EmptyTree(folder, name);
  return unlinkat(folder, name.c_str(), AT_REMOVEDIR) == 0 && emptied;
}

}  // namespace zuv::platform
