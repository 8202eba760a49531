// zuv trash: moves items to the user's trash, where the desktop's file manager and `gio trash`
// find them. The library trashes the items of one folder per call, so the items are grouped by
// folder. Each item that is still there afterwards is reported with the reason, and makes the exit
// status 1.
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/zuv/command.h"
#include "zuv/files/file_handle.h"
#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/text.h"
#include "zuv/transfer/result.h"
#include "zuv/transfer/trash.h"

namespace {

using zuv::paths_internal::FolderOf;

// Whether an item is at the path, itself and not what a symbolic link there names.
bool Exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

// Why an item that is still there could not be trashed. The library takes only paths of
// well-formed UTF-8, and the trash moves an item only where the user may take it out of its
// folder; past those, what remains is a volume that offers no trash to this user: one internal to
// the system (a tmpfs, say), or one where no trash folder can be made.
std::string WhyNotTrashed(const std::string& path) {
  if (!zuv::platform::IsWellFormedUtf8(path)) return "the path is not valid UTF-8";
  const CZuvFileHandle item(ZuvToolPathObject(path));
  const bool movable =
      ZuvIsWritable(CZuvFileHandle(ZuvToolPathObject(std::string(FolderOf(path))))) &&
      ZuvIsWritable(item) && !(item.GetAttribute() & kZuvAttributeLocked);
  return movable ? "the volume has no trash" : "permission denied";
}

}  // namespace

int RunTrashCommand(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return ZuvToolUsageError("trash", "no PATH given");
  int status = kZuvToolSuccess;
  std::vector<std::string> folders;  // in the order first named
  std::map<std::string, std::vector<std::pair<std::string, CZuvFilePath>>> itemsOfFolder;
  for (const std::string& argument : arguments) {
    std::optional<std::string> given = ZuvToolPath("trash", argument);
    if (!given) {
      status = kZuvToolFailure;
      continue;
    }
    // "photos/" names the folder photos: its trailing slashes are no part of the item's name.
    const std::string path(zuv::paths_internal::WithoutTrailingSlashes(*given));
    CZuvFilePath item;
    const CZuvStringData text = ZuvToolUtf8(path);
    if (path == "/" || ZuvIsFailure(item.Initialize(&text))) {
      status = ZuvToolFailure("trash", argument, kZuvErrAccessDenied,
                              path == "/" ? "the root folder is not trashed" : "no such item");
      continue;
    }
    const std::string folder(FolderOf(path));
    auto& items = itemsOfFolder[folder];
    if (items.empty()) folders.push_back(folder);
    items.emplace_back(argument, std::move(item));
  }
  for (const std::string& folder : folders) {
    const auto& items = itemsOfFolder[folder];
    std::vector<CZuvFilePath> paths;
    paths.reserve(items.size());
    for (const auto& item : items) paths.push_back(item.second);
    const ZuvResult result = ZuvMoveToTrash(paths);
    for (const auto& [argument, item] : items) {
      const std::string path = ZuvToolPathText(item);
      if (!Exists(path)) continue;
      status =
          ZuvToolFailure("trash", argument, ZuvIsFailure(result) ? result : kZuvErrAccessDenied,
                         WhyNotTrashed(path));
    }
  }
  return status;
}
