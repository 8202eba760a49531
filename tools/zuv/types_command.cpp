// zuv types: the extension-to-type table, or the file type of each path given.
#include <cstdio>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

#include "tools/zuv/command.h"
#include "zuv/paths/file_type.h"

namespace {

// The type's value in hex and its name: "0x1100001  kZuvFileTypeJpeg".
std::string Describe(eZuvFileType type) {
  char value[16];
  std::snprintf(value, sizeof value, "0x%07x", static_cast<unsigned>(type));
  const char* name = ZuvFileTypeName(type);
  return std::string(value) + "  " + (name != nullptr ? name : "?");
}

}  // namespace

int RunTypesCommand(const std::vector<std::string>& arguments) {
  std::vector<std::string> paths;
  bool checkFolder = false;
  bool optionsEnded = false;
  for (const std::string& argument : arguments) {
    if (!optionsEnded && argument == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && (argument == "-f" || argument == "--check-folder")) {
      checkFolder = true;
    } else if (!optionsEnded && argument.size() > 1 && argument.front() == '-') {
      return ZuvToolUsageError("types", "unknown option '" + argument + "'");
    } else {
      paths.push_back(argument);
    }
  }

  if (paths.empty()) {
    if (checkFolder) return ZuvToolUsageError("types", "--check-folder needs a PATH");
    for (const auto& [extension, type] : ZuvPathUtility::GetExtensionToTypeTable()) {
      std::cout << std::left << std::setw(8) << extension.GetPtrUtf8() << Describe(type) << '\n';
    }
    return kZuvToolSuccess;
  }
  for (const std::string& path : paths) {
    const eZuvFileType type =
        ZuvPathFindExtensionType(CZuvStringData(ZuvCharPlatform(path.c_str())), checkFolder);
    std::cout << std::left << std::setw(38) << Describe(type) << path << '\n';
  }
  return kZuvToolSuccess;
}
