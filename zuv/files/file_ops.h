// The basic file operations on single items named by CZuvFilePath or by path string: read and
// write a whole file, create files and folders (with a unique name if asked), delete, rename, swap
// the contents of two files (swap.h, included here), and a few questions on path strings. Each
// returns a result code of zuv/transfer/result.h; platform error numbers never leave them.
// Permissions are checked through CZuvFileHandle first, and a locked item is unlocked and locked
// again around a rename.
#pragma once

#include <vector>

#include "zuv/export.h"
#include "zuv/files/swap.h"
#include "zuv/paths/file_path.h"
#include "zuv/strings/string_data.h"
#include "zuv/transfer/result.h"

/// Reads up to `count` bytes from the start of the file into `buffer`. Only closing the file
/// decides: kZuvErrFailed when it could not be opened or closed, else kZuvSuccess, also after a
/// short or failed read. The number of bytes read is not reported.
ZUV_EXPORT ZuvResult ZuvReadFile(const CZuvFilePath& file, void* buffer, unsigned int count);
/// Writes `count` bytes to the start of an existing file and sets its size to `count`. Result as
/// for ZuvReadFile: a failed write (a full disk) is kZuvSuccess when the close succeeds.
ZUV_EXPORT ZuvResult ZuvWriteFile(const CZuvFilePath& file, const void* data, unsigned int count);

/// Creates an empty file `name` in `parent`. Always kZuvSuccess, whether or not a file was made;
/// *out (may be null) gets the new file's path, or is left empty when none was made.
ZUV_EXPORT ZuvResult ZuvCreateFile(const CZuvFilePath& parent, const CZuvStringData& name,
                                   CZuvFilePath* out);
/// Creates the folder `name` in `parent` and sets *out (may be null). kZuvErrFolderExists when the
/// name is taken; a name the file system refuses is kZuvErrInvalidName, or kZuvErrNameTooLong when
/// name and parent path together take 1024 bytes or more; anything else is kZuvErrAccessDenied.
ZUV_EXPORT ZuvResult ZuvCreateFolder(const CZuvFilePath& parent, const CZuvStringData& name,
                                     CZuvFilePath* out);
/// Creates `name` in `parent`, or the first of name_1.ext, name_2.ext... that names no item (a
/// dangling symbolic link counts as free). Returns ZuvCreateFile's result.
ZUV_EXPORT ZuvResult ZuvCreateUniqueFile(const CZuvFilePath& parent, const CZuvStringData& name,
                                         CZuvFilePath* out);

// Delete and rename act on the item that the last path component names, never following it when
// it is a symbolic link. A path that ends in "." or ".." (however many "/" follow) or names
// the root is refused with kZuvErrInvalidName before anything is touched.

/// Deletes a file or an empty folder. kZuvErrFileSystem for an empty path, kZuvErrAccessDenied
/// when it is not there, locked, or the user may not write it, kZuvErrFailed when the system
/// refuses (waiting up to 4 s while it answers busy, on systems before 10.4).
ZUV_EXPORT ZuvResult ZuvDeleteFile(const CZuvFilePath& file);
/// Deletes in order and stops at the first failure, returning it; else the last result
/// (kZuvSuccess for none).
ZUV_EXPORT ZuvResult ZuvDeleteFile(const std::vector<CZuvFilePath>& files);
/// Deletes a folder (or file) with everything in it; symbolic links are removed, not followed.
/// kZuvErrAccessDenied when anything is left. No permission check is made first.
ZUV_EXPORT ZuvResult ZuvDeleteFolder(const CZuvFilePath& folder);
/// As the vector form of ZuvDeleteFile.
ZUV_EXPORT ZuvResult ZuvDeleteFolder(const std::vector<CZuvFilePath>& folders);

/// Renames the item within its folder, a locked item too (it stays locked), and sets *out (may be
/// null) to its new path. kZuvErrFileSystem for an empty path; kZuvErrAccessDenied when the user
/// may not write it; kZuvErrInUse; kZuvErrNameTooLong; kZuvErrFailed otherwise, a taken name too.
ZUV_EXPORT ZuvResult ZuvRenameFile(const CZuvFilePath& item, const CZuvStringData& newName,
                                   CZuvFilePath* out);
/// Deletes the file's resource fork. kZuvErrFailed when it has none, which on Linux is always.
ZUV_EXPORT ZuvResult ZuvDeleteResourceFork(const CZuvFilePath& file);

/// Whether `child` is `parent` or lies inside it, by bytes and with case. A parent given with a
/// trailing "/" (other than "/") contains nothing.
/// @{
ZUV_EXPORT bool ZuvIsSubFolder(const CZuvStringData& parent, const CZuvStringData& child);
ZUV_EXPORT bool ZuvIsSubFolder(const CZuvFilePath& parent, const CZuvFilePath& child);
/// @}
/// Writes to *name (may be null) the text after the last "/", or the whole path without one.
/// Always kZuvSuccess.
/// @{
ZUV_EXPORT ZuvResult ZuvGetFileNameFromPath(const CZuvStringData& path, CZuvStringData* name);
ZUV_EXPORT ZuvResult ZuvGetFileNameFromPath(const CZuvFilePath& path, CZuvStringData* name);
/// @}
/// Writes to *parent (may be null) the text before the last "/" ("/a/b/" gives "/a/b").
/// kZuvErrNotFound when there is no "/" or only a leading one ("/x").
ZUV_EXPORT ZuvResult ZuvGetParentFolder(const CZuvStringData& path, CZuvStringData* parent);
/// CZuvFilePath::GetParent.
ZUV_EXPORT ZuvResult ZuvGetParentFolder(const CZuvFilePath& path, CZuvFilePath* parent);
/// The path's own IsEmpty(): no path, or no item there.
ZUV_EXPORT bool ZuvIsPathEmpty(const CZuvFilePath& path);
/// The path's own Free().
ZUV_EXPORT void ZuvClearPath(CZuvFilePath* path);
