#include "zuv/paths/path_utility.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "zuv/paths/internal/path_text.h"
#include "zuv/strings/string_ops.h"

namespace {

// The separator and the extension mark, made on first use and read-only afterwards.
const CZuvStringData& Separator() {
  static const CZuvStringData separator(ZuvCharUtf8("/"));
  return separator;
}

const CZuvStringData& Dot() {
  static const CZuvStringData dot(ZuvCharUtf8("."));
  return dot;
}

CZuvStringData Utf8String(const std::string& bytes) {
  return CZuvStringData(ZuvCharUtf8(bytes.c_str()));
}

CZuvStringData WithoutFirstCharacter(const CZuvStringData& text) {
  return text.Mid(1, text.GetLengthChar() - 1);
}

template <typename... Pieces>
CZuvStringData Join(const Pieces&... pieces) {
  CZuvStringData joined;
  ((joined = ZuvStringDataCat(joined, pieces)), ...);
  return joined;
}

// Runs a string operation on the object's full path. When the full path cannot be had, the result
// is what the failed query left in its output.
template <typename Operation>
CZuvStringData OnFullPath(const CZuvFilePath& path, Operation operation) {
  CZuvStringData full;
  if (ZuvIsFailure(path.GetFullPath(&full))) return full;
  return operation(full);
}

CZuvStringData ReplaceByte(const CZuvStringData& text, char from, char to) {
  std::string bytes = text.GetPtrUtf8();
  std::replace(bytes.begin(), bytes.end(), from, to);
  return Utf8String(bytes);
}

// The path without the extension of its last component, as the platform's path operation removes
// it. Trailing "/" go first (the root "/" stays). The extension is the text from the component's
// last ".", provided that "." is not the component's first character: ".hidden" is a name without
// extension and stays whole, while "a/b." has an empty extension and gives "a/b".
std::string_view DeletingPathExtension(std::string_view path) {
  path = zuv::paths_internal::WithoutTrailingSlashes(path);
  const size_t componentStart = path.rfind('/') + 1;  // 0 when there is no "/"
  const size_t dot = path.rfind('.');
  if (dot != std::string_view::npos && dot > componentStart) path = path.substr(0, dot);
  return path;
}

}  // namespace

CZuvStringData ZuvPathAddBackslash(const CZuvStringData& path) {
  if (path.IsEmpty()) return Separator();
  const CZuvStringData last = path.Mid(path.GetLengthChar() - 1, 1);
  if (ZuvStringDataCmpi(last, Separator()) == 0) return path;
  return ZuvStringDataCat(path, Separator());
}

CZuvStringData ZuvPathAddBackslash(const CZuvFilePath& path) {
  return OnFullPath(path, [](const CZuvStringData& full) { return ZuvPathAddBackslash(full); });
}

CZuvStringData ZuvPathRemoveBackslash(const CZuvStringData& path) {
  const CZuvStringData last = ZuvPathUtility::GetPathLast(path, Separator());
  if (!last.IsEmpty() && last.GetLengthChar() == Separator().GetLengthChar()) {
    return path.Mid(0, path.GetLengthChar() - 1);
  }
  return path;
}

CZuvStringData ZuvPathRemoveBackslash(const CZuvFilePath& path) {
  return OnFullPath(path, [](const CZuvStringData& full) { return ZuvPathRemoveBackslash(full); });
}

CZuvStringData ZuvPathUtility::GetPathLast(const CZuvStringData& text,
                                           const CZuvStringData& pattern) {
  return ZuvStringDataStrReverse(text, pattern);
}

CZuvStringData ZuvPathFindExtension(const CZuvStringData& path, bool withDot) {
  const CZuvStringData extension = ZuvPathUtility::GetPathLast(path, Dot());
  if (extension.IsEmpty() || withDot) return extension;
  return WithoutFirstCharacter(extension);
}

CZuvStringData ZuvPathFindExtension(const CZuvFilePath& path, bool withDot) {
  return OnFullPath(
      path, [&](const CZuvStringData& full) { return ZuvPathFindExtension(full, withDot); });
}

CZuvStringData ZuvPathFindFileName(const CZuvStringData& path, bool removeExtension) {
  const CZuvStringData tail = ZuvPathUtility::GetPathLast(path, Separator());
  const CZuvStringData name = tail.IsEmpty() ? path : WithoutFirstCharacter(tail);
  if (!removeExtension) return name;
  // The extension is that of the whole path. When its "." lies in a folder name, the extension
  // is longer than the name: the unsigned count wraps and Mid takes the whole name.
  const CZuvStringData extension = ZuvPathUtility::GetPathLast(path, Dot());
  if (extension.IsEmpty()) return name;
  return name.Mid(0, name.GetLengthChar() - extension.GetLengthChar());
}

CZuvStringData ZuvPathFindFileName(const CZuvFilePath& path, bool removeExtension) {
  return OnFullPath(
      path, [&](const CZuvStringData& full) { return ZuvPathFindFileName(full, removeExtension); });
}

CZuvStringData ZuvPathRenameFileName(const CZuvStringData& path, const CZuvStringData& newName) {
  std::vector<CZuvStringData> parts;
  ZuvSplitFilePath(path, &parts);
  // The folders are written without the leading "/" and without the last folder: callers rely on
  // this form. The loop runs while i < count - 2; for a single component ("/c.jpg") that unsigned
  // bound would wrap and run past the components, so there no folder is written.
  CZuvStringData result;
  for (size_t i = 0; i + 2 < parts.size(); ++i) result = Join(result, parts[i], Separator());
  result = ZuvStringDataCat(result, newName);
  const CZuvStringData extension = ZuvPathFindExtension(path, false);
  if (!extension.IsEmpty()) result = Join(result, Dot(), extension);
  return result;
}

CZuvStringData ZuvPathRenameFileName(const CZuvFilePath& path, const CZuvStringData& newName) {
  return OnFullPath(
      path, [&](const CZuvStringData& full) { return ZuvPathRenameFileName(full, newName); });
}

CZuvStringData ZuvPathRenameExtension(const CZuvStringData& path,
                                      const CZuvStringData& newExtension) {
  std::vector<CZuvStringData> parts;
  ZuvSplitFilePath(path, &parts);
  const bool dotted = ZuvStringDataCmpi(newExtension.Mid(0, 1), Dot()) == 0;
  const CZuvStringData extension = dotted ? WithoutFirstCharacter(newExtension) : newExtension;
  CZuvStringData name = ZuvPathFindFileName(parts.empty() ? path : parts.back(), true);
  if (!extension.IsEmpty()) name = Join(name, Dot(), extension);
  if (parts.empty()) return name;
  CZuvStringData result = Separator();
  for (size_t i = 0; i + 1 < parts.size(); ++i) result = Join(result, parts[i], Separator());
  return ZuvStringDataCat(result, name);
}

CZuvStringData ZuvPathRenameExtension(const CZuvFilePath& path,
                                      const CZuvStringData& newExtension) {
  return OnFullPath(
      path, [&](const CZuvStringData& full) { return ZuvPathRenameExtension(full, newExtension); });
}

CZuvStringData ZuvPathRemoveExtension(const CZuvStringData& path) {
  const CZuvStringData extension = ZuvPathUtility::GetPathLast(path, Dot());
  if (extension.IsEmpty()) return path;
  return path.Mid(0, path.GetLengthChar() - extension.GetLengthChar());
}

CZuvFilePath ZuvMacGetPathWithRenameExtension(const CZuvStringData& path,
                                              const CZuvStringData& extension) {
  CZuvFilePath found;
  const std::string_view whole = path.GetPtrUtf8();
  if (whole.empty()) return found;
  const std::string base(DeletingPathExtension(whole));
  std::string_view bare = extension.GetPtrUtf8();
  if (bare.starts_with('.')) bare.remove_prefix(1);
  const CZuvStringData bareExtension = Utf8String(std::string(bare));
  // Only these two spellings are looked for, not mixed case.
  for (const CZuvStringData& spelling :
       {ZuvStringDataUpper(bareExtension), ZuvStringDataLower(bareExtension)}) {
    const CZuvStringData candidate = Utf8String(base + "." + spelling.GetPtrUtf8());
    CZuvFilePath candidatePath;
    candidatePath.Initialize(&candidate);
    FSRef ref;
    if (ZuvIsSuccess(candidatePath.GetFSRef(&ref))) {
      found.Initialize(&ref);
      break;
    }
  }
  return found;
}

void ZuvSplitFilePath(const CZuvStringData& path, std::vector<CZuvStringData>* out) {
  ZuvStringDataSplit(path, Separator(), out);
}

void ZuvSplitFilePath(const CZuvFilePath& path, std::vector<CZuvStringData>* out) {
  CZuvStringData full;
  if (ZuvIsSuccess(path.GetFullPath(&full))) ZuvSplitFilePath(full, out);
}

bool ZuvPathIsEqualOrRootActually(const CZuvStringData& root, const CZuvStringData& path,
                                  bool addSeparator) {
  if (root.IsEmpty() || path.IsEmpty()) return false;
  if (root.GetLengthChar() > path.GetLengthChar()) return false;
  if (ZuvStringDataCmpi(root, path) == 0) return true;
  const CZuvStringData prefix = addSeparator ? ZuvPathAddBackslash(root) : root;
  return ZuvStringDataCmpni(path, prefix, prefix.GetLengthChar()) == 0;
}

bool ZuvPathIsEqualOrRootActually(const CZuvFileHandle& root, const CZuvFileHandle& path) {
  CZuvStringData rootPath;
  CZuvStringData pathPath;
  root.GetFullPath(&rootPath);
  path.GetFullPath(&pathPath);
  if (rootPath.IsEmpty() || pathPath.IsEmpty()) return false;
  // Paths of one length are compared whole; a shorter root is then taken with a trailing "/" and
  // compared with as much of the path, as the string form does with addSeparator.
  if (rootPath.GetLengthChar() == pathPath.GetLengthChar()) {
    return ZuvStringDataCmpi(rootPath, pathPath) == 0;
  }
  return ZuvPathIsEqualOrRootActually(rootPath, pathPath, true);
}

bool ZuvPathIsEqualOrRootVirtually(const CZuvFileHandle& root, const CZuvFileHandle& path) {
  return ZuvPathIsEqualOrRootActually(root, path);
}

bool ZuvPathIsEqualActually(const CZuvFileHandle& a, const CZuvFileHandle& b) {
  return a.IsEqual(b);
}

bool ZuvPathIsEqualVirtually(const CZuvFileHandle& a, const CZuvFileHandle& b) {
  return a.IsEqual(b);
}

CZuvStringData ZuvReplaceSlashToColon(const CZuvStringData& text) {
  return ReplaceByte(text, '/', ':');
}

CZuvStringData ZuvReplaceColonToSlash(const CZuvStringData& text) {
  return ReplaceByte(text, ':', '/');
}

ZuvResult ZuvGetDisplaFileyNameFromPath(const CZuvFilePath& path, CZuvStringData* out) {
  CZuvStringData full;
  path.GetFullPath(&full);
  if (out == nullptr) return kZuvSuccess;
  const std::string_view bytes = full.GetPtrUtf8();
  const size_t slash = bytes.rfind('/');
  *out = slash == std::string_view::npos
             ? full
             : ZuvReplaceColonToSlash(Utf8String(std::string(bytes.substr(slash + 1))));
  return kZuvSuccess;
}
