// The forms in which the file operations hand names and paths to the platform: the UTF-8 bytes of
// a string value or of a path object's full path, and the UTF-16 units of a name; and the paths
// that name no item of their own, which nothing may remove, rename, move or swap.
#pragma once

#include <string>
#include <string_view>

#include "zuv/paths/file_path.h"
#include "zuv/paths/internal/path_text.h"
#include "zuv/strings/string_data.h"

namespace zuv::files_internal {

inline std::string Utf8Of(const CZuvStringData& text) {
  return std::string(text.GetPtrUtf8(), text.GetLengthByteUtf8());
}

inline std::u16string Utf16Of(const CZuvStringData& text) {
  return std::u16string(reinterpret_cast<const char16_t*>(text.GetPtrUnicode()),
                        text.GetLengthByteUnicode() / sizeof(char16_t));
}

inline std::string FullPathOf(const CZuvFilePath& path) {
  CZuvStringData text;
  path.GetFullPath(&text);
  return Utf8Of(text);
}

/// Whether the path reaches its item only by way of another one: the root, or a last component "."
/// or ".." however many "/" follow it ("a/..", "a/.//", "..", "//"). Such a path is not an entry
/// of a folder, and removing or renaming "what it names" would act on a folder above or on the one
/// the link before it leads to. An empty path is not one of them.
inline bool HasNoOwnName(std::string_view path) {
  if (path.empty()) return false;
  const std::string_view leaf =
      zuv::paths_internal::LastComponent(zuv::paths_internal::WithoutTrailingSlashes(path));
  return leaf.empty() || leaf == "." || leaf == "..";
}

inline bool HasNoOwnName(const CZuvFilePath& path) { return HasNoOwnName(FullPathOf(path)); }

}  // namespace zuv::files_internal
