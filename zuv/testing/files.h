// Helpers of the file operation tests: path objects from strings, and what a file or a folder holds
// on disk. Header-only; used by the tests alone.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "zuv/paths/file_path.h"

namespace zuv::testing {

/// A path object holding `path`, whether or not an item is there.
inline CZuvFilePath PathOf(const std::string& path) {
  CZuvFilePath object;
  const CZuvStringData text{ZuvCharUtf8(path.c_str())};
  object.Initialize(&text);
  return object;
}

/// The full path an object holds.
inline std::string PathText(const CZuvFilePath& path) {
  CZuvStringData text;
  path.GetFullPath(&text);
  return text.GetPtrUtf8();
}

/// Everything the file holds; empty when it cannot be read.
inline std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// Replaces the file with one holding `contents`.
inline void Put(const std::string& path, const std::string& contents) {
  std::ofstream(path, std::ios::binary) << contents;
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

}  // namespace zuv::testing
