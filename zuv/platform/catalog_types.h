// The library's portable catalog records: the fixed-layout values that its public signatures use
// to exchange dates and file-system facts with callers, declared here where the platform does not
// provide them itself.
#pragma once

#include <cstdint>
#include <string>

#pragma pack(push, 2)

/// A UTC date in seconds since 1904-01-01 00:00:00 UTC (48 bits, split in two) with a fraction in
/// units of 1/65536 second. Packed to 8 bytes with 2-byte alignment; all zero means no date.
struct UTCDateTime {
  uint16_t highSeconds;  ///< Seconds, bits 32 to 47.
  uint32_t lowSeconds;   ///< Seconds, bits 0 to 31.
  uint16_t fraction;     ///< Fraction of a second, in units of 1/65536.
};

#pragma pack(pop)

static_assert(sizeof(UTCDateTime) == 8 && alignof(UTCDateTime) == 2);

/// A reference to an existing item: its canonical absolute path (the parent folder resolved, the
/// last component kept as named, so a symbolic link is an item of its own) and its identity on
/// disk. Two references name the same item when device and inode agree.
struct FSRef {
  std::string path;     ///< Canonical absolute path.
  uint64_t device = 0;  ///< Device of the file system that holds the item.
  uint64_t inode = 0;   ///< Inode number of the item on that device.
};

/// An item's name as the file system stores it, in UTF-16 units.
struct HFSUniStr255 {
  uint16_t length;        ///< Number of units used in `unicode`.
  char16_t unicode[255];  ///< The name, not terminated.
};

/// Which fields of an FSCatalogInfo a read fills in or a write applies.
typedef uint32_t FSCatalogInfoBitmap;
enum : FSCatalogInfoBitmap {
  kFSCatInfoNone = 0,
  kFSCatInfoNodeFlags = 0x00000002,
  kFSCatInfoVolume = 0x00000008,
  kFSCatInfoCreateDate = 0x00000020,
  kFSCatInfoContentMod = 0x00000040,
  kFSCatInfoAccessDate = 0x00000100,
  kFSCatInfoPermissions = 0x00000400,
  kFSCatInfoFinderInfo = 0x00000800,
  kFSCatInfoFinderXInfo = 0x00001000,
  kFSCatInfoDataSizes = 0x00004000,
  kFSCatInfoUserPrivs = 0x00020000,
};

/// Node flags of an FSCatalogInfo.
enum : uint16_t {
  kFSNodeLockedMask = 0x0001,
  kFSNodeIsDirectoryMask = 0x0010,
};

/// Owner, group and permission mode of an item.
struct FSPermissionInfo {
  uint32_t userID;   ///< Owner.
  uint32_t groupID;  ///< Group.
  uint16_t mode;     ///< File type and permission bits, as st_mode holds them.
};

/// An item's catalog information. A read fills the fields its bitmap names and leaves the others.
struct FSCatalogInfo {
  uint16_t nodeFlags;      ///< kFSNodeLockedMask, kFSNodeIsDirectoryMask.
  int16_t volume;          ///< Volume reference number.
  uint8_t userPrivileges;  ///< Access restrictions for the current user; 0 for none.
  UTCDateTime
      createDate;  ///< Creation time (the modification time where the file system keeps none).
  UTCDateTime contentModDate;    ///< Modification time of the contents.
  UTCDateTime accessDate;        ///< Last access time.
  FSPermissionInfo permissions;  ///< Owner, group and mode.
  uint8_t finderInfo[16];        ///< Finder information; all zero on this system.
  uint8_t extFinderInfo[16];     ///< Extended Finder information; all zero on this system.
  uint64_t dataLogicalSize;      ///< Size of the data in bytes; 0 for a folder.
  uint64_t dataPhysicalSize;     ///< Bytes allocated on disk for the data; 0 for a folder.
};
