// zuv swap, mkdir, rename, rm and tempfile: the basic file operations and the project temp folder
// on items named on the command line. A failure is reported with its result code, by name and
// number, and makes the exit status 1.
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zuv/command.h"
#include "tools/zuv/path_argument.h"
#include "zuv/files/file_handle.h"
#include "zuv/files/file_ops.h"
#include "zuv/files/temp_folder.h"
#include "zuv/transfer/result.h"

namespace {

constexpr int kFailed = 1;

// Prints "zuv COMMAND: SUBJECT: kZuvErrName (number)" for a failure. The exit status it calls for.
int Report(std::string_view command, const std::string& subject, ZuvResult result) {
  if (ZuvIsSuccess(result)) return 0;
  const char* name = ZuvResultName(result);
  std::cerr << "zuv " << command << ": " << subject << ": " << (name != nullptr ? name : "unknown")
            << " (" << result << ")\n";
  return kFailed;
}

}  // namespace

int RunSwapCommand(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) return ZuvToolUsageError("swap", "give two files");
  const std::string a = AbsolutePath(arguments[0]);
  const std::string b = AbsolutePath(arguments[1]);
  return Report("swap", a + " and " + b, ZuvSwapFile(PathObject(a), PathObject(b)));
}

int RunMkdirCommand(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) return ZuvToolUsageError("mkdir", "give a parent folder and a name");
  const std::string parent = AbsolutePath(arguments[0]);
  CZuvFilePath folder;
  const ZuvResult result = ZuvCreateFolder(PathObject(parent), Text(arguments[1]), &folder);
  if (ZuvIsFailure(result)) return Report("mkdir", arguments[1] + " in " + parent, result);
  std::cout << PathText(folder) << '\n';
  return 0;
}

int RunRenameCommand(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) return ZuvToolUsageError("rename", "give an item and a new name");
  const std::string path = AbsolutePath(arguments[0]);
  CZuvFilePath renamed;
  const ZuvResult result = ZuvRenameFile(PathObject(path), Text(arguments[1]), &renamed);
  if (ZuvIsFailure(result)) return Report("rename", path, result);
  std::cout << PathText(renamed) << '\n';
  return 0;
}

// Each item in turn, folders with everything in them; a failure is reported and the next item
// is tried.
int RunRmCommand(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return ZuvToolUsageError("rm", "no PATH given");
  int status = 0;
  for (const std::string& argument : arguments) {
    const std::string path = AbsolutePath(argument);
    if (path == "/") {
      status = ZuvToolUsageError("rm", "the root folder is not removed");
      continue;
    }
    const CZuvFilePath item = PathObject(path);
    const bool folder = (CZuvFileHandle(item).GetAttribute() & kZuvAttributeFolder) != 0;
    if (Report("rm", path, folder ? ZuvDeleteFolder(item) : ZuvDeleteFile(item)) != 0) {
      status = kFailed;
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
      ZuvSetProjectName(Text(arguments[i + 1]));
    } else {
      suffix = Text(arguments[i + 1]);
    }
  }
  CZuvFilePath file;
  const ZuvResult result = ZuvCreateTempFile(nullptr, &file, suffix);
  if (ZuvIsFailure(result)) return Report("tempfile", "the project temp folder", result);
  std::cout << PathText(file) << '\n';
  return 0;
}
