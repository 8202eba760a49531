// CZuvFileHandle, a path that also carries what the catalog says of its item: size, creation and
// modification times, attributes for the current user, file type, the kind of medium it lives on,
// and its stored and display names. The information is read once, on first demand, and served from
// the handle until Update() or a new path. Beside it: the readable, writable and deletable tests
// and the group membership test they use.
#pragma once

#include <cstdint>
#include <memory>

#include "zuv/export.h"
#include "zuv/paths/file_path.h"
#include "zuv/paths/file_type.h"
#include "zuv/platform/catalog_types.h"
#include "zuv/strings/string_data.h"
#include "zuv/time/time.h"
#include "zuv/transfer/result.h"

class CZuvPlatformString;
namespace zuv::platform {
struct ItemFacts;
}

/// Attribute bits of a handle. Callers store these values.
/// Locked: the item's locked flag is set.
inline constexpr uint32_t kZuvAttributeLocked = 0x2;
/// Deletable: its volume is neither optical nor removable and write-protected.
inline constexpr uint32_t kZuvAttributeDeletable = 0x4;
/// Readable: its owner may read it.
inline constexpr uint32_t kZuvAttributeReadable = 0x8;
/// Writable: the current user may write it, and it is deletable.
inline constexpr uint32_t kZuvAttributeWritable = 0x10;
/// Folder: a folder that is not an application bundle.
inline constexpr uint32_t kZuvAttributeFolder = 0x10000000;

/// A path with the catalog information of its item, collected on first demand. Const queries fill
/// the cache, so one handle must not be used by two threads at once. The setters change the item,
/// not the cache: call Update() to see their effect.
class ZUV_EXPORT CZuvFileHandle : public CZuvFilePath {
 public:
  CZuvFileHandle();
  /// The path of the reference (empty when it has none); nothing collected.
  explicit CZuvFileHandle(const FSRef* ref);
  /// The path of the other; nothing collected.
  CZuvFileHandle(const CZuvFilePath& path);
  /// The path and, when the other has collected, its cached information.
  CZuvFileHandle(const CZuvFileHandle& other);
  ~CZuvFileHandle() override;

  /// Takes the path and, when the other has collected, its cached information.
  CZuvFileHandle& operator=(const CZuvFileHandle& other);
  /// Takes the other's path; nothing collected.
  CZuvFileHandle& operator=(const CZuvFilePath& other) override;
  /// Clears the path and the cache.
  void Free() override;
  /// True when no path is held.
  bool IsEmpty() const override;
  /// True when the path names an item that exists now (the cache is not used).
  bool IsExist() const;

  /// Data size in bytes, whole or as 32-bit halves; 0 when the item cannot be read.
  /// @{
  uint64_t GetFileSize() const;
  uint32_t GetFileSizeLow() const;
  uint32_t GetFileSizeHigh() const;
  /// @}
  /// Modification time; a zero time when the item cannot be read.
  CZuvTime GetUpdateTime() const;
  /// Modification or creation time into *time. kZuvSuccess, or kZuvErrFileSystem.
  /// @{
  ZuvResult GetUpdateTime(CZuvTime* time) const;
  ZuvResult GetCreateTime(CZuvTime* time) const;
  /// @}
  /// The type by the item's name; unknown for folders, symbolic links and unreadable items.
  eZuvFileType GetFileType() const;
  /// kZuvAttribute* bits for the current user; 0 when the item cannot be read.
  uint32_t GetAttribute() const;
  /// Kind of medium of the item's volume (kZuvDrive*, volume.h); kZuvDriveFixed when unknown.
  /// Remembered per volume for the life of the process.
  uint32_t GetDriveType() const;
  /// The stored name, or the name shown to the user. The result of initialising `name`, or
  /// kZuvErrFailed when the item cannot be read.
  /// @{
  ZuvResult GetActualName(CZuvStringData& name) const;
  ZuvResult GetDisplayName(CZuvStringData& name) const;
  /// @}

  /// Access time, read from the item each time. kZuvSuccess, or kZuvErrFileSystem.
  ZuvResult GetAccessTime(CZuvTime* time) const;
  /// Writes the item's modification time. kZuvSuccess, or kZuvErrFileSystem.
  ZuvResult SetUpdateTime(const CZuvTime& time);
  /// Writes the item's creation time. kZuvErrFileSystem where the file system cannot set it.
  ZuvResult SetCreateTime(const CZuvTime& time);
  /// Not offered: always kZuvErrNotSupported.
  ZuvResult SetAccessTime(const CZuvTime& time);
  /// Sets or clears the item's locked flag by bit kZuvAttributeLocked; other bits are ignored.
  /// kZuvSuccess, or kZuvErrFileSystem (also without the privilege to change the flag).
  ZuvResult SetAttribute(unsigned int attribute);
  /// Collects again. kZuvSuccess, or kZuvErrFileSystem.
  ZuvResult Update();
  /// Reads the catalog and fills the cache. kZuvSuccess, or kZuvErrFileSystem.
  ZuvResult CollectFileInformatioin() const;
  /// Fills the cache from a catalog record and the item's stored name. Always kZuvSuccess.
  ZuvResult SetCatalogInfo(const FSCatalogInfo& info, const HFSUniStr255& name) const;
  /// Whether both paths are equal ignoring case and a trailing "/"; false when either is empty.
  /// The items themselves are not compared.
  bool IsEqual(const CZuvFileHandle& other) const;

  /// The type of a name or path by its last extension, from the handle's own short table; unknown
  /// when there is none.
  static eZuvFileType GetFileType(const CZuvStringData& path);
  /// Attributes of a path by its permission bits alone, without regard to the current user or the
  /// medium: Readable for owner or group read, Writable for owner write, and Deletable too when
  /// the item is not locked; always with kZuvAttributeFolder, and 0 when the item cannot be read.
  static uint32_t GetAttribute(const CZuvStringData& path);

 private:
  void ForgetCache() const;
  bool EnsureCollected() const;
  void CopyCache(const CZuvFileHandle& other);
  void FillCache(const FSCatalogInfo& info, const HFSUniStr255& name,
                 const zuv::platform::ItemFacts& facts) const;
  ZuvResult WriteCatalogInfo(FSCatalogInfoBitmap which, const FSCatalogInfo& info);

  mutable std::unique_ptr<CZuvPlatformString> m_pActualName;
  mutable std::unique_ptr<CZuvPlatformString> m_pDisplayName;
  mutable uint8_t m_bCollected = 0;
  mutable uint8_t m_bIsFolder = 0;
  mutable uint32_t m_nAttribute = 0;
  mutable eZuvFileType m_eFileType = kZuvFileTypeUnknown;
  mutable uint32_t m_nDriveType = 0;
  mutable uint64_t m_nSize = 0;
  mutable CZuvTime m_createTime;
  mutable CZuvTime m_updateTime;
};

/// Whether the current user may read the item (kZuvAttributeReadable).
ZUV_EXPORT bool ZuvIsReadable(const CZuvFileHandle& handle);
/// Whether the item may be deleted (kZuvAttributeDeletable).
ZUV_EXPORT bool ZuvIsDeletable(const CZuvFileHandle& handle);
/// Whether the current user may write the item: a file (or application bundle) when its folder is
/// writable; a folder when it is not locked and has kZuvAttributeWritable.
ZUV_EXPORT bool ZuvIsWritable(const CZuvFileHandle& handle);
/// Whether the process's supplementary groups include `groupId`. The list is read once per process.
ZUV_EXPORT bool IsUserMemberOfGroup(unsigned int groupId);
