// Helpers of the file tests: strings and path objects from text, and what a file or a folder holds
// on disk (files are written with zuv/platform/testing/scratch.h). Header-only; tests alone.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include "zuv/files/file_handle.h"
#include "zuv/paths/file_path.h"
#include "zuv/platform/catalog.h"

namespace zuv::testing {

inline CZuvStringData Text(const std::string& text) {
  return CZuvStringData(ZuvCharUtf8(text.c_str()));
}

/// A path object holding `path`, whether or not an item is there.
inline CZuvFilePath PathOf(const std::string& path) {
  CZuvFilePath object;
  const CZuvStringData text = Text(path);
  object.Initialize(&text);
  return object;
}

/// A reference to the item at `path`; one that names nothing when there is none.
inline FSRef RefOf(const std::string& path) {
  FSRef ref;
  zuv::platform::MakeRef(path, &ref);
  return ref;
}

/// The catalog information `which` of the item at `path`; zeros when it cannot be read.
inline FSCatalogInfo CatalogOf(const std::string& path, FSCatalogInfoBitmap which) {
  FSCatalogInfo info = {};
  zuv::platform::GetCatalogInfo(RefOf(path), which, &info, nullptr);
  return info;
}

/// The full path an object holds.
inline std::string PathText(const CZuvFilePath& path) {
  CZuvStringData text;
  path.GetFullPath(&text);
  return text.GetPtrUtf8();
}

/// Whether the item carries the locked flag, as a new handle reads it.
inline bool IsLocked(const std::string& path) {
  return (CZuvFileHandle(PathOf(path)).GetAttribute() & kZuvAttributeLocked) != 0;
}

/// Everything the file holds; empty when it cannot be read or is a folder.
inline std::string Contents(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) return "";
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// The names in a folder, sorted; none when it cannot be read.
inline std::vector<std::string> Names(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// Every item under `root` by its relative path, with a file's contents or "<folder>".
inline std::map<std::string, std::string> Tree(const std::string& root) {
  std::map<std::string, std::string> items;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    items[entry.path().lexically_relative(root).string()] =
        entry.is_directory() ? "<folder>" : Contents(entry.path().string());
  }
  return items;
}

/// Whether an item is at `path`; a symbolic link is not followed.
inline bool Exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

/// A progress callback that counts its calls and answers false on call `stopAt` (0: never).
struct CountingCallback {
  int calls = 0;
  int stopAt = 0;
  static bool Call(void* data) {
    auto* self = static_cast<CountingCallback*>(data);
    return ++self->calls != self->stopAt;
  }
};

}  // namespace zuv::testing
