#include "zuv/platform/tree_transfer.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

#include "zuv/files/internal/file_text.h"
#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/file_system.h"

namespace zuv::platform {
namespace {

// Data moves in the kernel in steps this large, and through a buffer this large where it cannot.
constexpr uint64_t kKernelCopyStep = uint64_t{1} << 30;
constexpr size_t kBufferSize = size_t{1} << 20;

// A descriptor of the source side, closed at the end of its scope.
class Descriptor {
 public:
  explicit Descriptor(int fd) : m_fd(fd) {}
  ~Descriptor() {
    if (m_fd >= 0) close(m_fd);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return m_fd; }
  void reset(int fd) {
    if (m_fd >= 0) close(m_fd);
    m_fd = fd;
  }

 private:
  int m_fd;
};

// Opens an item of the source without changing its access time, where the user may ask that (the
// owner, or root).
int OpenSource(int folder, const std::string& name, int flags) {
  const int fd = openat(folder, name.c_str(), flags | O_NOATIME | O_NOFOLLOW | O_CLOEXEC);
  if (fd >= 0 || errno != EPERM) return fd;
  return openat(folder, name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC);
}

// The folder and the last component of a path, trailing "/" dropped: "/a/b" is "b" in "/a", "b"
// is "b" in ".". Empty name for "/" and "".
struct Place {
  std::string folder;
  std::string name;
};

Place PlaceOf(std::string_view path) {
  path = paths_internal::WithoutTrailingSlashes(path);
  if (path.find('/') == std::string_view::npos) return {".", std::string(path)};
  return {std::string(paths_internal::FolderOf(path)),
          std::string(paths_internal::LastComponent(path))};
}

int OpenFolder(const std::string& path, Descriptor* out) {
  out->reset(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return out->get() < 0 ? errno : 0;
}

// The pieces of a range of `from` to `to` at the same offset, kernel-side, else by buffer.
int CopyRange(int from, int to, off_t begin, off_t end, bool* kernel) {
  off_t offset = begin;
  while (*kernel && offset < end) {
    off_t in = offset;
    off_t out = offset;
    const size_t step = static_cast<size_t>(std::min<uint64_t>(end - offset, kKernelCopyStep));
    const ssize_t done = copy_file_range(from, &in, to, &out, step, 0);
    if (done > 0) {
      offset += done;
    } else if (done == 0) {
      return EIO;  // the file became shorter meanwhile
    } else if (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP) {
      *kernel = false;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  std::vector<char> buffer;
  while (offset < end) {
    if (buffer.empty()) buffer.resize(kBufferSize);
    const size_t step = static_cast<size_t>(std::min<off_t>(end - offset, kBufferSize));
    const ssize_t got = pread(from, buffer.data(), step, offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) return EIO;
    for (ssize_t put = 0; put < got;) {
      const ssize_t wrote = pwrite(to, buffer.data() + put, got - put, offset + put);
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote < 0) return errno;
      put += wrote;
    }
    offset += got;
  }
  return 0;
}

class LinuxTransferSteps final : public TransferSteps {
 public:
  int CreateFile(int folder, const std::string& name, int* fd) override {
    *fd = openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    return *fd < 0 ? errno : 0;
  }
  int MakeFolder(int folder, const std::string& name) override {
    return mkdirat(folder, name.c_str(), 0700) == 0 ? 0 : errno;
  }
  int MakeLink(int folder, const std::string& name, const std::string& target) override {
    return symlinkat(target.c_str(), folder, name.c_str()) == 0 ? 0 : errno;
  }
  int MakeFifo(int folder, const std::string& name) override {
    return mkfifoat(folder, name.c_str(), 0600) == 0 ? 0 : errno;
  }
  // Shared extents first; then the data regions one by one (SEEK_DATA/SEEK_HOLE), the holes left
  // unwritten, and the size set at the end so that a trailing hole stays one.
  int WriteData(int from, int to, uint64_t size) override {
    if (size == 0) return 0;
    if (ioctl(to, FICLONE, from) == 0) return 0;
    const off_t end = static_cast<off_t>(size);
    bool kernel = true;
    for (off_t offset = 0; offset < end;) {
      off_t data = lseek(from, offset, SEEK_DATA);
      if (data < 0 && errno == ENXIO) break;  // only a hole is left
      if (data < 0) data = offset;            // holes not told apart here
      off_t hole = lseek(from, data, SEEK_HOLE);
      if (hole < 0 || hole > end) hole = end;
      if (data >= end) break;
      if (const int error = CopyRange(from, to, data, hole, &kernel)) return error;
      offset = hole;
    }
    return ftruncate(to, end) == 0 ? 0 : errno;
  }
  int SetMode(int folder, const std::string& name, mode_t mode) override {
    const int done = name.empty() ? fchmod(folder, mode)
                                  : fchmodat(folder, name.c_str(), mode, AT_SYMLINK_NOFOLLOW);
    return done == 0 ? 0 : errno;
  }
  int SetTimes(int folder, const std::string& name, const timespec times[2]) override {
    const int done = name.empty() ? futimens(folder, times)
                                  : utimensat(folder, name.c_str(), times, AT_SYMLINK_NOFOLLOW);
    return done == 0 ? 0 : errno;
  }
  int SetXattr(int fd, const std::string& name, const std::string& value) override {
    return fsetxattr(fd, name.c_str(), value.data(), value.size(), 0) == 0 ? 0 : errno;
  }
  int Close(int fd) override { return close(fd) == 0 || errno == EINTR ? 0 : errno; }
  int SyncVolume(int fd) override { return syncfs(fd) == 0 ? 0 : errno; }
  int RemoveSource(const std::string& path) override {
    errno = 0;
    if (Replaceable<FileSystem>::Current().RemoveTree(path)) return 0;
    return errno != 0 ? errno : EIO;
  }
};

// One walk of a tree from a source folder into a destination folder, both held by descriptor.
class Walk {
 public:
  Walk(const TreeNotice& notice, bool noticeTop) : m_notice(notice), m_noticeTop(noticeTop) {}

  // Copies `name` of `from` to `to` as `toName`, whose full path is `toPath`. On an error at this
  // item, whatever was made at `toPath` is removed; an error further down is left to that item.
  int CopyItem(int from, const std::string& name, int to, const std::string& toName,
               const std::string& toPath, bool top) {
    struct stat st;
    if (fstatat(from, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    if (S_ISSOCK(st.st_mode) || S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) return EOPNOTSUPP;
    if (top) {
      struct stat there;
      if (fstatat(to, toName.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    }
    if ((!top || m_noticeTop) && m_notice && !m_notice(toPath)) return ECANCELED;
    if (S_ISDIR(st.st_mode) && !top && st.st_dev == m_topDevice && st.st_ino == m_topInode) {
      return EINVAL;  // the copy itself, made inside its source
    }
    if (S_ISDIR(st.st_mode)) return CopyFolder(from, name, st, to, toName, toPath, top);
    if (S_ISLNK(st.st_mode)) return CopyLink(from, name, st, to, toName, top);
    if (S_ISFIFO(st.st_mode)) return CopyFifo(st, to, toName, top);
    return CopyFile(from, name, st, to, toName, top);
  }

  // Whether the top item of the walk was made by it.
  bool madeTop() const { return m_madeTop; }

 private:
  int CopyFile(int from, const std::string& name, const struct stat& st, int to,
               const std::string& toName, bool top) {
    // O_NONBLOCK: a FIFO swapped in meanwhile is not waited on, and is refused below.
    Descriptor source(OpenSource(from, name, O_RDONLY | O_NONBLOCK));
    if (source.get() < 0) return errno;
    struct stat opened;
    if (fstat(source.get(), &opened) != 0) return errno;
    if (!S_ISREG(opened.st_mode) || opened.st_ino != st.st_ino || opened.st_dev != st.st_dev) {
      return EAGAIN;  // replaced since it was looked at
    }
    int fd = -1;
    if (const int error = m_steps.CreateFile(to, toName, &fd)) return error;
    if (top) m_madeTop = true;
    int error = m_steps.WriteData(source.get(), fd, static_cast<uint64_t>(opened.st_size));
    if (error == 0) error = CopyXattrs(source.get(), fd);
    if (error == 0) error = m_steps.SetMode(fd, "", opened.st_mode & 07777);
    const timespec times[2] = {opened.st_atim, opened.st_mtim};
    if (error == 0) error = m_steps.SetTimes(fd, "", times);
    const int closed = m_steps.Close(fd);
    if (error == 0) error = closed;
    if (error != 0) unlinkat(to, toName.c_str(), 0);
    return error;
  }

  int CopyFolder(int from, const std::string& name, const struct stat& st, int to,
                 const std::string& toName, const std::string& toPath, bool top) {
    Descriptor source(OpenSource(from, name, O_RDONLY | O_DIRECTORY));
    if (source.get() < 0) return errno;
    std::vector<std::string> names;
    if (const int error = ReadNames(source.get(), &names)) return error;
    if (const int error = m_steps.MakeFolder(to, toName)) return error;
    if (top) m_madeTop = true;
    Descriptor made(openat(to, toName.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat madeStat;
    int error = made.get() < 0 || fstat(made.get(), &madeStat) != 0 ? errno : 0;
    if (error == 0 && top) {
      m_topDevice = madeStat.st_dev;
      m_topInode = madeStat.st_ino;
    }
    for (size_t i = 0; error == 0 && i < names.size(); ++i) {
      const int child =
          CopyItem(source.get(), names[i], made.get(), names[i], toPath + "/" + names[i], false);
      if (child != 0) return child;  // the folder stays with what it holds so far
    }
    if (error == 0) error = CopyXattrs(source.get(), made.get());
    if (error == 0) error = m_steps.SetMode(made.get(), "", st.st_mode & 07777);
    const timespec times[2] = {st.st_atim, st.st_mtim};
    if (error == 0) error = m_steps.SetTimes(made.get(), "", times);
    if (error != 0) RemoveTreeAt(to, toName);
    return error;
  }

  int CopyLink(int from, const std::string& name, const struct stat& st, int to,
               const std::string& toName, bool top) {
    std::string target(static_cast<size_t>(st.st_size) + 1, '\0');
    const ssize_t length = readlinkat(from, name.c_str(), target.data(), target.size());
    if (length < 0) return errno;
    if (static_cast<size_t>(length) >= target.size()) return EAGAIN;  // changed meanwhile
    target.resize(static_cast<size_t>(length));
    if (const int error = m_steps.MakeLink(to, toName, target)) return error;
    if (top) m_madeTop = true;
    const timespec times[2] = {st.st_atim, st.st_mtim};
    const int error = m_steps.SetTimes(to, toName, times);
    if (error != 0) unlinkat(to, toName.c_str(), 0);
    return error;
  }

  int CopyFifo(const struct stat& st, int to, const std::string& toName, bool top) {
    if (const int error = m_steps.MakeFifo(to, toName)) return error;
    if (top) m_madeTop = true;
    const timespec times[2] = {st.st_atim, st.st_mtim};
    int error = m_steps.SetMode(to, toName, st.st_mode & 07777);
    if (error == 0) error = m_steps.SetTimes(to, toName, times);
    if (error != 0) unlinkat(to, toName.c_str(), 0);
    return error;
  }

  // The user.* attributes; the others belong to the system or to other users of the item. A
  // destination that holds no such attributes at all is not an error.
  int CopyXattrs(int from, int to) {
    std::vector<char> list;
    for (;;) {
      const ssize_t size = flistxattr(from, nullptr, 0);
      if (size < 0) return errno == ENOTSUP ? 0 : errno;
      list.resize(static_cast<size_t>(size));
      const ssize_t got = flistxattr(from, list.data(), list.size());
      if (got >= 0) {
        list.resize(static_cast<size_t>(got));
        break;
      }
      if (errno != ERANGE) return errno;
    }
    for (size_t at = 0; at < list.size();) {
      const std::string name(list.data() + at);
      at += name.size() + 1;
      if (name.rfind("user.", 0) != 0) continue;
      std::string value;
      for (;;) {
        const ssize_t size = fgetxattr(from, name.c_str(), nullptr, 0);
        if (size < 0) return errno;
        value.resize(static_cast<size_t>(size));
        const ssize_t got = fgetxattr(from, name.c_str(), value.data(), value.size());
        if (got >= 0) {
          value.resize(static_cast<size_t>(got));
          break;
        }
        if (errno != ERANGE) return errno;
      }
      const int error = m_steps.SetXattr(to, name, value);
      if (error == ENOTSUP) return 0;
      if (error != 0) return error;
    }
    return 0;
  }

  static int ReadNames(int folder, std::vector<std::string>* names) {
    const int fd = dup(folder);
    DIR* stream = fd < 0 ? nullptr : fdopendir(fd);
    if (stream == nullptr) {
      const int error = errno;
      if (fd >= 0) close(fd);
      return error;
    }
    errno = 0;
    while (const dirent* entry = readdir(stream)) {
      const std::string name = entry->d_name;
      if (name != "." && name != "..") names->push_back(name);
    }
    const int error = errno;
    closedir(stream);
    std::sort(names->begin(), names->end());
    return error;
  }

  const TreeNotice& m_notice;
  const bool m_noticeTop;
  TransferSteps& m_steps = Replaceable<TransferSteps>::Current();
  bool m_madeTop = false;
  dev_t m_topDevice = 0;  // the top folder made, which a copy into its own source must not enter
  ino_t m_topInode = 0;
};

// Both ends of a transfer, their folders open. 0 or the error that refuses it.
struct Ends {
  Place from;
  Place to;
  Descriptor fromFolder{-1};
  Descriptor toFolder{-1};
};

int OpenEnds(const std::string& source, const std::string& destination, Ends* ends) {
  if (files_internal::HasNoOwnName(source) || files_internal::HasNoOwnName(destination) ||
      source.empty() || destination.empty()) {
    return EINVAL;
  }
  ends->from = PlaceOf(source);
  ends->to = PlaceOf(destination);
  if (const int error = OpenFolder(ends->from.folder, &ends->fromFolder)) return error;
  return OpenFolder(ends->to.folder, &ends->toFolder);
}

class LinuxTreeTransfer final : public TreeTransfer {
 public:
  int Copy(const std::string& source, const std::string& destination,
           const TreeNotice& notice) override {
    Ends ends;
    if (const int error = OpenEnds(source, destination, &ends)) return error;
    Walk walk(notice, true);
    return walk.CopyItem(ends.fromFolder.get(), ends.from.name, ends.toFolder.get(), ends.to.name,
                         destination, true);
  }

  int Move(const std::string& source, const std::string& destination,
           const TreeNotice& notice) override {
    Ends ends;
    if (const int error = OpenEnds(source, destination, &ends)) return error;
    const int from = ends.fromFolder.get();
    const int to = ends.toFolder.get();
    struct stat st;
    if (fstatat(from, ends.from.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    struct stat there;
    if (fstatat(to, ends.to.name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    if (notice && !notice(destination)) return ECANCELED;
    if (renameat2(from, ends.from.name.c_str(), to, ends.to.name.c_str(), RENAME_NOREPLACE) == 0) {
      return 0;
    }
    if (errno != EXDEV) return errno;
    TransferSteps& steps = Replaceable<TransferSteps>::Current();
    Walk walk(notice, false);
    int error = walk.CopyItem(from, ends.from.name, to, ends.to.name, destination, true);
    if (error == 0) error = steps.SyncVolume(to);
    if (error != 0) {
      if (walk.madeTop()) RemoveTreeAt(to, ends.to.name);
      return error;
    }
    return steps.RemoveSource(source);
  }
};

}  // namespace

template <>
TreeTransfer& Replaceable<TreeTransfer>::Real() {
  static LinuxTreeTransfer transfer;
  return transfer;
}

template <>
TransferSteps& Replaceable<TransferSteps>::Real() {
  static LinuxTransferSteps steps;
  return steps;
}

}  // namespace zuv::platform
