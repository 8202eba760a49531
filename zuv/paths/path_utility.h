// Path string utilities: add or remove the trailing separator, find the extension or the file name,
// rename the name or the extension inside a path, split a path into its components, ask whether
// one path is another or lies inside it, and convert between the "/" of a POSIX path and the ":"
// that a file name shows the user in its place. The separator is "/" everywhere, also in the
// functions named after a backslash. Extensions are found from the last "." of the whole path,
// folder names included, except by ZuvMacGetPathWithRenameExtension.
//
// Each function on a CZuvFilePath works on the object's full path; when that cannot be had it
// returns a copy of what the failed query left behind (normally an empty string). Only
// ZuvMacGetPathWithRenameExtension touches the file system.
#pragma once

#include <vector>

#include "zuv/export.h"
#include "zuv/files/file_handle.h"
#include "zuv/paths/file_path.h"
#include "zuv/strings/string_data.h"
#include "zuv/transfer/result.h"

/// The path with one "/" added, unless it already ends in "/"; "/" for an empty path.
/// @{
ZUV_EXPORT CZuvStringData ZuvPathAddBackslash(const CZuvStringData& path);
ZUV_EXPORT CZuvStringData ZuvPathAddBackslash(const CZuvFilePath& path);
/// @}

/// The path with exactly one trailing "/" removed ("/a//" gives "/a/", "/" gives "").
/// @{
ZUV_EXPORT CZuvStringData ZuvPathRemoveBackslash(const CZuvStringData& path);
ZUV_EXPORT CZuvStringData ZuvPathRemoveBackslash(const CZuvFilePath& path);
/// @}

namespace ZuvPathUtility {
/// The tail of text from the last occurrence of pattern (case-sensitive), pattern included; empty
/// when it does not occur.
ZUV_EXPORT CZuvStringData GetPathLast(const CZuvStringData& text, const CZuvStringData& pattern);
}  // namespace ZuvPathUtility

/// The text from the last "." of the whole path, with or without that dot: "/x/a.JPG" gives
/// ".JPG" or "JPG", "/a.b/c" gives ".b/c" or "b/c". Empty when the path holds no ".".
/// @{
ZUV_EXPORT CZuvStringData ZuvPathFindExtension(const CZuvStringData& path, bool withDot);
ZUV_EXPORT CZuvStringData ZuvPathFindExtension(const CZuvFilePath& path, bool withDot);
/// @}

/// The text after the last "/" (the whole path when there is none; "" for "/a/b/"). With
/// removeExtension, less as many characters as ZuvPathFindExtension(path, true) has, unless that
/// extension is longer than the name ("/a.b/c" gives "c").
/// @{
ZUV_EXPORT CZuvStringData ZuvPathFindFileName(const CZuvStringData& path, bool removeExtension);
ZUV_EXPORT CZuvStringData ZuvPathFindFileName(const CZuvFilePath& path, bool removeExtension);
/// @}

/// newName with the path's extension, after the path's components but the last two, each followed
/// by "/", without a leading "/": "/a/b/c.jpg" and "x" give "a/x.jpg", "/a/c.jpg" gives "x.jpg".
/// @{
ZUV_EXPORT CZuvStringData ZuvPathRenameFileName(const CZuvStringData& path,
                                                const CZuvStringData& newName);
ZUV_EXPORT CZuvStringData ZuvPathRenameFileName(const CZuvFilePath& path,
                                                const CZuvStringData& newName);
/// @}

/// The path with the last component's extension replaced by newExtension (one leading "." of it
/// is optional; empty removes the extension). A path holding "/" comes back absolute, its empty
/// components and trailing "/" dropped: "a//b.jpg" and "tif" give "/a/b.tif".
/// @{
ZUV_EXPORT CZuvStringData ZuvPathRenameExtension(const CZuvStringData& path,
                                                 const CZuvStringData& newExtension);
ZUV_EXPORT CZuvStringData ZuvPathRenameExtension(const CZuvFilePath& path,
                                                 const CZuvStringData& newExtension);
/// @}

/// The path up to, not including, its last "." (wherever it lies); the path when it has none.
ZUV_EXPORT CZuvStringData ZuvPathRemoveExtension(const CZuvStringData& path);

/// The existing item that is the path with its last component's extension replaced by extension
/// (a leading "." optional), looked for in upper case first, then in lower case. Its canonical
/// path, or an empty path when neither exists or the path is empty.
ZUV_EXPORT CZuvFilePath ZuvMacGetPathWithRenameExtension(const CZuvStringData& path,
                                                         const CZuvStringData& extension);

/// Replaces *out with the non-empty components of the path; a path without "/" gives none. The
/// CZuvFilePath form leaves *out untouched when the full path cannot be had.
/// @{
ZUV_EXPORT void ZuvSplitFilePath(const CZuvStringData& path, std::vector<CZuvStringData>* out);
ZUV_EXPORT void ZuvSplitFilePath(const CZuvFilePath& path, std::vector<CZuvStringData>* out);
/// @}

/// Whether path equals root or begins with it, ignoring case; with addSeparator, root is taken
/// with a trailing "/", so "/a/b" is not the root of "/a/bc". False when either is empty.
ZUV_EXPORT bool ZuvPathIsEqualOrRootActually(const CZuvStringData& root, const CZuvStringData& path,
                                             bool addSeparator);
/// The same question on the handles' full paths, root taken with a trailing "/".
/// @{
ZUV_EXPORT bool ZuvPathIsEqualOrRootActually(const CZuvFileHandle& root,
                                             const CZuvFileHandle& path);
ZUV_EXPORT bool ZuvPathIsEqualOrRootVirtually(const CZuvFileHandle& root,
                                              const CZuvFileHandle& path);
/// @}

/// CZuvFileHandle::IsEqual: the paths are equal ignoring case and a trailing "/".
/// @{
ZUV_EXPORT bool ZuvPathIsEqualActually(const CZuvFileHandle& a, const CZuvFileHandle& b);
ZUV_EXPORT bool ZuvPathIsEqualVirtually(const CZuvFileHandle& a, const CZuvFileHandle& b);
/// @}

/// The text with every "/" byte replaced by ":" (a POSIX name as the user sees it), or the reverse.
/// @{
ZUV_EXPORT CZuvStringData ZuvReplaceSlashToColon(const CZuvStringData& text);
ZUV_EXPORT CZuvStringData ZuvReplaceColonToSlash(const CZuvStringData& text);
/// @}

/// Writes to *out the last component of the full path as the user sees it, each ":" shown as "/";
/// a path without "/" is written whole. A null out is allowed. Always kZuvSuccess.
ZUV_EXPORT ZuvResult ZuvGetDisplaFileyNameFromPath(const CZuvFilePath& path, CZuvStringData* out);
