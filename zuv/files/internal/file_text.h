// The forms in which the file operations hand names and paths to the platform: the UTF-8 bytes of
// a string value or of a path object's full path, and the UTF-16 units of a name.
#pragma once

#include <string>

#include "zuv/paths/file_path.h"
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

}  // namespace zuv::files_internal
