// The folders found from the environment: the per-user scratch folder, made and checked so that no
// other user can swap it for one of theirs, and the Application Support folder.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/file_system.h"
#include "zuv/platform/linux/status.h"

namespace zuv::platform {
namespace {

using detail::StatusFromErrno;

// Whether the folder open at `fd` keeps other users from renaming or removing what is in it: it is
// root's or the user's own, and open for writing to group or others only with the sticky bit.
bool KeepsOthersOut(int fd, uid_t user) {
  struct stat st;
  return fstat(fd, &st) == 0 && (st.st_uid == 0 || st.st_uid == user) &&
         ((st.st_mode & 022) == 0 || (st.st_mode & S_ISVTX) != 0);
}

// Opens the folder at the canonical `path` one level at a time from the root, never through a
// symbolic link, and makes *fd. kErrAccessDenied when a folder on the way does not keep others out.
OSStatus OpenGuardedFolder(const std::string& path, uid_t user, int* fd) {
  int folder = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return StatusFromErrno(errno);
  for (size_t start = 1;;) {
    if (!KeepsOthersOut(folder, user)) {
      close(folder);
      return kErrAccessDenied;
    }
    if (start >= path.size()) break;
    const size_t end = std::min(path.find('/', start), path.size());
    const int next = openat(folder, path.substr(start, end - start).c_str(),
                            O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const int error = errno;
    close(folder);
    if (next < 0) {
      return error == ELOOP || error == ENOTDIR ? kErrAccessDenied : StatusFromErrno(error);
    }
    folder = next;
    start = end + 1;
  }
  *fd = folder;
  return kNoErr;
}

}  // namespace

// Every folder from the root to the scratch folder is checked through a descriptor opened without
// following a link, and the scratch folder is made and opened relative to the one above it, so
// that what is checked is what was found. As no other user can rename anything on that way, its
// path keeps naming the same folder for every later use. A refused folder is reported and nothing
// is made in it.
OSStatus FindScratchFolder(bool create, std::string* path) {
  const char* tmpdir = std::getenv("TMPDIR");
  FSRef folder;  // a path that ends in "." is resolved whole, links included
  if (const OSStatus status = MakeRef(
          std::string(tmpdir != nullptr && tmpdir[0] == '/' ? tmpdir : "/tmp") + "/.", &folder);
      status != kNoErr) {
    return status;
  }
  const uid_t user = geteuid();
  int parent = -1;
  if (const OSStatus status = OpenGuardedFolder(folder.path, user, &parent); status != kNoErr) {
    return status;
  }
  const std::string name = "zuv-" + std::to_string(user);
  if (create && mkdirat(parent, name.c_str(), 0700) != 0 && errno != EEXIST) {
    const int error = errno;
    close(parent);
    return StatusFromErrno(error);
  }
  const int fd = openat(parent, name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  const int error = errno;
  close(parent);
  if (fd < 0) {
    if (error == ENOENT) return kErrFileNotFound;
    return error == ELOOP || error == ENOTDIR ? kErrAccessDenied : StatusFromErrno(error);
  }
  struct stat st;
  const bool safe = fstat(fd, &st) == 0 && st.st_uid == user && (st.st_mode & 077) == 0;
  close(fd);
  if (!safe) return kErrAccessDenied;
  *path = paths_internal::JoinPath(folder.path, name);
  return kNoErr;
}

// Relative entries are invalid by the XDG base directory rules and are skipped.
bool FindApplicationSupportFolder(std::string* path) {
  const char* dirs = std::getenv("XDG_DATA_DIRS");
  const std::string list = dirs != nullptr && dirs[0] != '\0' ? dirs : "/usr/local/share";
  for (size_t start = 0; start <= list.size();) {
    const size_t end = std::min(list.find(':', start), list.size());
    const std::string_view entry = std::string_view(list).substr(start, end - start);
    if (!entry.empty() && entry.front() == '/') {
      *path = paths_internal::WithoutTrailingSlashes(entry);
      return true;
    }
    start = end + 1;
  }
  return false;
}

}  // namespace zuv::platform
