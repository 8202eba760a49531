#include "zuv/platform/file_stream.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zuv/platform/file_system.h"
#include "zuv/platform/linux/status.h"

namespace zuv::platform {

using detail::StatusFromErrno;

FileStream::~FileStream() { Close(); }

OSStatus FileStream::Open(const std::string& path, Access access, Fork fork) {
  if (fork == Fork::kResource) return kErrForkNotFound;
  Close();
  int flags = O_CLOEXEC | O_NONBLOCK;
  switch (access) {
    case Access::kRead:
      flags |= O_RDONLY;
      break;
    case Access::kWriteOver:
      flags |= O_WRONLY | O_NOFOLLOW;
      break;
    case Access::kAppend:
      flags |= O_WRONLY | O_APPEND | O_CREAT;
      break;
  }
  const int fd = open(path.c_str(), flags, 0666);
  if (fd < 0) return StatusFromErrno(errno);
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
      fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0) {
    close(fd);
    return kErrNotAFile;
  }
  m_fd = fd;
  m_sizeAtOpen = static_cast<uint64_t>(st.st_size);
  m_read = 0;
  m_ended = false;
  return kNoErr;
}

bool FileStream::HasBytesAvailable() const {
  return m_fd >= 0 && !m_ended && m_read < m_sizeAtOpen;
}

size_t FileStream::Read(void* buffer, size_t count) {
  ssize_t done;
  do {
    done = read(m_fd, buffer, count);
  } while (done < 0 && errno == EINTR);
  if (done <= 0) {
    m_ended = true;
    return 0;
  }
  m_read += static_cast<uint64_t>(done);
  return static_cast<size_t>(done);
}

size_t FileStream::Write(const void* data, size_t count) {
  size_t done = 0;
  while (done < count) {
    const ssize_t written = write(m_fd, static_cast<const char*>(data) + done, count - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    done += static_cast<size_t>(written);
  }
  return done;
}

OSStatus FileStream::Close() {
  if (m_fd < 0) return kErrFileNotOpen;
  const int fd = m_fd;
  m_fd = -1;
  return close(fd) == 0 ? kNoErr : StatusFromErrno(errno);
}

}  // namespace zuv::platform
