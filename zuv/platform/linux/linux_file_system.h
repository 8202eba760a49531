// The machine's own answers to the file-system questions, Replaceable<FileSystem>::Real(). The
// methods live by concept: reading and writing data in fork_io.cpp; creating, renaming, moving and
// exchanging items in naming.cpp; removing items and trees in removal.cpp; the rest, and the
// answer's one instance, in file_system.cpp. The folders found from the environment are in
// known_folders.cpp.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "zuv/platform/file_system.h"

namespace zuv::platform::detail {

/// The file-system calls answered by this machine's system calls, as file_system.h describes them.
class LinuxFileSystem final : public FileSystem {
 public:
  ForkOutcome ReadFork(const FSRef& file, void* buffer, size_t count) override;
  ForkOutcome WriteFork(const FSRef& file, const void* data, size_t count) override;
  OSStatus CreateFile(const FSRef& parent, std::u16string_view name, FSRef* created) override;
  OSStatus CreateFolder(const FSRef& parent, std::u16string_view name, FSRef* created) override;
  OSStatus CreateFolderAtPath(const std::string& path, uint32_t mode) override;
  OSStatus Rename(const FSRef& item, std::u16string_view name, FSRef* renamed) override;
  OSStatus Move(const FSRef& item, const FSRef& folder, FSRef* moved) override;
  OSStatus Delete(const FSRef& item) override;
  OSStatus Unlink(const std::string& path) override;
  bool RemoveTree(const std::string& path) override;
  OSStatus DeleteResourceFork(const FSRef& item) override;
  bool Exists(const std::string& path) override;
  bool CanExchange(const FSRef& item) override;
  OSStatus Exchange(const FSRef& a, const FSRef& b, FSRef* newA, FSRef* newB) override;
  OSStatus SetCatalogInfo(const FSRef& item, FSCatalogInfoBitmap which,
                          const FSCatalogInfo& info) override;
  void Pause(std::chrono::milliseconds duration) override;

 private:
  std::mutex m_lock;
  std::map<uint64_t, bool> m_canExchange;  // by device id
};

/// Whether the item itself, not what a symbolic link there names, is a folder.
bool IsFolder(const FSRef& item);

/// Renames `from` (relative to the folder descriptor `fromFolder`, or AT_FDCWD) to `to` (likewise)
/// without replacing an item there: 0, EEXIST when `to` is taken, or another errno value. Where the
/// file system refuses to be asked not to replace (NFS, some FUSE ones), `to` is looked at first
/// and then renamed to, which leaves a short window for a race.
int RenameNoReplace(int fromFolder, const std::string& from, int toFolder, const std::string& to);

}  // namespace zuv::platform::detail
