// The steps of a tree walk on Linux, and how file data moves: shared extents, else kernel-side
// copies, else a buffer, which is also the way when the data is hashed as it is read.
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>
#include <xxhash.h>

#include "zuv/platform/file_system.h"
#include "zuv/platform/tree_transfer.h"

namespace zuv::platform {
namespace {

// Data moves in the kernel in steps this large, and through a buffer this large where it cannot
// or where it is hashed; a stop is looked at between steps, so that a file of one step is always
// finished.
constexpr uint64_t kKernelCopyStep = uint64_t{64} << 20;
constexpr size_t kBufferSize = size_t{1} << 20;
// A hashed copy is made durable and read back next, so its writeback starts as each part of this
// size is written, and the device writes while the copy goes on.
constexpr off_t kWritebackStep = off_t{8} << 20;

using DataControl = TransferSteps::DataControl;

bool Stopped(const DataControl& control) {
  return control.stop != nullptr && control.stop->load(std::memory_order_relaxed);
}

// The buffer of the calling thread, at least `size` bytes; it stays for the next file.
char* Buffer(size_t size) {
  thread_local std::vector<char> buffer;
  if (buffer.size() < size) buffer.resize(std::max(size, size_t{64} << 10));
  return buffer.data();
}

// Hashes `count` zero bytes, the contents of a hole.
void HashZeros(XXH3_state_t* state, uint64_t count) {
  static const std::vector<char> zeros(kBufferSize);
  for (; count > 0;) {
    const size_t step = static_cast<size_t>(std::min<uint64_t>(count, zeros.size()));
    XXH3_64bits_update(state, zeros.data(), step);
    count -= step;
  }
}

// Copies the range [begin, end) of `from` to `to` at the same offset: kernel-side while `*kernel`
// holds and the kernel can, else through a buffer, hashed into `state` when there is one.
int CopyRange(int from, int to, off_t begin, off_t end, bool* kernel, XXH3_state_t* state,
              const DataControl& control) {
  off_t offset = begin;
  while (*kernel && offset < end) {
    if (offset > begin && Stopped(control)) return ECANCELED;
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
  const size_t size = static_cast<size_t>(std::min<off_t>(end - offset, kBufferSize));
  char* const buffer = offset < end ? Buffer(size) : nullptr;
  off_t written = offset;  // the end of the part whose writeback was started
  while (offset < end) {
    if (state != nullptr && offset - written >= kWritebackStep) {
      sync_file_range(to, written, offset - written, SYNC_FILE_RANGE_WRITE);
      written = offset;
    }
    if (offset > begin && Stopped(control)) return ECANCELED;
    const size_t step = static_cast<size_t>(std::min<off_t>(end - offset, kBufferSize));
    const ssize_t got = pread(from, buffer, step, offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) return EIO;
    if (state != nullptr) XXH3_64bits_update(state, buffer, static_cast<size_t>(got));
    for (ssize_t put = 0; put < got;) {
      const ssize_t wrote = pwrite(to, buffer + put, got - put, offset + put);
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote < 0) return errno;
      put += wrote;
    }
    offset += got;
  }
  return 0;
}

// Whether a refusal of FICLONE holds for every file of the same two volumes.
bool RefusesSharing(int error) {
  return error == EXDEV || error == EOPNOTSUPP || error == ENOTTY || error == ENOSYS;
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
  // Shared extents first, unless the data is hashed; then the data regions one by one
  // (SEEK_DATA/SEEK_HOLE, unless the file has no holes), the holes left unwritten, and the size
  // set at the end so that a trailing hole stays one.
  int WriteData(int from, int to, uint64_t size, const DataControl& control) override {
    XXH3_state_t* state = nullptr;
    if (control.hash != nullptr) {
      state = XXH3_createState();
      if (state == nullptr) return ENOMEM;
      XXH3_64bits_reset(state);
    }
    const int error = WriteRegions(from, to, size, state, control);
    if (state != nullptr) {
      *control.hash = XXH3_64bits_digest(state);
      XXH3_freeState(state);
    }
    return error;
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
  // Read without changing the access time the copy carried over.
  int OpenWritten(const std::string& path, int* fd) override {
    *fd = open(path.c_str(), O_RDONLY | O_NOATIME | O_NOFOLLOW | O_CLOEXEC);
    if (*fd < 0 && errno == EPERM) *fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (*fd < 0) return errno;
    posix_fadvise(*fd, 0, 0, POSIX_FADV_DONTNEED);
    return 0;
  }

 private:
  static int WriteRegions(int from, int to, uint64_t size, XXH3_state_t* state,
                          const DataControl& control) {
    if (size == 0) return 0;
    const bool share = state == nullptr && (control.unshared == nullptr ||
                                            !control.unshared->load(std::memory_order_relaxed));
    if (share) {
      if (ioctl(to, FICLONE, from) == 0) return 0;
      if (control.unshared != nullptr && RefusesSharing(errno)) {
        control.unshared->store(true, std::memory_order_relaxed);
      }
    }
    const off_t end = static_cast<off_t>(size);
    bool kernel = state == nullptr;
    off_t offset = 0;
    while (offset < end) {
      off_t data = offset;
      off_t hole = end;
      if (!control.dense) {
        data = lseek(from, offset, SEEK_DATA);
        if (data < 0 && errno == ENXIO) data = end;  // only a hole is left
        if (data < 0) data = offset;                 // holes not told apart here
        hole = data < end ? lseek(from, data, SEEK_HOLE) : end;
        if (hole < 0 || hole > end) hole = end;
      }
      if (state != nullptr) HashZeros(state, static_cast<uint64_t>(std::min(data, end) - offset));
      if (data >= end) break;
      if (const int error = CopyRange(from, to, data, hole, &kernel, state, control)) return error;
      offset = hole;
    }
    if (control.dense) return 0;
    return ftruncate(to, end) == 0 ? 0 : errno;
  }
};

}  // namespace

template <>
TransferSteps& Replaceable<TransferSteps>::Real() {
  static LinuxTransferSteps steps;
  return steps;
}

}  // namespace zuv::platform
