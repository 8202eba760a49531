#include "zuv/files/temp_folder.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <string>

#include "zuv/files/file_ops.h"
#include "zuv/files/internal/file_text.h"
#include "zuv/files/internal/temp_counter.h"
#include "zuv/platform/file_system.h"

namespace {

using zuv::files_internal::TempFileCounter;
using zuv::files_internal::Utf16Of;
using zuv::files_internal::Utf8Of;
using zuv::platform::kNoErr;
using zuv::platform::OSStatus;

constexpr const char* kFixedFolder = "Merid";
constexpr const char* kLeafFolder = "RTL";
constexpr const char* kProfileFolder = "Merid/Profiles/";
constexpr uint32_t kFolderMode = 0755;
constexpr uint32_t kTempNameCount = 10000;

std::mutex g_projectNameLock;
std::string g_projectName;  // UTF-8, as given

// The project's folder name: empty for no project, nothing for a name refused.
std::optional<std::string> ProjectFolderName() {
  std::string name;
  {
    const std::lock_guard<std::mutex> hold(g_projectNameLock);
    name = g_projectName;
  }
  if (name == "." || name == "..") return std::nullopt;
  std::replace(name.begin(), name.end(), '/', ':');
  return name;
}

// The project temp folder's path, each level made when missing if `create` is set. Nothing when
// the scratch folder cannot be had or the project name is refused.
std::optional<std::string> ProjectTempFolderPath(bool create) {
  std::string path;
  const std::optional<std::string> project = ProjectFolderName();
  if (!project || zuv::platform::FindScratchFolder(create, &path) != kNoErr) return std::nullopt;
  for (const std::string& level : {std::string(kFixedFolder), *project, std::string(kLeafFolder)}) {
    if (level.empty()) continue;
    path += "/" + level;
    // An existing level stays as it is; one that cannot be made shows when the path is resolved.
    if (create) {
      zuv::platform::Replaceable<zuv::platform::FileSystem>::Current().CreateFolderAtPath(
          path, kFolderMode);
    }
  }
  return path;
}

ZuvResult InitializeWith(CZuvFilePath* out, const std::string& path) {
  const CZuvStringData text{ZuvCharUtf8(path.c_str())};
  return out->Initialize(&text);
}

// The name is formatted in bytes and then read in the system encoding, so a suffix that is not
// ASCII is taken as its UTF-8 bytes read in that encoding; where the encoding refuses them the name
// comes out empty, is refused, and the next name is tried.
std::u16string TempFileName(uint32_t number, const std::string& suffix) {
  std::string digits = std::to_string(number % kTempNameCount);
  digits.insert(0, 4 - digits.size(), '0');
  const std::string name = "ZuvTmp" + digits + suffix;
  return Utf16Of(CZuvStringData(ZuvCharSystem(name.c_str())));
}

// folder + "/" + name, with no doubled "/" and no trailing "/".
std::string JoinPathComponent(const std::string& folder, const std::string& name) {
  const std::string joined = folder + "/" + name;
  std::string path;
  for (const char c : joined) {
    if (c != '/' || path.empty() || path.back() != '/') path += c;
  }
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

namespace zuv::files_internal {

std::atomic<uint32_t>& TempFileCounter() {
  static std::atomic<uint32_t> counter{0};
  return counter;
}

}  // namespace zuv::files_internal

ZuvResult ZuvSetProjectName(const CZuvStringData& name) {
  std::string text = Utf8Of(name);
  const std::lock_guard<std::mutex> hold(g_projectNameLock);
  g_projectName = std::move(text);
  return kZuvSuccess;
}

ZuvResult ZuvGetProjectTempFolder(CZuvFilePath* out) {
  const std::optional<std::string> path = ProjectTempFolderPath(true);
  if (!path) return kZuvErrFailed;
  CZuvFilePath folder;
  return InitializeWith(out != nullptr ? out : &folder, *path);
}

ZuvResult ZuvCreateTempFile(const CZuvFilePath* folder, CZuvFilePath* out, CZuvStringData suffix) {
  CZuvFilePath projectFolder;
  if (folder == nullptr) {
    if (ZuvIsFailure(ZuvGetProjectTempFolder(&projectFolder))) return kZuvErrAccessDenied;
    folder = &projectFolder;
  }
  FSRef folderRef;
  if (ZuvIsFailure(folder->GetFSRef(&folderRef))) return kZuvErrNotFound;

  const std::string suffixBytes = Utf8Of(suffix);
  for (uint32_t tried = 0; tried < kTempNameCount; ++tried) {
    const std::u16string name = TempFileName(TempFileCounter().fetch_add(1), suffixBytes);
    FSRef file;
    if (zuv::platform::FindChild(folderRef, name, &file) == kNoErr) continue;
    switch (zuv::platform::Replaceable<zuv::platform::FileSystem>::Current().CreateFile(
        folderRef, name, &file)) {
      case kNoErr:
        if (out != nullptr) out->Initialize(&file);
        return kZuvSuccess;
      case zuv::platform::kErrVolumeLocked:
      case zuv::platform::kErrAccessDenied:
      case zuv::platform::kErrWritePermission:
        return kZuvErrAccessDenied;
      case zuv::platform::kErrNoSuchVolume:
        return kZuvErrNotFound;
      case zuv::platform::kErrDiskFull:
      case zuv::platform::kErrDirFull:
        return kZuvErrDiskFull;
      default:  // taken meanwhile, busy, an I/O error: the next name
        break;
    }
  }
  return kZuvErrDiskFull;
}

ZuvResult ZuvCreateTempFile(const CZuvFilePath* folder, CZuvFilePath* out) {
  return ZuvCreateTempFile(folder, out, CZuvStringData());
}

void ZuvClearProjectTempFolder() {
  const std::optional<std::string> path = ProjectTempFolderPath(false);
  CZuvFilePath folder;
  if (path && ZuvIsSuccess(InitializeWith(&folder, *path))) ZuvDeleteFolder(folder);
}

bool GetApplicationSupportFolder(CZuvFilePath* out) {
  std::string path;
  if (!zuv::platform::FindApplicationSupportFolder(&path)) return false;
  if (out != nullptr) InitializeWith(out, path);
  return true;
}

bool GetProfileFolderPath(CZuvFilePath* out) {
  std::string path;
  if (!zuv::platform::FindApplicationSupportFolder(&path)) return false;
  if (out != nullptr) InitializeWith(out, JoinPathComponent(path, kProfileFolder));
  return true;
}
