// Copying and moving whole trees of files and folders, as the copy and move operations ask for it,
// and the single steps such a walk is made of. Both are read through Replaceable<>: a test puts in
// a tree transfer of its own, or a wrapper around the real steps that fails a chosen call of one
// kind (zuv/platform/testing/transfer_steps.h), so that every step's failure can be tried for real.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "zuv/platform/replaceable.h"

namespace zuv::platform {

/// Told each destination path before the item there is made, on the thread that runs the walk.
/// True goes on; false stops the walk, and nothing is then made at that path. Empty: always on.
using TreeNotice = std::function<bool(const std::string& path)>;

/// What a copy or move does beyond the copy itself.
struct TransferOptions {
  /// Once the copy is durable, every file is read back from the device and compared with the data
  /// read from its source while it was copied (the source is read once). Each file that does not
  /// read back as written is added to *mismatches; the transfer then answers EBADMSG.
  bool verify = false;
  /// The destination paths of the files that failed the check, in walk order. Needed with verify.
  std::vector<std::string>* mismatches = nullptr;
};

/// Copies and moves trees. Answers are errno values, 0 for success and ECANCELED when a notice
/// stopped the walk. Every method may be called from any thread.
///
/// File data and metadata are written by a few threads of the copy's own (ZUV_COPY_THREADS, else
/// the machine's cores) while the calling thread walks, notices and makes folders; a folder gets
/// its own metadata once everything in it is done. After an error or a stop nothing more is
/// started, and what was started is finished or removed before the answer, which is the error of
/// the earliest failed item in walk order.
class TreeTransfer {
 public:
  virtual ~TreeTransfer() = default;
  /// Copies the item at `source` (a symbolic link as a link) to `destination`, which must not
  /// exist (EEXIST), with everything in it: data (sparse files stay sparse), mode, modification
  /// and access times and `user.*` extended attributes; FIFOs are made anew, sockets and devices
  /// refused (EOPNOTSUPP). Each item's destination path is noticed first, the top one included.
  /// The walk stops at the first error or stop, and nothing is left at the path where it stopped;
  /// what was copied before stays. A path whose last component is "." or ".." is refused (EINVAL).
  /// Folders are entered by descriptor, never through a symbolic link, on either side.
  virtual int Copy(const std::string& source, const std::string& destination,
                   const TreeNotice& notice, const TransferOptions& options = {}) = 0;
  /// Moves the item at `source` to `destination`, which must not exist. On one volume it is
  /// renamed, with one notice, for the destination. Across volumes it is copied as by Copy, the
  /// copy made durable, and only then the source removed; when the copy fails or is stopped, the
  /// partial destination is removed and the source stays whole. When the source cannot be removed
  /// entirely, the error is answered and the whole copy stays. A verified move removes only the
  /// sources of the files that read back as written (a file that did not stays with the folders
  /// that hold it); a rename has nothing to verify.
  virtual int Move(const std::string& source, const std::string& destination,
                   const TreeNotice& notice, const TransferOptions& options = {}) = 0;
};

template <>
TreeTransfer& Replaceable<TreeTransfer>::Real();

/// The steps of a tree walk that change the disk, each answering 0 or an errno value. `folder` is
/// a descriptor of the folder being filled and `name` an item in it, never followed when it is a
/// symbolic link. Every method may be called from any thread.
class TransferSteps {
 public:
  virtual ~TransferSteps() = default;
  /// Creates the file `name` (it must not exist) open for writing, into *fd, with mode 0600.
  virtual int CreateFile(int folder, const std::string& name, int* fd) = 0;
  /// Makes the folder `name` (it must not exist) with mode 0700.
  virtual int MakeFolder(int folder, const std::string& name) = 0;
  /// Makes the symbolic link `name` to `target`.
  virtual int MakeLink(int folder, const std::string& name, const std::string& target) = 0;
  /// Makes the FIFO `name` with mode 0600.
  virtual int MakeFifo(int folder, const std::string& name) = 0;
  /// How WriteData goes: a flag that stops it between steps (ECANCELED), and where the hash of
  /// the data read goes (XXH3, 64 bits), which makes it read the data through a buffer.
  struct DataControl {
    /// When it becomes true, a write past its first step stops within 64 MiB; null: never stops.
    const std::atomic<bool>* stop = nullptr;
    /// Set to the hash of the `size` bytes of `from`, holes read as zeros; null: no hash.
    uint64_t* hash = nullptr;
    /// Set once the two files' volumes refused to share extents; while set, it is not tried.
    std::atomic<bool>* unshared = nullptr;
    /// `from` has no holes (its blocks cover its size), so none are looked for.
    bool dense = false;
  };
  /// Writes the `size` bytes of the open file `from` into the empty file `to`, sharing extents
  /// where the file system can, else in kernel-side steps, else through a buffer; holes of `from`
  /// stay holes.
  virtual int WriteData(int from, int to, uint64_t size, const DataControl& control) = 0;
  /// Sets the permission bits of the item `name` in `folder`, or of `folder` itself when `name`
  /// is empty.
  virtual int SetMode(int folder, const std::string& name, mode_t mode) = 0;
  /// Sets the access and modification times, as for SetMode; a symbolic link's own.
  virtual int SetTimes(int folder, const std::string& name, const timespec times[2]) = 0;
  /// Sets one extended attribute of the open item `fd`.
  virtual int SetXattr(int fd, const std::string& name, const std::string& value) = 0;
  /// Closes a descriptor that CreateFile gave; the descriptor is gone even when it fails.
  virtual int Close(int fd) = 0;
  /// Makes everything written to the volume of the open item `fd` durable.
  virtual int SyncVolume(int fd) = 0;
  /// Removes the item at `path` with everything in it, never following a symbolic link.
  virtual int RemoveSource(const std::string& path) = 0;
  /// Opens the file at `path`, which a copy wrote and made durable, for reading it back from the
  /// device: its cached pages are dropped first. Not following a last symbolic link.
  virtual int OpenWritten(const std::string& path, int* fd) = 0;
};

template <>
TransferSteps& Replaceable<TransferSteps>::Real();

}  // namespace zuv::platform
