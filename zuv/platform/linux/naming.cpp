// LinuxFileSystem's creating, renaming, moving and exchanging of items, and the references made by
// name, which give an item its place in a folder.
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/linux/linux_file_system.h"
#include "zuv/platform/linux/status.h"
#include "zuv/platform/text.h"

namespace zuv::platform {
namespace {

using detail::RenameNoReplace;
using detail::StatusFromErrno;
using paths_internal::FolderOf;
using paths_internal::JoinPath;
using paths_internal::LastComponent;

// StatusFromErrno for an operation that gives an item a name: a name longer than the file system
// takes is kErrNameTooLong rather than a bad name.
OSStatus StatusFromNamingErrno(int error) {
  return error == ENAMETOOLONG ? kErrNameTooLong : StatusFromErrno(error);
}

// The UTF-8 form of a name that can be one path component.
std::optional<std::string> ComponentOf(std::u16string_view name) {
  std::string utf8 = EncodeUtf8(name);
  if (!paths_internal::IsOneComponent(utf8)) return std::nullopt;
  return utf8;
}

// Creates an empty file with `mode` less the umask; false, with errno set, when it could not.
bool CreateEmptyFile(const std::string& path, mode_t mode) {
  const int fd = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, mode);
  return fd >= 0 && close(fd) == 0;
}

// Creates a file or a folder by `make`, which tells whether it did and leaves errno set if not.
template <typename Make>
OSStatus CreateItem(const FSRef& parent, std::u16string_view name, FSRef* created, Make make) {
  const std::optional<std::string> leaf = ComponentOf(name);
  if (!leaf) return kErrBadName;
  const std::string path = JoinPath(parent.path, *leaf);
  if (!make(path.c_str())) return StatusFromNamingErrno(errno);
  return MakeRef(path, created);
}

OSStatus RenameTo(const FSRef& item, const std::string& to, FSRef* renamed) {
  if (const int error = RenameNoReplace(AT_FDCWD, item.path, AT_FDCWD, to); error != 0) {
    return StatusFromNamingErrno(error);
  }
  return MakeRef(to, renamed);
}

// Whether RENAME_EXCHANGE works in `folder`: two empty files are made there, exchanged and removed.
// No answer when the files cannot be made.
std::optional<bool> ProbeExchange(std::string_view folder) {
  static std::atomic<unsigned> probes{0};
  const std::string stem = JoinPath(
      folder, ".zuv-exchange-probe-" + std::to_string(getpid()) + "-" + std::to_string(probes++));
  const std::string a = stem + "a";
  const std::string b = stem + "b";
  std::optional<bool> works;
  if (CreateEmptyFile(a, 0600)) {
    if (CreateEmptyFile(b, 0600)) {
      works = renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) == 0;
      unlink(b.c_str());
    }
    unlink(a.c_str());
  }
  return works;
}

}  // namespace

int detail::RenameNoReplace(int fromFolder, const std::string& from, int toFolder,
                            const std::string& to) {
  if (renameat2(fromFolder, from.c_str(), toFolder, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL) return errno;
  struct stat st;
  if (fstatat(toFolder, to.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
  return renameat(fromFolder, from.c_str(), toFolder, to.c_str()) == 0 ? 0 : errno;
}

OSStatus detail::LinuxFileSystem::CreateFile(const FSRef& parent, std::u16string_view name,
                                             FSRef* created) {
  return CreateItem(parent, name, created,
                    [](const char* path) { return CreateEmptyFile(path, 0666); });
}

OSStatus detail::LinuxFileSystem::CreateFolder(const FSRef& parent, std::u16string_view name,
                                               FSRef* created) {
  return CreateItem(parent, name, created, [](const char* path) { return mkdir(path, 0777) == 0; });
}

OSStatus detail::LinuxFileSystem::CreateFolderAtPath(const std::string& path, uint32_t mode) {
  return mkdir(path.c_str(), static_cast<mode_t>(mode)) == 0 ? kNoErr
                                                             : StatusFromNamingErrno(errno);
}

OSStatus detail::LinuxFileSystem::Rename(const FSRef& item, std::u16string_view name,
                                         FSRef* renamed) {
  const std::optional<std::string> leaf = ComponentOf(name);
  if (!leaf) return kErrBadName;
  if (item.path == "/") return kErrParam;
  return RenameTo(item, JoinPath(FolderOf(item.path), *leaf), renamed);
}

OSStatus detail::LinuxFileSystem::Move(const FSRef& item, const FSRef& folder, FSRef* moved) {
  if (item.path == "/") return kErrParam;
  return RenameTo(item, JoinPath(folder.path, LastComponent(item.path)), moved);
}

bool detail::LinuxFileSystem::CanExchange(const FSRef& item) {
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

OSStatus detail::LinuxFileSystem::Exchange(const FSRef& a, const FSRef& b, FSRef* newA,
                                           FSRef* newB) {
  if (IsFolder(a) || IsFolder(b)) return kErrNotAFile;
  if (renameat2(AT_FDCWD, a.path.c_str(), AT_FDCWD, b.path.c_str(), RENAME_EXCHANGE) != 0) {
    return StatusFromErrno(errno);
  }
  const OSStatus status = MakeRef(a.path, newA);
  return status != kNoErr ? status : MakeRef(b.path, newB);
}

OSStatus FindChild(const FSRef& parent, std::u16string_view name, FSRef* child) {
  const std::optional<std::string> leaf = ComponentOf(name);
  return leaf ? MakeRef(JoinPath(parent.path, *leaf), child) : kErrBadName;
}

OSStatus GetParentAndName(const FSRef& item, FSRef* parent, std::u16string* name) {
  if (item.path == "/") return kErrParam;
  std::u16string units;
  if (!DecodeUtf8(LastComponent(item.path), &units)) {
    return kErrBadName;
  }
  const OSStatus status = MakeRef(std::string(FolderOf(item.path)), parent);
  if (status == kNoErr) *name = std::move(units);
  return status;
}

FSCatalogInfoBitmap ExchangedCatalogFields() {
  return kFSCatInfoNodeFlags | kFSCatInfoCreateDate | kFSCatInfoAccessDate | kFSCatInfoFinderInfo |
         kFSCatInfoFinderXInfo;
}

}  // namespace zuv::platform
