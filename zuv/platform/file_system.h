// The file-system questions of the basic file operations and the project temp folder: read or
// write a whole data fork, create, rename, move, delete and exchange items named by reference and
// UTF-16 name, remove a folder with everything in it, test existence, write catalog records, and
// find the per-user scratch folder and the Application Support folder. Answers are raw error
// numbers (catalog.h and below).
//
// Every call whose answer the file operations branch on is a method of FileSystem, read through
// Replaceable<FileSystem>::Current(): a test puts a fake or a fault-injecting wrapper in its place
// (zuv/platform/testing/file_system.h). Lookups that only make references (FindChild,
// GetParentAndName) and the folders found from the environment are plain functions. Later
// whole-tree operations join as methods here or as sibling interfaces on the same mechanism.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zuv/platform/catalog.h"
#include "zuv/platform/replaceable.h"

namespace zuv::platform {

/// Error numbers of these operations beside those of catalog.h. Some are never produced on Linux
/// but are part of what the callers must handle on every system.
enum : OSStatus {
  kErrDirFull = -33,
  kErrFileNotOpen = -38,  // closing a fork that never opened
  kErrFileLocked = -45,
  kErrFileOpen = -49,  // open for writing elsewhere
  kErrWritePermission = -61,
  kErrRefUnusable = -431,  // a reference the call cannot use
  kErrBadRef = -1300,      // a reference that names nothing
  kErrNotAFile = -1302,    // a folder where a file is needed
  kErrForkNotFound = -1409,
  kErrNameTooLong = -1410,
};

/// Outcome of a whole-fork read or write: the opening and transfer together, and the close on its
/// own. A fork that could not be opened is not transferred, and closing it fails (kErrFileNotOpen).
struct ForkOutcome {
  OSStatus transfer = kNoErr;
  OSStatus close = kNoErr;
  bool operator==(const ForkOutcome&) const = default;
};

/// Makes a reference to the item `name` in `parent`. kErrFileNotFound when there is none,
/// kErrBadName as for CreateFile.
OSStatus FindChild(const FSRef& parent, std::u16string_view name, FSRef* child);
/// The folder holding the item, and the item's name. kErrBadName when the stored name is not
/// well-formed UTF-8, so that a name read here and given back names the same item.
OSStatus GetParentAndName(const FSRef& item, FSRef* parent, std::u16string* name);
/// The catalog fields that an exchange by renames gives each item from the other, so that they stay
/// with the name: the locked flag, the creation (skipped where it cannot be written) and access
/// dates and the Finder information.
FSCatalogInfoBitmap ExchangedCatalogFields();

/// Removes the item `name` of the open folder `folder` (AT_FDCWD: a path) as FileSystem::RemoveTree
/// removes a path, so that a walk by descriptor can remove what it made without naming it by path.
bool RemoveTreeAt(int folder, const std::string& name);
/// The per-user scratch folder, $TMPDIR/zuv-UID ($TMPDIR unset, empty or relative: /tmp), made
/// with mode 0700 when missing and `create` is set; its path has $TMPDIR's links resolved.
/// kErrFileNotFound when missing and not created; kErrAccessDenied when what is there is a
/// symbolic link, not a folder, not the user's own, or open to group or others, or when another
/// user could rename it: a folder on its way belongs to another user than root and the user, or
/// is open for writing to group or others without the sticky bit. Nothing is then made through it.
OSStatus FindScratchFolder(bool create, std::string* path);
/// The local Application Support folder: the first absolute folder of $XDG_DATA_DIRS, without a
/// trailing "/" (unset or empty: /usr/local/share). False when the variable names none.
bool FindApplicationSupportFolder(std::string* path);

/// The file-system calls on whose answers the file operations branch, replaceable in tests through
/// Replaceable<FileSystem>. Every method may be called from any thread.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  /// Reads up to `count` bytes from the start of the file's data, then asks the system not to keep
  /// them cached. A short read is not an error. A folder or symbolic link has no data
  /// (kErrNotAFile, kErrFileNotFound).
  virtual ForkOutcome ReadFork(const FSRef& file, void* buffer, size_t count) = 0;
  /// Writes `count` bytes from the start of the existing file's data and sets its size to `count`,
  /// then asks the system not to keep them cached. Nothing is created.
  virtual ForkOutcome WriteFork(const FSRef& file, const void* data, size_t count) = 0;

  /// Creates an empty file (mode 0666 less the umask) or a folder (0777 less the umask) named
  /// `name` in `parent`, and makes *created. kErrDuplicateName when the name is taken, kErrBadName
  /// for a name that cannot be one (empty, ".", "..", holding "/" or U+0000), kErrNameTooLong.
  virtual OSStatus CreateFile(const FSRef& parent, std::u16string_view name, FSRef* created) = 0;
  virtual OSStatus CreateFolder(const FSRef& parent, std::u16string_view name, FSRef* created) = 0;
  /// Makes a folder at `path` with `mode` less the umask. kErrDuplicateName when something is
  /// there.
  virtual OSStatus CreateFolderAtPath(const std::string& path, uint32_t mode) = 0;

  /// Renames the item within its folder, not replacing another item, and makes *renamed.
  /// kErrDuplicateName, kErrBadName, kErrNameTooLong, kErrAccessDenied (a locked item)...
  virtual OSStatus Rename(const FSRef& item, std::u16string_view name, FSRef* renamed) = 0;
  /// Moves the item into `folder` under its own name, not replacing another item, and makes
  /// *moved. kErrDifferentVolume when the folder is on another volume.
  virtual OSStatus Move(const FSRef& item, const FSRef& folder, FSRef* moved) = 0;
  /// Deletes a file, or a folder that is empty. kErrFileBusy for an item in use or a folder that
  /// is not empty.
  virtual OSStatus Delete(const FSRef& item) = 0;
  /// Removes the file at `path` (unlink), without looking at what it is.
  virtual OSStatus Unlink(const std::string& path) = 0;
  /// Removes the item at `path` and, for a folder, everything in it, bottom up, at any depth with a
  /// few descriptors; symbolic links are removed, never followed. Removes what it can, and stops
  /// where a folder is moved away meanwhile; true when everything went.
  virtual bool RemoveTree(const std::string& path) = 0;
  /// Deletes the item's resource fork. Linux has none: always kErrForkNotFound.
  virtual OSStatus DeleteResourceFork(const FSRef& item) = 0;

  /// Whether `path` names an item, a symbolic link being followed (a dangling one names nothing).
  virtual bool Exists(const std::string& path) = 0;

  /// Whether the item's volume can exchange two files in place. Tried once per volume.
  virtual bool CanExchange(const FSRef& item) = 0;
  /// Exchanges two files in place, each name then naming the other's content, and makes the
  /// references of both places anew. kErrNotAFile for a folder, kErrDifferentVolume.
  virtual OSStatus Exchange(const FSRef& a, const FSRef& b, FSRef* newA, FSRef* newB) = 0;

  /// Writes the chosen fields of the item's catalog record, as zuv::platform::SetCatalogInfo.
  virtual OSStatus SetCatalogInfo(const FSRef& item, FSCatalogInfoBitmap which,
                                  const FSCatalogInfo& info) = 0;

  /// Sleeps the calling thread.
  virtual void Pause(std::chrono::milliseconds duration) = 0;
};

template <>
FileSystem& Replaceable<FileSystem>::Real();

}  // namespace zuv::platform
