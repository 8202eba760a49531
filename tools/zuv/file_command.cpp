// zuv swap, mkdir, rename, rm and tempfile: the basic file operations and the project temp folder
// on items named on the command line. Each failure is reported on one line and makes the exit
// status 1.
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "tools/zuv/command.h"
#include "zuv/files/file_handle.h"
#include "zuv/files/file_ops.h"
#include "zuv/files/temp_folder.h"
#include "zuv/paths/internal/path_text.h"
#include "zuv/transfer/result.h"

namespace {

bool IsFolder(const std::string& path) {
  return (CZuvFileHandle(ZuvToolPathObject(path)).GetAttribute() & kZuvAttributeFolder) != 0;
}

}  // namespace

int RunSwapCommand(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) return ZuvToolUsageError("swap", "give two files");
  const std::optional<std::string> a = ZuvToolItemPath("swap", arguments[0]);
  if (!a) return kZuvToolFailure;
  const std::optional<std::string> b = ZuvToolItemPath("swap", arguments[1]);
  if (!b) return kZuvToolFailure;
  const ZuvResult result = ZuvSwapFile(ZuvToolPathObject(*a), ZuvToolPathObject(*b));
  const bool folder = ZuvIsFailure(result) && (IsFolder(*a) || IsFolder(*b));
  return ZuvToolFailure("swap", arguments[0] + " and " + arguments[1], result,
                        folder ? "only files are swapped, not folders" : "");
}

int RunMkdirCommand(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) return ZuvToolUsageError("mkdir", "give a parent folder and a name");
  const std::string& parentArgument = arguments[0];
  const std::optional<std::string> parent = ZuvToolPath("mkdir", parentArgument);
  if (!parent) return kZuvToolFailure;
  CZuvFilePath folder;
  const ZuvResult result =
      ZuvCreateFolder(ZuvToolPathObject(*parent), ZuvToolUtf8(arguments[1]), &folder);
  if (ZuvIsFailure(result)) {
    if (!IsFolder(*parent) && !ZuvToolPathObject(*parent).IsEmpty()) {
      return ZuvToolFailure("mkdir", parentArgument, result, "not a folder");
    }
    return ZuvToolFailure("mkdir", zuv::paths_internal::JoinPath(parentArgument, arguments[1]),
                          result);
  }
  std::cout << ZuvToolPathText(folder) << '\n';
  return kZuvToolSuccess;
}

int RunRenameCommand(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) return ZuvToolUsageError("rename", "give an item and a new name");
  const std::optional<std::string> path = ZuvToolItemPath("rename", arguments[0]);
  if (!path) return kZuvToolFailure;
  CZuvFilePath renamed;
  const ZuvResult result =
      ZuvRenameFile(ZuvToolPathObject(*path), ZuvToolUtf8(arguments[1]), &renamed);
  if (ZuvIsFailure(result)) return ZuvToolFailure("rename", arguments[0], result);
  std::cout << ZuvToolPathText(renamed) << '\n';
  return kZuvToolSuccess;
}

// Each item in turn, folders with everything in them; a failure is reported and the next item
// is tried.
int RunRmCommand(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return ZuvToolUsageError("rm", "no PATH given");
  int status = kZuvToolSuccess;
  for (const std::string& argument : arguments) {
    const std::optional<std::string> path = ZuvToolItemPath("rm", argument);
    if (!path) {
      status = kZuvToolFailure;
    } else if (path->find_first_not_of('/') == std::string::npos) {
      status =
          ZuvToolFailure("rm", argument, kZuvErrAccessDenied, "the root folder is never removed");
    } else {
      const CZuvFilePath item = ZuvToolPathObject(*path);
      const ZuvResult result = IsFolder(*path) ? ZuvDeleteFolder(item) : ZuvDeleteFile(item);
      if (ZuvToolFailure("rm", argument, result) != kZuvToolSuccess) {
        status = kZuvToolFailure;
      }
    }
  }
  return status;
}

int RunTempfileCommand(const std::vector<std::string>& arguments) {
  CZuvStringData suffix;
  for (size_t i = 0; i < arguments.size(); i += 2) {
    const std::string& option = arguments[i];
    if (option != "--project" && option != "--suffix") {
      return ZuvToolUsageError("tempfile", "unknown option '" + option + "'");
    }
    if (i + 1 == arguments.size()) return ZuvToolUsageError("tempfile", option + " needs a value");
    if (option == "--project") {
      ZuvSetProjectName(ZuvToolUtf8(arguments[i + 1]));
    } else {
      suffix = ZuvToolUtf8(arguments[i + 1]);
    }
  }
  CZuvFilePath file;
  const ZuvResult result = ZuvCreateTempFile(nullptr, &file, suffix);
  if (ZuvIsFailure(result)) return ZuvToolFailure("tempfile", "the project temp folder", result);
  std::cout << ZuvToolPathText(file) << '\n';
  return kZuvToolSuccess;
}
