#include "zuv/files/file_handle.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zuv/files/internal/process_caches.h"
#include "zuv/files/volume.h"
#include "zuv/platform/catalog.h"
#include "zuv/platform/file_system.h"
#include "zuv/platform/text.h"
#include "zuv/platform/user.h"
#include "zuv/platform/volume_info.h"

namespace {

using zuv::platform::FileSystem;
using zuv::platform::kNoErr;
using zuv::platform::Replaceable;

struct FileTypeRow {
  eZuvFileType type;
  std::u16string_view extension;
};

// The handle's own short list of extensions, scanned in order without regard to case. It lacks
// several that the extension tables of file_type.h know (".bmp", ".cr2", ".mp4", ".xmp", ...):
// GetFileType reports those as unknown.
constexpr FileTypeRow g_FileType[] = {
    {kZuvFileTypeJpeg, u"JPG"},         {kZuvFileTypeJpeg, u"jpeg"},
    {kZuvFileTypeTiff, u"TIF"},         {kZuvFileTypeTiff, u"tiff"},
    {kZuvFileTypeRaw, u"QRW"},          {kZuvFileTypeMov, u"mov"},
    {kZuvFileTypePng, u"png"},          {kZuvFileTypeDustReference, u"qdr"},
    {kZuvFileTypeWav, u"wav"},          {kZuvFileTypeMpeg, u"mpg"},
    {kZuvFileTypeMpeg, u"mpeg"},        {kZuvFileTypeAvi, u"avi"},
    {kZuvFileTypeWmv, u"wmv"},          {kZuvFileTypeCompactRaw, u"qcw"},
    {kZuvFileTypeEditSettings, u"QPJ"}, {kZuvFileTypeMpo, u"MPO"},
    {kZuvFileTypeLog, u"LOG"},
};

std::mutex g_groupsLock;
std::optional<std::vector<uint32_t>> g_groups;  // the supplementary groups, once read

// What a collection reads from the catalog in one call.
constexpr FSCatalogInfoBitmap kCollectedFields =
    kFSCatInfoNodeFlags | kFSCatInfoVolume | kFSCatInfoCreateDate | kFSCatInfoContentMod |
    kFSCatInfoPermissions | kFSCatInfoFinderInfo | kFSCatInfoDataSizes;

// Permission mode bits.
constexpr uint16_t kOwnerRead = 0x100;
constexpr uint16_t kOwnerWrite = 0x80;
constexpr uint16_t kGroupRead = 0x20;
constexpr uint16_t kGroupWrite = 0x10;
constexpr uint16_t kOtherWrite = 0x2;

constexpr uint8_t kUserPrivilegesTopBit = 0x80;

// The type of the text after the last dot of a name or path, by the table above.
eZuvFileType FileTypeOfName(std::u16string_view name) {
  const int32_t dot = zuv::platform::FindUnits(name, u".", false, true);
  if (dot < 0) return kZuvFileTypeUnknown;
  const std::u16string_view extension = name.substr(static_cast<size_t>(dot) + 1);
  for (const FileTypeRow& row : g_FileType) {
    if (zuv::platform::CompareUnits(extension, row.extension, true) == 0) return row.type;
  }
  return kZuvFileTypeUnknown;
}

std::unique_ptr<CZuvPlatformString> CopyOf(const std::unique_ptr<CZuvPlatformString>& name) {
  return name ? std::make_unique<CZuvPlatformString>(*name) : nullptr;
}

}  // namespace

CZuvFileHandle::CZuvFileHandle() = default;

CZuvFileHandle::CZuvFileHandle(const FSRef* ref) { Initialize(ref); }

CZuvFileHandle::CZuvFileHandle(const CZuvFilePath& path) : CZuvFilePath(path) {}

CZuvFileHandle::CZuvFileHandle(const CZuvFileHandle& other) : CZuvFilePath(other) {
  CopyCache(other);
}

CZuvFileHandle::~CZuvFileHandle() = default;

CZuvFileHandle& CZuvFileHandle::operator=(const CZuvFileHandle& other) {
  if (this != &other) {
    Free();
    CZuvFilePath::operator=(other);
    CopyCache(other);
  }
  return *this;
}

CZuvFileHandle& CZuvFileHandle::operator=(const CZuvFilePath& other) {
  if (this != &other) {
    Free();
    CZuvFilePath::operator=(other);
  }
  return *this;
}

void CZuvFileHandle::Free() {
  CZuvFilePath::Free();
  ForgetCache();
}

bool CZuvFileHandle::IsEmpty() const { return PathString().GetLengthByteUtf8() == 0; }

bool CZuvFileHandle::IsExist() const {
  FSRef ref;
  return !IsEmpty() && ZuvIsSuccess(GetFSRef(&ref));
}

uint64_t CZuvFileHandle::GetFileSize() const { return EnsureCollected() ? m_nSize : 0; }

uint32_t CZuvFileHandle::GetFileSizeLow() const { return static_cast<uint32_t>(GetFileSize()); }

uint32_t CZuvFileHandle::GetFileSizeHigh() const {
  return static_cast<uint32_t>(GetFileSize() >> 32);
}

CZuvTime CZuvFileHandle::GetUpdateTime() const {
  return EnsureCollected() ? m_updateTime : CZuvTime();
}

ZuvResult CZuvFileHandle::GetUpdateTime(CZuvTime* time) const {
  if (!EnsureCollected()) return kZuvErrFileSystem;
  *time = m_updateTime;
  return kZuvSuccess;
}

ZuvResult CZuvFileHandle::GetCreateTime(CZuvTime* time) const {
  if (!EnsureCollected()) return kZuvErrFileSystem;
  *time = m_createTime;
  return kZuvSuccess;
}

eZuvFileType CZuvFileHandle::GetFileType() const {
  return EnsureCollected() ? m_eFileType : kZuvFileTypeUnknown;
}

uint32_t CZuvFileHandle::GetAttribute() const { return EnsureCollected() ? m_nAttribute : 0; }

// Volume numbers are never reused within a process on Linux, so a remembered answer stays right
// for as long as the volume stays mounted.
uint32_t CZuvFileHandle::GetDriveType() const {
  FSRef ref;
  FSCatalogInfo item = {};
  if (ZuvIsFailure(GetFSRef(&ref)) ||
      zuv::platform::GetCatalogInfo(ref, kFSCatInfoVolume, &item, nullptr) != kNoErr) {
    return kZuvDriveFixed;
  }
  if (ZuvLookUpDriveType(item.volume, &m_nDriveType)) return m_nDriveType;

  zuv::platform::VolumeInfo info;
  if (zuv::platform::GetVolumeInfo(item.volume, &info) != kNoErr) return kZuvDriveFixed;
  if (IsOpticalDisk(&info.root)) {
    m_nDriveType = kZuvDriveOptical;
  } else if (IsNetworkCheck(info.root)) {
    m_nDriveType = kZuvDriveNetwork;
  } else if (IsEjectable(info.root)) {
    const bool locked = (info.flags & (zuv::platform::kVolumeHardwareLocked |
                                       zuv::platform::kVolumeSoftwareLocked)) != 0;
    m_nDriveType = locked ? kZuvDriveRemovableLocked : kZuvDriveRemovable;
  } else {
    m_nDriveType = kZuvDriveFixed;
  }
  ZuvRememberDriveType(item.volume, m_nDriveType);
  return m_nDriveType;
}

ZuvResult CZuvFileHandle::GetActualName(CZuvStringData& name) const {
  return EnsureCollected() ? name.InitWithCFString(m_pActualName.get()) : kZuvErrFailed;
}

ZuvResult CZuvFileHandle::GetDisplayName(CZuvStringData& name) const {
  return EnsureCollected() ? name.InitWithCFString(m_pDisplayName.get()) : kZuvErrFailed;
}

ZuvResult CZuvFileHandle::GetAccessTime(CZuvTime* time) const {
  FSRef ref;
  FSCatalogInfo info = {};
  if (IsEmpty() || ZuvIsFailure(GetFSRef(&ref)) ||
      zuv::platform::GetCatalogInfo(ref, kFSCatInfoAccessDate, &info, nullptr) != kNoErr) {
    return kZuvErrFileSystem;
  }
  *time = CZuvTime(info.accessDate);
  return kZuvSuccess;
}

ZuvResult CZuvFileHandle::SetUpdateTime(const CZuvTime& time) {
  FSCatalogInfo info = {};
  info.contentModDate = time.GetUTCTime();
  return WriteCatalogInfo(kFSCatInfoContentMod, info);
}

ZuvResult CZuvFileHandle::SetCreateTime(const CZuvTime& time) {
  FSCatalogInfo info = {};
  info.createDate = time.GetUTCTime();
  return WriteCatalogInfo(kFSCatInfoCreateDate, info);
}

// Access times are left to the file system; the other two setters are offered, this one is not.
ZuvResult CZuvFileHandle::SetAccessTime(const CZuvTime&) { return kZuvErrNotSupported; }

ZuvResult CZuvFileHandle::SetAttribute(unsigned int attribute) {
  FSRef ref;
  FSCatalogInfo info = {};
  if (IsEmpty() || ZuvIsFailure(GetFSRef(&ref)) ||
      zuv::platform::GetCatalogInfo(ref, kFSCatInfoNodeFlags, &info, nullptr) != kNoErr) {
    return kZuvErrFileSystem;
  }
  info.nodeFlags = static_cast<uint16_t>((attribute & kZuvAttributeLocked)
                                             ? (info.nodeFlags | kFSNodeLockedMask)
                                             : (info.nodeFlags & ~kFSNodeLockedMask));
  return Replaceable<FileSystem>::Current().SetCatalogInfo(ref, kFSCatInfoNodeFlags, info) == kNoErr
             ? kZuvSuccess
             : kZuvErrFileSystem;
}

ZuvResult CZuvFileHandle::WriteCatalogInfo(FSCatalogInfoBitmap which, const FSCatalogInfo& info) {
  FSRef ref;
  if (IsEmpty() || ZuvIsFailure(GetFSRef(&ref)) ||
      Replaceable<FileSystem>::Current().SetCatalogInfo(ref, which, info) != kNoErr) {
    return kZuvErrFileSystem;
  }
  return kZuvSuccess;
}

ZuvResult CZuvFileHandle::Update() { return CollectFileInformatioin(); }

ZuvResult CZuvFileHandle::CollectFileInformatioin() const {
  ForgetCache();
  FSCatalogInfo info = {};
  HFSUniStr255 name = {};
  zuv::platform::ItemFacts facts;
  if (IsEmpty() || zuv::platform::GetCatalogInfoAtPath(PathString().GetPtrUtf8(), kCollectedFields,
                                                       &info, &name, &facts) != kNoErr) {
    return kZuvErrFileSystem;
  }
  FillCache(info, name, facts);
  return kZuvSuccess;
}

ZuvResult CZuvFileHandle::SetCatalogInfo(const FSCatalogInfo& info,
                                         const HFSUniStr255& name) const {
  FSRef ref;
  zuv::platform::ItemFacts facts;
  if (ZuvIsSuccess(GetFSRef(&ref))) {
    facts = {zuv::platform::IsAliasFile(ref), zuv::platform::IsApplicationBundle(ref),
             zuv::platform::DisplayName(ref)};
  }
  FillCache(info, name, facts);
  return kZuvSuccess;
}

bool CZuvFileHandle::IsEqual(const CZuvFileHandle& other) const {
  std::string a = PathString().GetPtrUtf8();
  std::string b = other.PathString().GetPtrUtf8();
  if (a.empty() || b.empty()) return false;
  if (a.back() != '/') a += '/';
  if (b.back() != '/') b += '/';
  const auto first = CZuvPlatformString::CreateWithUtf8(a.c_str());
  const auto second = CZuvPlatformString::CreateWithUtf8(b.c_str());
  return first && second && zuv::platform::CompareUnits(first->Units(), second->Units(), true) == 0;
}

eZuvFileType CZuvFileHandle::GetFileType(const CZuvStringData& path) {
  const auto text = CZuvPlatformString::CreateWithUtf8(path.GetPtrUtf8());
  return text ? FileTypeOfName(text->Units()) : kZuvFileTypeUnknown;
}

// Unlike the cached attributes, these look at the permission bits alone: group read counts,
// the user's identity and the volume do not, and the folder bit is set for files too.
uint32_t CZuvFileHandle::GetAttribute(const CZuvStringData& path) {
  FSRef ref;
  FSCatalogInfo info = {};
  if (zuv::platform::MakeRef(path.GetPtrUtf8(), &ref) != kNoErr ||
      zuv::platform::GetCatalogInfo(
          ref,
          kFSCatInfoNodeFlags | kFSCatInfoContentMod | kFSCatInfoPermissions | kFSCatInfoFinderInfo,
          &info, nullptr) != kNoErr) {
    return 0;
  }
  const bool locked = (info.nodeFlags & kFSNodeLockedMask) != 0;
  const uint16_t mode = info.permissions.mode;
  uint32_t attribute = locked ? kZuvAttributeLocked : 0;
  if (mode & (kOwnerRead | kGroupRead)) attribute |= kZuvAttributeReadable;
  if (mode & kOwnerWrite) {
    attribute |= kZuvAttributeWritable;
    if (!locked) attribute |= kZuvAttributeDeletable;
  }
  return attribute | kZuvAttributeFolder;
}

void CZuvFileHandle::ForgetCache() const {
  m_bCollected = 0;
  m_pActualName.reset();
  m_pDisplayName.reset();
}

bool CZuvFileHandle::EnsureCollected() const {
  if (!m_bCollected) CollectFileInformatioin();
  return m_bCollected != 0;
}

void CZuvFileHandle::CopyCache(const CZuvFileHandle& other) {
  m_bCollected = other.m_bCollected;
  if (!m_bCollected) return;
  m_pActualName = CopyOf(other.m_pActualName);
  m_pDisplayName = CopyOf(other.m_pDisplayName);
  m_bIsFolder = other.m_bIsFolder;
  m_nAttribute = other.m_nAttribute;
  m_eFileType = other.m_eFileType;
  m_nDriveType = other.m_nDriveType;
  m_nSize = other.m_nSize;
  m_createTime = other.m_createTime;
  m_updateTime = other.m_updateTime;
}

// The user-privileges byte is not read by a collection and arrives as 0, so readability comes
// down to the owner-read bit, whoever the user is.
void CZuvFileHandle::FillCache(const FSCatalogInfo& info, const HFSUniStr255& name,
                               const zuv::platform::ItemFacts& facts) const {
  const uint16_t mode = info.permissions.mode;
  m_nAttribute = (info.nodeFlags & kFSNodeLockedMask) ? kZuvAttributeLocked : 0;
  if (!(info.userPrivileges & kUserPrivilegesTopBit) && (mode & kOwnerRead)) {
    m_nAttribute |= kZuvAttributeReadable;
  }

  if (!ZuvLookUpDriveType(info.volume, &m_nDriveType)) m_nDriveType = GetDriveType();
  const bool deletable =
      m_nDriveType != kZuvDriveOptical && m_nDriveType != kZuvDriveRemovableLocked;
  if (deletable) m_nAttribute |= kZuvAttributeDeletable;

  const uint16_t writeBit = info.permissions.userID == zuv::platform::CurrentUserId() ? kOwnerWrite
                            : IsUserMemberOfGroup(info.permissions.groupID)           ? kGroupWrite
                                                                                      : kOtherWrite;
  if ((mode & writeBit) && deletable) m_nAttribute |= kZuvAttributeWritable;

  m_nSize = info.dataLogicalSize;
  m_updateTime = info.contentModDate;
  m_createTime = info.createDate;

  // An application bundle is a folder that the user sees, and the handle treats, as a file.
  m_bIsFolder = (info.nodeFlags & kFSNodeIsDirectoryMask) && !facts.applicationBundle;
  if (m_bIsFolder) m_nAttribute |= kZuvAttributeFolder;

  m_pActualName.reset();
  if (name.length != 0) {
    m_pActualName = std::make_unique<CZuvPlatformString>(std::u16string(name.unicode, name.length));
  }
  m_pDisplayName = !facts.displayName.empty()
                       ? std::make_unique<CZuvPlatformString>(facts.displayName)
                       : CopyOf(m_pActualName);

  m_eFileType = m_pActualName && !facts.alias && !m_bIsFolder
                    ? FileTypeOfName(m_pActualName->Units())
                    : kZuvFileTypeUnknown;
  m_bCollected = 1;
}

bool ZuvIsReadable(const CZuvFileHandle& handle) {
  return (handle.GetAttribute() & kZuvAttributeReadable) != 0;
}

bool ZuvIsDeletable(const CZuvFileHandle& handle) {
  return (handle.GetAttribute() & kZuvAttributeDeletable) != 0;
}

// A file (an application bundle included) may be written where its folder may: the file's own
// bits are not consulted.
bool ZuvIsWritable(const CZuvFileHandle& handle) {
  const uint32_t attribute = handle.GetAttribute();
  if (!(attribute & kZuvAttributeFolder)) {
    CZuvFilePath parent;
    return ZuvIsSuccess(handle.GetParent(&parent)) && ZuvIsWritable(CZuvFileHandle(parent));
  }
  return !(attribute & kZuvAttributeLocked) && (attribute & kZuvAttributeWritable);
}

bool IsUserMemberOfGroup(unsigned int groupId) {
  const std::lock_guard<std::mutex> hold(g_groupsLock);
  if (!g_groups) g_groups = zuv::platform::SupplementaryGroups();
  return std::find(g_groups->begin(), g_groups->end(), groupId) != g_groups->end();
}

void zuv::files_internal::ForgetGroups() {
  const std::lock_guard<std::mutex> hold(g_groupsLock);
  g_groups.reset();
}
