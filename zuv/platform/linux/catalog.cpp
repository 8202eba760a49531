#include "zuv/platform/catalog.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/linux/real_path.h"
#include "zuv/platform/linux/status.h"
#include "zuv/platform/linux/volume_numbers.h"

namespace zuv::platform {
namespace {

using detail::RealPath;
using detail::StatusFromErrno;
using paths_internal::FolderOf;
using paths_internal::JoinPath;
using paths_internal::LastComponent;
using paths_internal::WithoutTrailingSlashes;

// Seconds from 1904-01-01 (the catalog's epoch) to 1970-01-01.
constexpr int64_t kUnixEpochIn1904 = 2082844800;
constexpr int64_t kNanosPerSecond = 1000000000;

UTCDateTime ToUTCDateTime(const statx_timestamp& time) {
  const int64_t seconds = time.tv_sec + kUnixEpochIn1904;
  if (seconds < 0) return UTCDateTime{};  // before 1904: no date
  return UTCDateTime{static_cast<uint16_t>(seconds >> 32), static_cast<uint32_t>(seconds),
                     static_cast<uint16_t>((int64_t{time.tv_nsec} << 16) / kNanosPerSecond)};
}

// Rounds the fraction up to whole nanoseconds, so that a date written and read back is the same.
timespec ToTimespec(const UTCDateTime& date) {
  const int64_t seconds = (int64_t{date.highSeconds} << 32) | date.lowSeconds;
  return timespec{static_cast<time_t>(seconds - kUnixEpochIn1904),
                  static_cast<long>((date.fraction * kNanosPerSecond + 0xFFFF) >> 16)};
}

// An item's stored name: the last component of its canonical path, "/" for the root.
std::string_view NameOf(const std::string& path) {
  return path == "/" ? std::string_view(path) : LastComponent(path);
}

bool EndsWithNoCase(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() &&
         std::equal(
             suffix.begin(), suffix.end(), text.end() - suffix.size(),
             [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

// Decodes UTF-8 where it is well-formed and shows every other byte as U+FFFD, one for each byte.
std::u16string DecodeName(std::string_view bytes) {
  std::u16string units;
  units.reserve(bytes.size());
  const auto* s = reinterpret_cast<const uint8_t*>(bytes.data());
  const auto length = static_cast<int32_t>(bytes.size());
  for (int32_t i = 0; i < length;) {
    const int32_t start = i;
    UChar32 c;
    U8_NEXT(s, i, length, c);
    if (c < 0) {
      c = 0xFFFD;
      i = start + 1;
    }
    if (c > 0xFFFF) {
      units += static_cast<char16_t>(U16_LEAD(c));
      units += static_cast<char16_t>(U16_TRAIL(c));
    } else {
      units += static_cast<char16_t>(c);
    }
  }
  return units;
}

// Reads the item behind the reference, and checks that it is still the same item.
OSStatus StatRef(const FSRef& ref, struct statx* sx) {
  if (statx(AT_FDCWD, ref.path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, sx) !=
      0) {
    return StatusFromErrno(errno);
  }
  if (makedev(sx->stx_dev_major, sx->stx_dev_minor) != ref.device || sx->stx_ino != ref.inode) {
    return kErrFileNotFound;
  }
  return kNoErr;
}

bool IsLocked(const struct statx& sx) { return (sx.stx_attributes & STATX_ATTR_IMMUTABLE) != 0; }

// Sets or clears the immutable inode flag, which only regular files and folders can carry.
OSStatus WriteLocked(const FSRef& ref, const struct statx& sx, bool locked) {
  if (IsLocked(sx) == locked) return kNoErr;
  if (!S_ISREG(sx.stx_mode) && !S_ISDIR(sx.stx_mode)) return kErrParam;
  const int fd = open(ref.path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return StatusFromErrno(errno);
  int flags = 0;
  int error = 0;
  if (ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0) {
    error = errno;
  } else {
    flags = locked ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
    if (ioctl(fd, FS_IOC_SETFLAGS, &flags) != 0) error = errno;
  }
  close(fd);
  return StatusFromErrno(error);
}

OSStatus WriteDates(const FSRef& ref, FSCatalogInfoBitmap which, const FSCatalogInfo& info) {
  if ((which & (kFSCatInfoAccessDate | kFSCatInfoContentMod)) == 0) return kNoErr;
  timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
  if (which & kFSCatInfoAccessDate) times[0] = ToTimespec(info.accessDate);
  if (which & kFSCatInfoContentMod) times[1] = ToTimespec(info.contentModDate);
  if (utimensat(AT_FDCWD, ref.path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0) {
    return StatusFromErrno(errno);
  }
  return kNoErr;
}

void FillCatalogInfo(const struct statx& sx, std::string_view leaf, FSCatalogInfoBitmap which,
                     FSCatalogInfo* info, HFSUniStr255* name) {
  const bool isFolder = S_ISDIR(sx.stx_mode);
  if (which & kFSCatInfoNodeFlags) {
    info->nodeFlags = static_cast<uint16_t>((IsLocked(sx) ? kFSNodeLockedMask : 0) |
                                            (isFolder ? kFSNodeIsDirectoryMask : 0));
  }
  if (which & kFSCatInfoVolume) {
    info->volume = detail::VolumeRefNumOf(makedev(sx.stx_dev_major, sx.stx_dev_minor));
  }
  if (which & kFSCatInfoUserPrivs) info->userPrivileges = 0;
  if (which & kFSCatInfoCreateDate) {
    info->createDate = ToUTCDateTime((sx.stx_mask & STATX_BTIME) ? sx.stx_btime : sx.stx_mtime);
  }
  if (which & kFSCatInfoContentMod) info->contentModDate = ToUTCDateTime(sx.stx_mtime);
  if (which & kFSCatInfoAccessDate) info->accessDate = ToUTCDateTime(sx.stx_atime);
  if (which & kFSCatInfoPermissions) {
    info->permissions = FSPermissionInfo{sx.stx_uid, sx.stx_gid, sx.stx_mode};
  }
  if (which & kFSCatInfoFinderInfo) std::memset(info->finderInfo, 0, sizeof info->finderInfo);
  if (which & kFSCatInfoFinderXInfo) {
    std::memset(info->extFinderInfo, 0, sizeof info->extFinderInfo);
  }
  if (which & kFSCatInfoDataSizes) {
    info->dataLogicalSize = isFolder ? 0 : sx.stx_size;
    info->dataPhysicalSize = isFolder ? 0 : sx.stx_blocks * 512;
  }
  if (name != nullptr) {
    const std::u16string units = DecodeName(leaf);
    name->length = static_cast<uint16_t>(std::min<size_t>(units.size(), std::size(name->unicode)));
    std::copy_n(units.begin(), name->length, name->unicode);
  }
}

// A folder named "*.app" that holds Contents/, or an AppDir: a folder holding an executable
// regular file AppRun (often a link to the program, so it is followed).
bool IsBundleFolder(const std::string& path) {
  struct stat st;
  if (EndsWithNoCase(NameOf(path), ".app") && stat((path + "/Contents").c_str(), &st) == 0 &&
      S_ISDIR(st.st_mode)) {
    return true;
  }
  return stat((path + "/AppRun").c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
         (st.st_mode & 0111) != 0;
}

}  // namespace

OSStatus MakeRef(const std::string& path, FSRef* ref) {
  if (path.empty()) return kErrFileNotFound;
  const std::string_view trimmed = WithoutTrailingSlashes(path);
  const std::string_view leaf = LastComponent(trimmed);

  // The parent folder is resolved and the last component kept, so that a symbolic link names
  // itself; "." and ".." have no name of their own and are resolved whole.
  std::string canonical;
  if (trimmed == "/" || leaf == "." || leaf == "..") {
    canonical = RealPath(std::string(trimmed));
  } else {
    const std::string_view folder = FolderOf(trimmed);
    canonical = RealPath(folder.empty() ? std::string(".") : std::string(folder));
    if (!canonical.empty()) canonical = JoinPath(canonical, leaf);
  }
  if (canonical.empty()) return StatusFromErrno(errno);

  struct stat st;
  if (lstat(canonical.c_str(), &st) != 0) return StatusFromErrno(errno);
  ref->path = std::move(canonical);
  ref->device = st.st_dev;
  ref->inode = st.st_ino;
  return kNoErr;
}

OSStatus RefMakePath(const FSRef& ref, char* buffer, size_t size) {
  if (ref.path.empty()) return kErrParam;
  if (ref.path.size() + 1 > size) return kErrPathTooLong;
  std::memcpy(buffer, ref.path.c_str(), ref.path.size() + 1);
  return kNoErr;
}

bool CompareRefs(const FSRef& a, const FSRef& b) {
  return a.device == b.device && a.inode == b.inode;
}

OSStatus GetCatalogInfo(const FSRef& ref, FSCatalogInfoBitmap which, FSCatalogInfo* info,
                        HFSUniStr255* name) {
  struct statx sx;
  if (const OSStatus status = StatRef(ref, &sx); status != kNoErr) return status;
  FillCatalogInfo(sx, NameOf(ref.path), which, info, name);
  return kNoErr;
}

// A path that needs no resolution to name its item is read directly; the others ("." or ".." at
// the end, relative, or the root) go by a reference, which resolves them.
OSStatus GetCatalogInfoAtPath(const char* path, FSCatalogInfoBitmap which, FSCatalogInfo* info,
                              HFSUniStr255* name, ItemFacts* facts) {
  const std::string_view trimmed = WithoutTrailingSlashes(path);
  const std::string_view leaf = LastComponent(trimmed);
  if (trimmed.size() < 2 || trimmed.front() != '/' || leaf == "." || leaf == "..") {
    FSRef ref;
    if (const OSStatus status = MakeRef(path, &ref); status != kNoErr) return status;
    if (const OSStatus status = GetCatalogInfo(ref, which, info, name); status != kNoErr) {
      return status;
    }
    *facts = ItemFacts{IsAliasFile(ref), IsApplicationBundle(ref), DisplayName(ref)};
    return kNoErr;
  }
  const std::string itemPath(trimmed);
  struct statx sx;
  if (statx(AT_FDCWD, itemPath.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME,
            &sx) != 0) {
    return StatusFromErrno(errno);
  }
  FillCatalogInfo(sx, leaf, which, info, name);
  *facts = ItemFacts{S_ISLNK(sx.stx_mode), S_ISDIR(sx.stx_mode) && IsBundleFolder(itemPath),
                     DecodeName(leaf)};
  return kNoErr;
}

OSStatus SetCatalogInfo(const FSRef& ref, FSCatalogInfoBitmap which, const FSCatalogInfo& info) {
  constexpr FSCatalogInfoBitmap kWritable = kFSCatInfoNodeFlags | kFSCatInfoCreateDate |
                                            kFSCatInfoContentMod | kFSCatInfoAccessDate |
                                            kFSCatInfoFinderInfo | kFSCatInfoFinderXInfo;
  // Linux keeps a birth time but offers no way to set it.
  if ((which & ~kWritable) != 0 || which == kFSCatInfoCreateDate) return kErrParam;
  struct statx sx;
  if (const OSStatus status = StatRef(ref, &sx); status != kNoErr) return status;

  // A locked item refuses new dates, so unlock before writing them and lock after.
  const bool setLock = (which & kFSCatInfoNodeFlags) != 0;
  const bool locked = (info.nodeFlags & kFSNodeLockedMask) != 0;
  if (setLock && !locked) {
    if (const OSStatus status = WriteLocked(ref, sx, false); status != kNoErr) return status;
  }
  if (const OSStatus status = WriteDates(ref, which, info); status != kNoErr) return status;
  return setLock && locked ? WriteLocked(ref, sx, true) : kNoErr;
}

bool IsApplicationBundle(const FSRef& ref) {
  struct stat st;
  return lstat(ref.path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && IsBundleFolder(ref.path);
}

bool IsAliasFile(const FSRef& ref) {
  struct stat st;
  return lstat(ref.path.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

std::u16string DisplayName(const FSRef& ref) { return DecodeName(NameOf(ref.path)); }

}  // namespace zuv::platform
