#include "zuv/files/file_ops.h"

#include <chrono>
#include <string>
#include <string_view>

#include "zuv/files/file_handle.h"
#include "zuv/files/internal/file_text.h"
#include "zuv/paths/internal/path_text.h"
#include "zuv/paths/path_utility.h"
#include "zuv/platform/file_system.h"
#include "zuv/platform/machine_facts.h"

namespace {

using zuv::files_internal::FullPathOf;
using zuv::files_internal::HasNoOwnName;
using zuv::files_internal::Utf16Of;
using zuv::files_internal::Utf8Of;
using zuv::platform::FileSystem;
using zuv::platform::kNoErr;
using zuv::platform::MachineFacts;
using zuv::platform::OSStatus;
using zuv::platform::Replaceable;

// Systems from 10.4 on (0x1040) retry a refused delete once by unlink instead of waiting.
constexpr uint32_t kLastSystemThatWaits = 4159;
constexpr int kDeleteRetries = 100;
constexpr std::chrono::milliseconds kDeleteRetryPause{40};

// Name and parent path together, in UTF-8 bytes with a separator, up to which a refused folder
// name counts as invalid rather than too long.
constexpr unsigned long kLongestValidFolderPath = 1024;

ZuvResult CloseResult(const zuv::platform::ForkOutcome& outcome) {
  return outcome.close == kNoErr ? kZuvSuccess : kZuvErrFailed;
}

ZuvResult RenameResult(OSStatus status) {
  switch (status) {
    case zuv::platform::kErrWritePermission:
    case zuv::platform::kErrFileLocked:
    case zuv::platform::kErrAccessDenied:
      return kZuvErrAccessDenied;
    case zuv::platform::kErrFileOpen:
      return kZuvErrInUse;
    case zuv::platform::kErrNameTooLong:
      return kZuvErrNameTooLong;
    default:
      return kZuvErrFailed;
  }
}

// The delete of the system before 10.4: up to 100 more attempts 40 ms apart while the item is busy.
ZuvResult DeleteWhenNoLongerBusy(const FSRef& ref) {
  FileSystem& fileSystem = Replaceable<FileSystem>::Current();
  for (int retry = 0; retry < kDeleteRetries; ++retry) {
    fileSystem.Pause(kDeleteRetryPause);
    const OSStatus status = fileSystem.Delete(ref);
    if (status == kNoErr) return kZuvSuccess;
    if (status != zuv::platform::kErrFileBusy) return kZuvErrFailed;
  }
  return kZuvErrFailed;
}

template <typename Delete>
ZuvResult DeleteEach(const std::vector<CZuvFilePath>& items, Delete deleteOne) {
  ZuvResult result = kZuvSuccess;
  for (const CZuvFilePath& item : items) {
    result = deleteOne(item);
    if (ZuvIsFailure(result)) break;
  }
  return result;
}

bool IsSubFolder(std::string_view parent, std::string_view child) {
  if (parent.size() >= child.size()) return parent == child;
  return child.substr(0, parent.size()) == parent && (parent == "/" || child[parent.size()] == '/');
}

}  // namespace

ZuvResult ZuvReadFile(const CZuvFilePath& file, void* buffer, unsigned int count) {
  FSRef ref;  // stays empty, and fails to open, when the path names nothing
  file.GetFSRef(&ref);
  return CloseResult(Replaceable<FileSystem>::Current().ReadFork(ref, buffer, count));
}

ZuvResult ZuvWriteFile(const CZuvFilePath& file, const void* data, unsigned int count) {
  FSRef ref;
  file.GetFSRef(&ref);
  return CloseResult(Replaceable<FileSystem>::Current().WriteFork(ref, data, count));
}

// The creation's outcome is not looked at: callers that must know test the path afterwards. A
// failed creation leaves `created` empty, and so *out.
ZuvResult ZuvCreateFile(const CZuvFilePath& parent, const CZuvStringData& name, CZuvFilePath* out) {
  FSRef parentRef;
  FSRef created;
  if (ZuvIsSuccess(parent.GetFSRef(&parentRef))) {
    Replaceable<FileSystem>::Current().CreateFile(parentRef, Utf16Of(name), &created);
  }
  if (out != nullptr) out->Initialize(&created);
  return kZuvSuccess;
}

ZuvResult ZuvCreateFolder(const CZuvFilePath& parent, const CZuvStringData& name,
                          CZuvFilePath* out) {
  FSRef parentRef;
  FSRef created;
  const OSStatus status =
      ZuvIsSuccess(parent.GetFSRef(&parentRef))
          ? Replaceable<FileSystem>::Current().CreateFolder(parentRef, Utf16Of(name), &created)
          : zuv::platform::kErrFileNotFound;
  switch (status) {
    case kNoErr:
      if (out != nullptr) out->Initialize(&created);
      return kZuvSuccess;
    case zuv::platform::kErrDuplicateName:
      return kZuvErrFolderExists;
    case zuv::platform::kErrBadName:
    case zuv::platform::kErrNameTooLong:
      return name.GetLengthByteUtf8() + FullPathOf(parent).size() + 1 <= kLongestValidFolderPath
                 ? kZuvErrInvalidName
                 : kZuvErrNameTooLong;
    default:
      return kZuvErrAccessDenied;
  }
}

ZuvResult ZuvCreateUniqueFile(const CZuvFilePath& parent, const CZuvStringData& name,
                              CZuvFilePath* out) {
  const std::string extension = Utf8Of(ZuvPathFindExtension(name, false));
  const std::string suffix = extension.empty() ? "" : "." + extension;
  const std::string base = Utf8Of(ZuvPathRemoveExtension(name));
  const std::string folder = Utf8Of(ZuvPathAddBackslash(parent));
  std::string candidate = Utf8Of(name);
  for (int counter = 1; Replaceable<FileSystem>::Current().Exists(folder + candidate); ++counter) {
    candidate = base + "_" + std::to_string(counter) + suffix;
  }
  return ZuvCreateFile(parent, CZuvStringData(ZuvCharUtf8(candidate.c_str())), out);
}

ZuvResult ZuvDeleteFile(const CZuvFilePath& file) {
  if (HasNoOwnName(file)) return kZuvErrInvalidName;
  const CZuvFileHandle handle(file);
  if (handle.IsEmpty()) return kZuvErrFileSystem;
  const uint32_t attribute = handle.GetAttribute();
  if (!(attribute & kZuvAttributeWritable) || (attribute & kZuvAttributeLocked)) {
    return kZuvErrAccessDenied;
  }
  FSRef ref;
  if (const ZuvResult result = handle.GetFSRef(&ref); ZuvIsFailure(result)) return result;
  if (Replaceable<FileSystem>::Current().Delete(ref) == kNoErr) return kZuvSuccess;

  if (Replaceable<MachineFacts>::Current().SystemVersion() <= kLastSystemThatWaits) {
    return DeleteWhenNoLongerBusy(ref);
  }
  CZuvStringData path;
  return ZuvIsSuccess(ZuvFSRefToFullPath(ref, &path)) &&
                 Replaceable<FileSystem>::Current().Unlink(Utf8Of(path)) == kNoErr
             ? kZuvSuccess
             : kZuvErrFailed;
}

ZuvResult ZuvDeleteFile(const std::vector<CZuvFilePath>& files) {
  return DeleteEach(files, [](const CZuvFilePath& file) { return ZuvDeleteFile(file); });
}

ZuvResult ZuvDeleteFolder(const CZuvFilePath& folder) {
  const std::string path = FullPathOf(folder);
  if (HasNoOwnName(path)) return kZuvErrInvalidName;
  return Replaceable<FileSystem>::Current().RemoveTree(path) ? kZuvSuccess : kZuvErrAccessDenied;
}

ZuvResult ZuvDeleteFolder(const std::vector<CZuvFilePath>& folders) {
  return DeleteEach(folders, [](const CZuvFilePath& folder) { return ZuvDeleteFolder(folder); });
}

ZuvResult ZuvRenameFile(const CZuvFilePath& item, const CZuvStringData& newName,
                        CZuvFilePath* out) {
  if (HasNoOwnName(item)) return kZuvErrInvalidName;
  FSRef ref;
  item.GetFSRef(&ref);
  CZuvFileHandle handle(item);
  if (handle.IsEmpty()) return kZuvErrFileSystem;
  if (!(handle.GetAttribute() & kZuvAttributeWritable)) return kZuvErrAccessDenied;
  const bool locked = (handle.GetAttribute() & kZuvAttributeLocked) != 0;
  if (locked) handle.SetAttribute(0);

  FSRef renamed;
  const OSStatus status =
      Replaceable<FileSystem>::Current().Rename(ref, Utf16Of(newName), &renamed);
  if (locked) {
    CZuvFileHandle lockAgain = status == kNoErr ? CZuvFileHandle(&renamed) : handle;
    lockAgain.SetAttribute(kZuvAttributeLocked);
  }
  if (status != kNoErr) return RenameResult(status);
  return out != nullptr ? out->Initialize(&renamed) : kZuvSuccess;
}

ZuvResult ZuvDeleteResourceFork(const CZuvFilePath& file) {
  FSRef ref;
  if (ZuvIsFailure(file.GetFSRef(&ref))) return kZuvErrFailed;
  return Replaceable<FileSystem>::Current().DeleteResourceFork(ref) == kNoErr ? kZuvSuccess
                                                                              : kZuvErrFailed;
}

bool ZuvIsSubFolder(const CZuvStringData& parent, const CZuvStringData& child) {
  return IsSubFolder(Utf8Of(parent), Utf8Of(child));
}

bool ZuvIsSubFolder(const CZuvFilePath& parent, const CZuvFilePath& child) {
  return IsSubFolder(FullPathOf(parent), FullPathOf(child));
}

ZuvResult ZuvGetFileNameFromPath(const CZuvStringData& path, CZuvStringData* name) {
  if (name != nullptr) {
    const std::string text = Utf8Of(path);
    name->InitWithUtf8(std::string(zuv::paths_internal::LastComponent(text)).c_str());
  }
  return kZuvSuccess;
}

ZuvResult ZuvGetFileNameFromPath(const CZuvFilePath& path, CZuvStringData* name) {
  CZuvStringData text;
  path.GetFullPath(&text);
  return ZuvGetFileNameFromPath(text, name);
}

ZuvResult ZuvGetParentFolder(const CZuvStringData& path, CZuvStringData* parent) {
  const std::string text = Utf8Of(path);
  const size_t slash = text.rfind('/');
  if (slash == std::string::npos || slash == 0) return kZuvErrNotFound;
  if (parent != nullptr) parent->InitWithUtf8(text.substr(0, slash).c_str());
  return kZuvSuccess;
}

ZuvResult ZuvGetParentFolder(const CZuvFilePath& path, CZuvFilePath* parent) {
  return path.GetParent(parent);
}

bool ZuvIsPathEmpty(const CZuvFilePath& path) { return path.IsEmpty(); }

void ZuvClearPath(CZuvFilePath* path) {
  if (path != nullptr) path->Free();
}
