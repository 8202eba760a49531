// A file's data read or written a step at a time through one open file: the input and output
// streams of the stream copy and the open forks of the fork copy. Answers are the raw error numbers
// of catalog.h and file_system.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "zuv/platform/catalog.h"

namespace zuv::platform {

/// One regular file open for reading or for writing, closed at the latest when destroyed. Opening
/// never waits on a FIFO, and anything but a regular file is refused (kErrNotAFile). One object is
/// used by one thread.
class FileStream {
 public:
  enum class Access {
    kRead,       // from the start; a symbolic link named last is followed
    kWriteOver,  // an existing file from its start, neither truncated nor created, nor followed
    kAppend,     // at its end, created (mode 0666 less the umask) when missing; a link is followed
  };
  enum class Fork { kData, kResource };

  FileStream() = default;
  ~FileStream();
  FileStream(const FileStream&) = delete;
  FileStream& operator=(const FileStream&) = delete;

  /// Opens the fork of the file at `path`. kErrForkNotFound for a resource fork where files have
  /// none (always on Linux); else kNoErr or the error of the open.
  OSStatus Open(const std::string& path, Access access, Fork fork = Fork::kData);
  /// While open for reading: fewer bytes have been read than the file held when it was opened, and
  /// no read has found its end or failed.
  bool HasBytesAvailable() const;
  /// Reads up to `count` bytes; how many, 0 at the end or on an error.
  size_t Read(void* buffer, size_t count);
  /// Writes `count` bytes; how many were written, fewer on an error such as a full volume.
  size_t Write(const void* data, size_t count);
  /// Closes the file. kErrFileNotOpen when it is not open, else the answer of the close.
  OSStatus Close();

 private:
  int m_fd = -1;
  uint64_t m_sizeAtOpen = 0;
  uint64_t m_read = 0;
  bool m_ended = false;
};

}  // namespace zuv::platform
