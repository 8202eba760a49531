// zuv info: what a file handle knows of each item: its names, size, times, attributes, file type,
// the kind of medium it lives on, and whether that volume is nearly full.
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/zuv/command.h"
#include "zuv/files/file_handle.h"
#include "zuv/files/volume.h"
#include "zuv/paths/file_type.h"
#include "zuv/time/time.h"

namespace {

void PrintLine(const std::string& label, const std::string& value) {
  std::cout << "  " << label << std::string(16 - label.size(), ' ') << value << '\n';
}

std::string TimeText(const CZuvTime& time) {
  CZuvStringData text;
  if (time.IsEmpty() || ZuvIsFailure(time.ConvertToString(&text, false, false))) return "-";
  return text.GetPtrUtf8();
}

std::string AttributeNames(uint32_t attribute) {
  static constexpr std::pair<uint32_t, const char*> kNames[] = {
      {kZuvAttributeReadable, "readable"},
      {kZuvAttributeWritable, "writable"},
      {kZuvAttributeDeletable, "deletable"},
      {kZuvAttributeLocked, "locked"},
      {kZuvAttributeFolder, "folder"}};
  std::string names;
  for (const auto& [bit, name] : kNames) {
    if (attribute & bit) names += (names.empty() ? "" : " ") + std::string(name);
  }
  std::ostringstream text;
  text << (names.empty() ? "none" : names) << " (0x" << std::hex << attribute << ')';
  return text.str();
}

std::string FileTypeText(eZuvFileType type) {
  const char* name = ZuvFileTypeName(type);
  if (type == kZuvFileTypeUnknown || name == nullptr) return "unknown";
  constexpr std::string_view kPrefix = "kZuvFileType";
  const std::string_view text = name;
  return std::string(text.substr(text.rfind(kPrefix, 0) == 0 ? kPrefix.size() : 0));
}

std::string DriveTypeText(uint32_t type) {
  switch (type) {
    case kZuvDriveOptical:
      return "optical (CD/DVD)";
    case kZuvDriveRemovable:
      return "removable";
    case kZuvDriveNetwork:
      return "network";
    case kZuvDriveRemovableLocked:
      return "removable, write-protected";
    default:
      return "fixed";
  }
}

// False, after reporting it, when the item cannot be described.
bool Describe(const std::string& argument) {
  const std::optional<std::string> path = ZuvToolPath("info", argument);
  if (!path) return false;
  CZuvFileHandle handle;
  const CZuvStringData pathText{ZuvCharUtf8(path->c_str())};
  handle.Initialize(&pathText);
  if (!handle.IsExist() || ZuvIsFailure(handle.Update())) {
    ZuvToolFailure("info", argument, kZuvErrNotFound);
    return false;
  }
  CZuvStringData displayName, actualName;
  CZuvTime created, accessed;
  handle.GetDisplayName(displayName);
  handle.GetActualName(actualName);
  handle.GetCreateTime(&created);
  handle.GetAccessTime(&accessed);

  std::cout << *path << '\n';
  PrintLine("display name", displayName.GetPtrUtf8());
  PrintLine("stored name", actualName.GetPtrUtf8());
  PrintLine("size", std::to_string(handle.GetFileSize()) + " bytes");
  PrintLine("created", TimeText(created));
  PrintLine("modified", TimeText(handle.GetUpdateTime()));
  PrintLine("accessed", TimeText(accessed));
  PrintLine("attributes", AttributeNames(handle.GetAttribute()));
  PrintLine("file type", FileTypeText(handle.GetFileType()));
  PrintLine("drive type", DriveTypeText(handle.GetDriveType()));
  PrintLine("volume", ZuvIsDiskFull(handle) ? "nearly full (less than 100 MiB free)"
                                            : "has room (100 MiB or more free)");
  return true;
}

}  // namespace

int RunInfoCommand(const std::vector<std::string>& arguments) {
  if (arguments.empty()) return ZuvToolUsageError("info", "no PATH given");
  bool allDescribed = true;
  for (const std::string& argument : arguments) allDescribed = Describe(argument) && allDescribed;
  return allDescribed ? kZuvToolSuccess : kZuvToolFailure;
}
