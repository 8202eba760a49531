#include "zuv/platform/file_system.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stdio.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "zuv/platform/linux/status.h"
#include "zuv/platform/text.h"

namespace zuv::platform {
namespace {

using detail::StatusFromErrno;

// StatusFromErrno for an operation that gives an item a name: a name longer than the file system
// takes is kErrNameTooLong rather than a bad name.
OSStatus StatusFromNamingErrno(int error) {
  return error == ENAMETOOLONG ? kErrNameTooLong : StatusFromErrno(error);
}

// The folder part of a reference's canonical path ("/" for an item at the root).
std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

std::string ChildPath(const std::string& folder, const std::string& name) {
  return folder == "/" ? "/" + name : folder + "/" + name;
}

// The UTF-8 form of a name that can be one path component: not empty, "." or "..", and without
// "/" or U+0000 (which would make it another path or cut it short).
std::optional<std::string> ComponentOf(std::u16string_view name) {
  std::string utf8 = EncodeUtf8(name);
  if (utf8.empty() || utf8 == "." || utf8 == ".." || utf8.find('/') != std::string::npos ||
      utf8.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  return utf8;
}

// Opens a regular file's data, never through a symbolic link and never waiting on a FIFO.
int OpenFork(const FSRef& file, int access, OSStatus* status) {
  const int fd = open(file.path.c_str(), access | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    *status = StatusFromErrno(errno);
    return -1;
  }
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    *status = kErrNotAFile;
    return -1;
  }
  return fd;
}

// Keeps the first failure of a sequence of steps.
void Note(OSStatus* first, OSStatus status) {
  if (*first == kNoErr) *first = status;
}

OSStatus CloseFork(int fd) { return close(fd) == 0 ? kNoErr : StatusFromErrno(errno); }

// Creates a file or a folder by `make`, which tells whether it did and leaves errno set if not.
template <typename Make>
OSStatus CreateItem(const FSRef& parent, std::u16string_view name, FSRef* created, Make make) {
  const std::optional<std::string> leaf = ComponentOf(name);
  if (!leaf) return kErrBadName;
  const std::string path = ChildPath(parent.path, *leaf);
  if (!make(path.c_str())) return StatusFromNamingErrno(errno);
  return MakeRef(path, created);
}

// rename without replacing an item at `to`. File systems that do not take the flag (NFS, some
// FUSE ones) get a test for the target first, which leaves a short window for a race.
int RenameNoReplace(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL) return errno;
  struct stat st;
  if (lstat(to.c_str(), &st) == 0) return EEXIST;
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

OSStatus RenameTo(const FSRef& item, const std::string& to, FSRef* renamed) {
  if (const int error = RenameNoReplace(item.path, to); error != 0) {
    return StatusFromNamingErrno(error);
  }
  return MakeRef(to, renamed);
}

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

bool CreateEmptyFile(const std::string& path) {
  const int fd = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
  return fd >= 0 && close(fd) == 0;
}

// Whether RENAME_EXCHANGE works in `folder`: two empty files are made there, exchanged and removed.
// No answer when the files cannot be made.
std::optional<bool> ProbeExchange(const std::string& folder) {
  static std::atomic<unsigned> probes{0};
  const std::string stem = ChildPath(
      folder, ".zuv-exchange-probe-" + std::to_string(getpid()) + "-" + std::to_string(probes++));
  const std::string a = stem + "a";
  const std::string b = stem + "b";
  std::optional<bool> works;
  if (CreateEmptyFile(a)) {
    if (CreateEmptyFile(b)) {
      works = renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0;
      unlink(b.c_str());
    }
    unlink(a.c_str());
  }
  return works;
}

bool IsFolder(const FSRef& item) {
  struct stat st;
  return lstat(item.path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

class LinuxFileSystem final : public FileSystem {
 public:
  ForkOutcome ReadFork(const FSRef& file, void* buffer, size_t count) override;
  ForkOutcome WriteFork(const FSRef& file, const void* data, size_t count) override;
  OSStatus CreateFile(const FSRef& parent, std::u16string_view name, FSRef* created) override;
  OSStatus CreateFolder(const FSRef& parent, std::u16string_view name, FSRef* created) override;
  OSStatus CreateFolderAtPath(const std::string& path, uint32_t mode) override;
  OSStatus Unlink(const std::string& path) override;
  bool RemoveTree(const std::string& path) override;
  OSStatus DeleteResourceFork(const FSRef& item) override;
  bool Exists(const std::string& path) override;

  OSStatus Rename(const FSRef& item, std::u16string_view name, FSRef* renamed) override {
    const std::optional<std::string> leaf = ComponentOf(name);
    if (!leaf) return kErrBadName;
    if (item.path == "/") return kErrParam;
    return RenameTo(item, ChildPath(FolderOf(item.path), *leaf), renamed);
  }

  OSStatus Move(const FSRef& item, const FSRef& folder, FSRef* moved) override {
    if (item.path == "/") return kErrParam;
    return RenameTo(item, ChildPath(folder.path, item.path.substr(item.path.rfind('/') + 1)),
                    moved);
  }

  OSStatus Delete(const FSRef& item) override {
    const int done = IsFolder(item) ? rmdir(item.path.c_str()) : unlink(item.path.c_str());
    return done == 0 ? kNoErr : StatusFromErrno(errno);
  }

  bool CanExchange(const FSRef& item) override {
    {
      const std::lock_guard<std::mutex> hold(m_lock);
      const auto known = m_canExchange.find(item.device);
      if (known != m_canExchange.end()) return known->second;
    }
    const std::optional<bool> works = ProbeExchange(FolderOf(item.path));
    if (!works) return false;
    const std::lock_guard<std::mutex> hold(m_lock);
    m_canExchange[item.device] = *works;
    return *works;
  }

  OSStatus Exchange(const FSRef& a, const FSRef& b, FSRef* newA, FSRef* newB) override {
    if (IsFolder(a) || IsFolder(b)) return kErrNotAFile;
    if (renameat2(AT_FDCWD, a.path.c_str(), AT_FDCWD, b.path.c_str(), RENAME_EXCHANGE) != 0) {
      return StatusFromErrno(errno);
    }
    const OSStatus status = MakeRef(a.path, newA);
    return status != kNoErr ? status : MakeRef(b.path, newB);
  }

  OSStatus SetCatalogInfo(const FSRef& item, FSCatalogInfoBitmap which,
                          const FSCatalogInfo& info) override {
    return zuv::platform::SetCatalogInfo(item, which, info);
  }

  void Pause(std::chrono::milliseconds duration) override { std::this_thread::sleep_for(duration); }

 private:
  std::mutex m_lock;
  std::map<uint64_t, bool> m_canExchange;  // by device id
};

}  // namespace

ForkOutcome LinuxFileSystem::ReadFork(const FSRef& file, void* buffer, size_t count) {
  ForkOutcome outcome;
  const int fd = OpenFork(file, O_RDONLY, &outcome.transfer);
  if (fd < 0) return ForkOutcome{outcome.transfer, kErrFileNotOpen};
  for (size_t done = 0; done < count;) {
    const ssize_t read =
        pread(fd, static_cast<char*>(buffer) + done, count - done, static_cast<off_t>(done));
    if (read < 0 && errno == EINTR) continue;
    if (read <= 0) {
      if (read < 0) outcome.transfer = StatusFromErrno(errno);
      break;
    }
    done += static_cast<size_t>(read);
  }
  posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
  outcome.close = CloseFork(fd);
  return outcome;
}

// Each step runs whatever became of the one before, as only the close decides the caller's result.
ForkOutcome LinuxFileSystem::WriteFork(const FSRef& file, const void* data, size_t count) {
  ForkOutcome outcome;
  const int fd = OpenFork(file, O_WRONLY, &outcome.transfer);
  if (fd < 0) return ForkOutcome{outcome.transfer, kErrFileNotOpen};
  for (size_t done = 0; done < count;) {
    const ssize_t written =
        pwrite(fd, static_cast<const char*>(data) + done, count - done, static_cast<off_t>(done));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      Note(&outcome.transfer, written < 0 ? StatusFromErrno(errno) : kErrIO);
      break;
    }
    done += static_cast<size_t>(written);
  }
  if (ftruncate(fd, static_cast<off_t>(count)) != 0)
    Note(&outcome.transfer, StatusFromErrno(errno));
  if (fdatasync(fd) != 0) Note(&outcome.transfer, StatusFromErrno(errno));
  posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
  outcome.close = CloseFork(fd);
  return outcome;
}

OSStatus LinuxFileSystem::CreateFile(const FSRef& parent, std::u16string_view name,
                                     FSRef* created) {
  return CreateItem(parent, name, created, [](const char* path) {
    const int fd = open(path, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    return fd >= 0 && close(fd) == 0;
  });
}

OSStatus LinuxFileSystem::CreateFolder(const FSRef& parent, std::u16string_view name,
                                       FSRef* created) {
  return CreateItem(parent, name, created, [](const char* path) { return mkdir(path, 0777) == 0; });
}

OSStatus FindChild(const FSRef& parent, std::u16string_view name, FSRef* child) {
  const std::optional<std::string> leaf = ComponentOf(name);
  return leaf ? MakeRef(ChildPath(parent.path, *leaf), child) : kErrBadName;
}

OSStatus GetParentAndName(const FSRef& item, FSRef* parent, std::u16string* name) {
  if (item.path == "/") return kErrParam;
  std::u16string units;
  if (!DecodeUtf8(std::string_view(item.path).substr(item.path.rfind('/') + 1), &units)) {
    return kErrBadName;
  }
  const OSStatus status = MakeRef(FolderOf(item.path), parent);
  if (status == kNoErr) *name = std::move(units);
  return status;
}

OSStatus LinuxFileSystem::Unlink(const std::string& path) {
  return unlink(path.c_str()) == 0 ? kNoErr : StatusFromErrno(errno);
}

OSStatus LinuxFileSystem::CreateFolderAtPath(const std::string& path, uint32_t mode) {
  return mkdir(path.c_str(), static_cast<mode_t>(mode)) == 0 ? kNoErr
                                                             : StatusFromNamingErrno(errno);
}

bool RemoveTreeAt(int folder, const std::string& name) {
  struct stat st;
  if (fstatat(folder, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return false;
  if (!S_ISDIR(st.st_mode)) return unlinkat(folder, name.c_str(), 0) == 0;
  const bool emptied = EmptyTree(folder, name);
  return unlinkat(folder, name.c_str(), AT_REMOVEDIR) == 0 && emptied;
}

// A trailing "/" would make the system follow a symbolic link named last, so it is dropped.
bool LinuxFileSystem::RemoveTree(const std::string& path) {
  std::string item = path;
  while (item.size() > 1 && item.back() == '/') item.pop_back();
  return RemoveTreeAt(AT_FDCWD, item);
}

bool LinuxFileSystem::Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

OSStatus LinuxFileSystem::DeleteResourceFork(const FSRef&) { return kErrForkNotFound; }

FSCatalogInfoBitmap ExchangedCatalogFields() {
  return kFSCatInfoNodeFlags | kFSCatInfoCreateDate | kFSCatInfoAccessDate | kFSCatInfoFinderInfo |
         kFSCatInfoFinderXInfo;
}

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
  *path = ChildPath(folder.path, name);
  return kNoErr;
}

// Relative entries are invalid by the XDG base directory rules and are skipped.
bool FindApplicationSupportFolder(std::string* path) {
  const char* dirs = std::getenv("XDG_DATA_DIRS");
  const std::string list = dirs != nullptr && dirs[0] != '\0' ? dirs : "/usr/local/share";
  for (size_t start = 0; start <= list.size();) {
    const size_t end = std::min(list.find(':', start), list.size());
    std::string entry = list.substr(start, end - start);
    if (!entry.empty() && entry.front() == '/') {
      while (entry.size() > 1 && entry.back() == '/') entry.pop_back();
      *path = std::move(entry);
      return true;
    }
    start = end + 1;
  }
  return false;
}

template <>
FileSystem& Replaceable<FileSystem>::Real() {
  static LinuxFileSystem real;
  return real;
}

}  // namespace zuv::platform
