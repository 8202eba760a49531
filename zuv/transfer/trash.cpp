#include "zuv/transfer/trash.h"

#include <optional>
#include <string>
#include <utility>

#include "zuv/files/internal/file_text.h"
#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/text.h"
#include "zuv/platform/trash.h"

namespace {

using zuv::platform::Replaceable;
using zuv::platform::Trash;

struct FolderAndName {
  std::string folder;
  std::string name;
};

// The item's folder and name as the platform's path strings split a path: trailing "/" ignored,
// "/a" is "a" in "/", "/" is "/" in "/", and a path without "/" is a name in the folder "". None
// for a path that is empty or not well-formed UTF-8, which makes no platform string.
std::optional<FolderAndName> FolderAndNameOf(const CZuvFilePath& path) {
  std::string text = zuv::files_internal::FullPathOf(path);
  if (text.empty() || !zuv::platform::IsWellFormedUtf8(text)) return std::nullopt;
  text = std::string(zuv::paths_internal::WithoutTrailingSlashes(text));
  if (text == "/") return FolderAndName{"/", "/"};
  const size_t slash = text.rfind('/');
  if (slash == std::string::npos) return FolderAndName{"", std::move(text)};
  size_t folderEnd = slash;
  while (folderEnd > 1 && text[folderEnd - 1] == '/') --folderEnd;
  return FolderAndName{text.substr(0, folderEnd == 0 ? 1 : folderEnd), text.substr(slash + 1)};
}

}  // namespace

// Every name is taken in the first path's folder, with no grouping by folder: callers pass the
// items of one folder. The trash's answer is not looked at.
ZuvResult ZuvMoveToTrash(const std::vector<CZuvFilePath>& paths) {
  if (paths.empty()) return kZuvErrAccessDenied;
  const std::optional<FolderAndName> first = FolderAndNameOf(paths.front());
  if (!first) return kZuvErrAccessDenied;
  std::vector<std::string> names;
  names.reserve(paths.size());
  for (const CZuvFilePath& path : paths) {
    std::optional<FolderAndName> item = FolderAndNameOf(path);
    if (item) names.push_back(std::move(item->name));
  }
  Replaceable<Trash>::Current().Recycle(first->folder, names);
  return kZuvSuccess;
}

ZuvResult ZuvMoveToTrashEx(const CZuvFilePath& path, ZuvProgressProc progress, void* data) {
  const std::optional<FolderAndName> item = FolderAndNameOf(path);
  if (!item || !Replaceable<Trash>::Current().Recycle(item->folder, {item->name})) {
    return kZuvErrAccessDenied;
  }
  if (progress != nullptr) progress(data);
  return kZuvSuccess;
}
