// LinuxFileSystem's reading and writing of a file's data, whole, from its start.
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zuv/platform/linux/linux_file_system.h"
#include "zuv/platform/linux/status.h"

namespace zuv::platform::detail {
namespace {

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

}  // namespace zuv::platform::detail
