// The path-string utilities on arbitrary text: the extension, the file name, renaming, the trailing
// separator and the sub-folder questions give terminated results that come from the path as they
// promise, keep well-formed text well-formed, and undo one another where they can.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "zuv/files/file_ops.h"
#include "zuv/paths/path_utility.h"
#include "zuv/platform/text.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

bool IsWellFormed(std::string_view text) {
  return zuv::platform::DecodeUtf8(text, nullptr, 0) >= 0;
}

// The text of a result, which must be terminated where its length says.
std::string Text(const CZuvStringData& value) {
  const char* text = value.GetPtrUtf8();
  Check(std::strlen(text) == value.GetLengthByteUtf8());
  return text;
}

CZuvStringData Value(std::string_view text) {
  return CZuvStringData(ZuvCharUtf8{std::string(text).c_str()});
}

}  // namespace

// Input: the path, then after its first 0 byte the other text (new name, new extension, other
// path), itself cut at its next 0 byte.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t cut = std::min(input.find('\0'), input.size());
  const CZuvStringData path = Value(input.substr(0, cut));
  const CZuvStringData other = Value(input.substr(std::min(cut + 1, input.size())));
  const std::string p = Text(path);
  const std::string o = Text(other);

  // A folder holds itself and what lies beneath it, never what lies above it; compared by bytes.
  const CZuvStringData inside = Value(p + "/x");
  Check(ZuvIsSubFolder(path, path) && ZuvIsSubFolder(inside, inside));
  if (!p.empty()) Check(ZuvIsSubFolder(path, inside) && !ZuvIsSubFolder(inside, path));
  ZuvIsSubFolder(path, other);

  // Every result is terminated where its length says, whatever the text.
  const std::string dotted = Text(ZuvPathFindExtension(path, true));
  const std::string bare = Text(ZuvPathFindExtension(path, false));
  const std::string stripped = Text(ZuvPathRemoveExtension(path));
  const std::string withSeparator = Text(ZuvPathAddBackslash(path));
  const std::string withoutSeparator = Text(ZuvPathRemoveBackslash(Value(withSeparator)));
  Text(ZuvPathRemoveBackslash(path));
  const std::string name = Text(ZuvPathFindFileName(path, false));
  const std::string stem = Text(ZuvPathFindFileName(path, true));
  const std::string renamed = Text(ZuvPathRenameFileName(path, other));
  const std::string reextended = Text(ZuvPathRenameExtension(path, other));
  std::vector<CZuvStringData> parts;
  ZuvSplitFilePath(path, &parts);
  for (const CZuvStringData& part : parts) Text(part);
  const bool rootOfInside = ZuvPathIsEqualOrRootActually(path, inside, true);
  const bool rootOfItself = ZuvPathIsEqualOrRootActually(path, path, (size & 1) != 0);
  ZuvPathIsEqualOrRootActually(path, other, (size & 1) != 0);

  // The rest counts characters, which only well-formed text has for certain.
  if (!IsWellFormed(p) || !IsWellFormed(o)) return 0;
  for (const std::string& result :
       {dotted, bare, stripped, withSeparator, withoutSeparator, name, stem, renamed, reextended}) {
    Check(IsWellFormed(result));
  }
  if (dotted.empty()) {
    Check(bare.empty() && p.find('.') == std::string::npos);
  } else {
    Check(dotted == "." + bare && p.ends_with(dotted) && bare.find('.') == std::string::npos);
  }
  Check(stripped + dotted == p);
  Check(withSeparator.ends_with('/') && withSeparator.starts_with(p));
  if (!p.ends_with('/')) Check(withoutSeparator == p);
  Check(name.find('/') == std::string::npos && p.ends_with(name) && name.starts_with(stem));
  Check(renamed.ends_with(o + (bare.empty() ? "" : "." + bare)));
  if (!o.empty() && o.find_first_of("./") == std::string::npos) {
    Check(Text(ZuvPathFindExtension(Value(reextended), false)) == o);
  }
  for (const CZuvStringData& part : parts) {
    Check(!Text(part).empty() && Text(part).find('/') == std::string::npos);
    Check(p.find(Text(part)) != std::string::npos);
  }
  Check(rootOfInside == !p.empty() && rootOfItself == !p.empty());
  return 0;
}
