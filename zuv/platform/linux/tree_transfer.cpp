#include "zuv/platform/tree_transfer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>
#include <xxhash.h>

#include "zuv/files/internal/file_text.h"
#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/file_system.h"
#include "zuv/platform/linux/copy_pool.h"
#include "zuv/platform/linux/linux_file_system.h"

namespace zuv::platform {
namespace {

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

// An item of a folder, and whether the folder's listing says it is a regular file.
struct Entry {
  std::string name;
  bool regular;
  bool operator<(const Entry& other) const { return name < other.name; }
};

// The items of a folder, sorted by name.
int ReadEntries(int folder, std::vector<Entry>* entries) {
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
    if (name != "." && name != "..") entries->push_back({name, entry->d_type == DT_REG});
  }
  const int error = errno;
  closedir(stream);
  std::sort(entries->begin(), entries->end());
  return error;
}

// A folder the walk made. The walk fills it while the pool writes its files; whoever is done with
// it last gives it its own metadata, so that nothing changes in it afterwards, and then lets go of
// the folder that holds it.
struct MadeFolder {
  Descriptor source{-1};
  Descriptor made{-1};
  struct stat st = {};
  std::shared_ptr<MadeFolder> parent;  // null for the top
  int parentFd = -1;                   // the folder it was made in, open while it is
  std::string name;
  size_t order = 0;                 // in walk order
  std::atomic<int> users{1};        // the walk while it fills it, and every item in it not yet done
  std::atomic<bool> failed{false};  // something in it was not copied
};

// A file written by the walk, for reading it back.
struct Written {
  size_t order;
  std::string path;
  uint64_t hash;
};

// One walk of a tree from a source folder into a destination folder, both held by descriptor. The
// calling thread walks, notices and makes every item; each file's data and metadata go to the
// pool. A failure anywhere stops the walk: nothing more is started, and the answer is the error
// of the earliest failed item in walk order.
class Walk {
 public:
  Walk(const TreeNotice& notice, bool noticeTop, bool verify)
      : m_notice(notice), m_noticeTop(noticeTop), m_verify(verify) {}

  // Copies `name` of `from` to `to` as `toName`, whose full path is `toPath`, and waits for all
  // of it. On an error at an item, whatever was made at its path is removed; what was copied
  // before stays.
  int Copy(int from, const std::string& name, int to, const std::string& toName,
           const std::string& toPath) {
    CopyItem(from, {name, false}, nullptr, to, toName, toPath, true);
    m_pool.Wait();
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_error;
  }

  // Whether the top item of the walk was made by it.
  bool madeTop() const { return m_madeTop; }

  // Reads every file written back from the device and gives the paths of those that differ from
  // what was read from their sources, in walk order. The files must be durable.
  std::vector<std::string> Verify() {
    std::sort(m_written.begin(), m_written.end(),
              [](const Written& a, const Written& b) { return a.order < b.order; });
    std::vector<char> same(m_written.size(), 0);
    for (size_t i = 0; i < m_written.size(); ++i) {
      m_pool.Run([this, &same, i] { same[i] = ReadsBack(m_written[i]); });
    }
    m_pool.Wait();
    std::vector<std::string> mismatches;
    for (size_t i = 0; i < m_written.size(); ++i) {
      if (!same[i]) mismatches.push_back(m_written[i].path);
    }
    return mismatches;
  }

 private:
  // Records the failure of the item `order`; the walk stops.
  void Fail(size_t order, int error) {
    const std::lock_guard<std::mutex> hold(m_lock);
    if (order < m_failedAt) {
      m_failedAt = order;
      m_error = error;
    }
    m_stop.store(true, std::memory_order_relaxed);
  }

  bool Stopped() const { return m_stop.load(std::memory_order_relaxed); }

  // `folder` is the folder being filled, null at the top, whose made descriptor is `to`.
  void CopyItem(int from, const Entry& entry, const std::shared_ptr<MadeFolder>& folder, int to,
                const std::string& toName, const std::string& toPath, bool top) {
    const size_t order = m_order++;
    const int error = CopyItemAt(from, entry, folder, to, toName, toPath, top, order);
    if (error != 0) {
      Fail(order, error);
      if (folder) folder->failed = true;
    }
  }

  // A file that the listing calls regular is opened and looked at through its descriptor, which
  // spares a look by name; any other item, or a file that cannot be opened so, is looked at by
  // name first.
  int CopyItemAt(int from, const Entry& entry, const std::shared_ptr<MadeFolder>& folder, int to,
                 const std::string& toName, const std::string& toPath, bool top, size_t order) {
    const std::string& name = entry.name;
    struct stat st;
    std::shared_ptr<Descriptor> source;
    if (entry.regular) OpenFile(from, name, &source, &st);
    if (!source && fstatat(from, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    if (S_ISSOCK(st.st_mode) || S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) return EOPNOTSUPP;
    if (top) {
      struct stat there;
      if (fstatat(to, toName.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
      m_topSourceDevice = st.st_dev;
    }
    if ((!top || m_noticeTop) && m_notice && !m_notice(toPath)) return ECANCELED;
    if (S_ISDIR(st.st_mode) && !top && st.st_dev == m_topDevice && st.st_ino == m_topInode) {
      return EINVAL;  // the copy itself, made inside its source
    }
    if (S_ISDIR(st.st_mode)) return CopyFolder(from, name, st, folder, to, toName, toPath, order);
    if (S_ISLNK(st.st_mode)) return CopyLink(from, name, st, to, toName, top);
    if (S_ISFIFO(st.st_mode)) return CopyFifo(st, to, toName, top);
    return CopyFile(from, name, st, std::move(source), folder, to, toName, toPath, top, order);
  }

  // Opens the regular file `name` of `from` for reading into *out, its status in *st. 0, the
  // error of the open, or EAGAIN when the item there is no regular file (*out then untouched).
  static int OpenFile(int from, const std::string& name, std::shared_ptr<Descriptor>* out,
                      struct stat* st) {
    // O_NONBLOCK: a FIFO swapped in meanwhile is not waited on.
    auto source = std::make_shared<Descriptor>(OpenSource(from, name, O_RDONLY | O_NONBLOCK));
    if (source->get() < 0 || fstat(source->get(), st) != 0) return errno;
    if (!S_ISREG(st->st_mode)) return EAGAIN;
    *out = std::move(source);
    return 0;
  }

  // Makes the file and hands its data and metadata to the pool. `source` is the file open, or
  // null when it was looked at by name only.
  int CopyFile(int from, const std::string& name, const struct stat& st,
               std::shared_ptr<Descriptor> source, const std::shared_ptr<MadeFolder>& folder,
               int to, const std::string& toName, const std::string& toPath, bool top,
               size_t order) {
    struct stat opened = st;
    if (!source) {
      if (const int error = OpenFile(from, name, &source, &opened)) return error;
      if (opened.st_ino != st.st_ino || opened.st_dev != st.st_dev) {
        return EAGAIN;  // replaced since it was looked at
      }
    }
    int fd = -1;
    if (const int error = m_steps.CreateFile(to, toName, &fd)) return error;
    if (top) m_madeTop = true;
    if (folder) folder->users.fetch_add(1, std::memory_order_relaxed);
    m_pool.Run([this, source, opened, folder, to, toName, toPath, fd, order] {
      WriteFile(source->get(), opened, fd, to, toName, toPath, order);
      if (folder) Release(folder);
    });
    return 0;
  }

  // The part of a file's copy that the pool does. A file is finished even when the walk stopped
  // meanwhile, unless it is large: its write then stops, and the file is removed, as one that
  // failed is.
  void WriteFile(int source, const struct stat& st, int fd, int to, const std::string& toName,
                 const std::string& toPath, size_t order) {
    uint64_t hash = 0;
    TransferSteps::DataControl control;
    control.stop = &m_stop;
    control.hash = m_verify ? &hash : nullptr;
    control.unshared = st.st_dev == m_topSourceDevice ? &m_unshared : nullptr;
    control.dense = st.st_blocks * 512 >= st.st_size;
    int error = m_steps.WriteData(source, fd, static_cast<uint64_t>(st.st_size), control);
    if (error == 0) error = CopyXattrs(source, fd);
    if (error == 0) error = m_steps.SetMode(fd, "", st.st_mode & 07777);
    const timespec times[2] = {st.st_atim, st.st_mtim};
    if (error == 0) error = m_steps.SetTimes(fd, "", times);
    const int closed = m_steps.Close(fd);
    if (error == 0) error = closed;
    if (error == 0) {
      if (m_verify) {
        const std::lock_guard<std::mutex> hold(m_lock);
        m_written.push_back({order, toPath, hash});
      }
      return;
    }
    unlinkat(to, toName.c_str(), 0);
    // A stopped write is not the cause of the stop, which is recorded already.
    if (error != ECANCELED) Fail(order, error);
  }

  int CopyFolder(int from, const std::string& name, const struct stat& st,
                 const std::shared_ptr<MadeFolder>& parent, int to, const std::string& toName,
                 const std::string& toPath, size_t order) {
    auto folder = std::make_shared<MadeFolder>();
    folder->source.reset(OpenSource(from, name, O_RDONLY | O_DIRECTORY));
    if (folder->source.get() < 0) return errno;
    std::vector<Entry> entries;
    if (const int error = ReadEntries(folder->source.get(), &entries)) return error;
    if (const int error = m_steps.MakeFolder(to, toName)) return error;
    if (!parent) m_madeTop = true;
    folder->made.reset(openat(to, toName.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat madeStat;
    if (folder->made.get() < 0 || fstat(folder->made.get(), &madeStat) != 0) {
      const int error = errno;
      RemoveTreeAt(to, toName);
      return error;
    }
    if (!parent) {
      m_topDevice = madeStat.st_dev;
      m_topInode = madeStat.st_ino;
    }
    folder->st = st;
    folder->parent = parent;
    folder->parentFd = to;
    folder->name = toName;
    folder->order = order;
    if (parent) parent->users.fetch_add(1, std::memory_order_relaxed);
    for (const Entry& child : entries) {
      if (Stopped()) break;
      CopyItem(folder->source.get(), child, folder, folder->made.get(), child.name,
               toPath + "/" + child.name, false);
    }
    // The folder stays with what it holds so far.
    if (Stopped()) folder->failed = true;
    Release(folder);
    return 0;
  }

  // Lets go of one use of `folder`; the last one finishes it.
  void Release(const std::shared_ptr<MadeFolder>& folder) {
    if (folder->users.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    int error = 0;
    if (!folder->failed) {
      error = CopyXattrs(folder->source.get(), folder->made.get());
      if (error == 0) error = m_steps.SetMode(folder->made.get(), "", folder->st.st_mode & 07777);
      const timespec times[2] = {folder->st.st_atim, folder->st.st_mtim};
      if (error == 0) error = m_steps.SetTimes(folder->made.get(), "", times);
    }
    folder->source.reset(-1);
    folder->made.reset(-1);
    if (error != 0) {
      RemoveTreeAt(folder->parentFd, folder->name);
      Fail(folder->order, error);
    }
    const std::shared_ptr<MadeFolder> parent = std::move(folder->parent);
    if (!parent) return;
    if (error != 0 || folder->failed) parent->failed = true;
    Release(parent);
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
      if (size == 0) return 0;
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

  // Whether the file reads back from the device as it was written.
  bool ReadsBack(const Written& file) {
    int fd = -1;
    if (m_steps.OpenWritten(file.path, &fd) != 0) return false;
    const Descriptor held(fd);
    XXH3_state_t* state = XXH3_createState();
    if (state == nullptr) return false;
    XXH3_64bits_reset(state);
    constexpr size_t kStep = size_t{256} << 10;
    thread_local std::vector<char> buffer(kStep);
    ssize_t got = 0;
    while ((got = read(fd, buffer.data(), buffer.size())) > 0 || (got < 0 && errno == EINTR)) {
      if (got > 0) XXH3_64bits_update(state, buffer.data(), static_cast<size_t>(got));
    }
    const uint64_t hash = XXH3_64bits_digest(state);
    XXH3_freeState(state);
    return got == 0 && hash == file.hash;
  }

  const TreeNotice& m_notice;
  const bool m_noticeTop;
  const bool m_verify;
  TransferSteps& m_steps = Replaceable<TransferSteps>::Current();
  size_t m_order = 0;  // of the next item, in walk order
  bool m_madeTop = false;
  dev_t m_topDevice = 0;  // the top folder made, which a copy into its own source must not enter
  ino_t m_topInode = 0;
  dev_t m_topSourceDevice = 0;
  std::atomic<bool> m_unshared{false};  // the top's two volumes refused to share extents
  std::atomic<bool> m_stop{false};
  std::mutex m_lock;                            // guards what follows
  size_t m_failedAt = SIZE_MAX;                 // the earliest failed item
  int m_error = 0;                              // its error
  std::vector<Written> m_written;               // with verify
  CopyPool m_pool{CopyPool::ThreadsForCopy()};  // last, so that it ends first
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

// Makes the copy durable and checks it, with verify. EBADMSG when a file did not read back as
// written, with its path added to the mismatches.
int Check(Walk& walk, int to, const TransferOptions& options) {
  TransferSteps& steps = Replaceable<TransferSteps>::Current();
  if (const int error = steps.SyncVolume(to)) return error;
  if (!options.verify) return 0;
  std::vector<std::string> mismatches = walk.Verify();
  if (mismatches.empty()) return 0;
  if (options.mismatches != nullptr) {
    options.mismatches->insert(options.mismatches->end(), mismatches.begin(), mismatches.end());
  }
  return EBADMSG;
}

// Removes the source of a move except the files at `kept` (paths relative to `source`, each
// beginning with "/") and the folders that hold them.
int RemoveSourceKeeping(const std::string& source, const std::vector<std::string>& kept) {
  std::set<std::string> files(kept.begin(), kept.end());
  std::set<std::string> folders;
  for (const std::string& path : kept) {
    for (size_t slash = path.rfind('/'); slash != std::string::npos && slash != 0;
         slash = path.rfind('/', slash - 1)) {
      folders.insert(path.substr(0, slash));
    }
    if (!path.empty()) folders.insert("");
  }
  TransferSteps& steps = Replaceable<TransferSteps>::Current();
  int first = 0;
  for (const std::string& folder : folders) {
    Descriptor open(-1);
    std::vector<Entry> entries;
    int error = OpenFolder(source + folder, &open);
    if (error == 0) error = ReadEntries(open.get(), &entries);
    for (const Entry& entry : entries) {
      const std::string item = folder + "/" + entry.name;
      if (files.count(item) == 0 && folders.count(item) == 0 && error == 0) {
        error = steps.RemoveSource(source + item);
      }
    }
    if (first == 0) first = error;
  }
  return first;
}

class LinuxTreeTransfer final : public TreeTransfer {
 public:
  int Copy(const std::string& source, const std::string& destination, const TreeNotice& notice,
           const TransferOptions& options) override {
    Ends ends;
    if (const int error = OpenEnds(source, destination, &ends)) return error;
    Walk walk(notice, true, options.verify);
    const int error = walk.Copy(ends.fromFolder.get(), ends.from.name, ends.toFolder.get(),
                                ends.to.name, destination);
    if (error != 0 || !options.verify) return error;
    return Check(walk, ends.toFolder.get(), options);
  }

  int Move(const std::string& source, const std::string& destination, const TreeNotice& notice,
           const TransferOptions& options) override {
    Ends ends;
    if (const int error = OpenEnds(source, destination, &ends)) return error;
    const int from = ends.fromFolder.get();
    const int to = ends.toFolder.get();
    struct stat st;
    if (fstatat(from, ends.from.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return errno;
    struct stat there;
    if (fstatat(to, ends.to.name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    if (notice && !notice(destination)) return ECANCELED;
    const int renamed = detail::RenameNoReplace(from, ends.from.name, to, ends.to.name);
    if (renamed != EXDEV) return renamed;
    Walk walk(notice, false, options.verify);
    std::vector<std::string> mismatches;
    TransferOptions checked = options;
    checked.mismatches = &mismatches;
    int error = walk.Copy(from, ends.from.name, to, ends.to.name, destination);
    if (error == 0) error = Check(walk, to, checked);
    if (error != 0 && mismatches.empty()) {
      if (walk.madeTop()) RemoveTreeAt(to, ends.to.name);
      return error;
    }
    if (mismatches.empty()) {
      return Replaceable<TransferSteps>::Current().RemoveSource(source);
    }
    if (options.mismatches != nullptr) {
      options.mismatches->insert(options.mismatches->end(), mismatches.begin(), mismatches.end());
    }
    std::vector<std::string> kept;
    for (const std::string& path : mismatches) kept.push_back(path.substr(destination.size()));
    const std::string top(paths_internal::WithoutTrailingSlashes(source));
    if (const int removal = RemoveSourceKeeping(top, kept)) return removal;
    return EBADMSG;
  }
};

}  // namespace

template <>
TreeTransfer& Replaceable<TreeTransfer>::Real() {
  static LinuxTreeTransfer transfer;
  return transfer;
}

}  // namespace zuv::platform
