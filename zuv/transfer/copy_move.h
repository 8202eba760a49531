// Copying and moving files and folders: the progress callback that the long-running operations
// share, the helpers that form and check destination paths, and the copy and move variants. A
// variant copies or moves one item, with or without a new name, replacing an item already there or
// not, with or without a progress callback that can cancel, and with or without returning the new
// item's path. Tree copies and moves run through ZuvCopyPath and ZuvMovePath
// (zuv/transfer/path_operation.h); one variant copies by streams and one writes over an existing
// file.
//
// Where a variant joins a destination folder and a name, the new item is folder + "/" + name with
// no doubled or trailing "/". A name that would leave that path without an item of its own (empty,
// ".", "..") cannot form one, nor can a folder or name that is not well-formed UTF-8: those
// variants then do nothing and report kZuvSuccess.
#pragma once

#include "zuv/export.h"
#include "zuv/paths/file_path.h"
#include "zuv/strings/string_data.h"
#include "zuv/transfer/result.h"

/// Called by a long-running operation with the caller's datum, always passed together with it; a
/// null callback means no reporting. Answer true to go on, false to cancel.
typedef bool (*ZuvProgressProc)(void* data);

/// Joins `folder` and `name` into *out. kZuvErrNotFound for a null out (nothing else happens),
/// kZuvErrInvalidName when the two form no path (see above; *out untouched), else kZuvSuccess.
ZUV_EXPORT ZuvResult ZuvMakeFilePath(const CZuvStringData& folder, const CZuvStringData& name,
                                     CZuvStringData* out);
/// Joins the folder's full path and `name` and sets *out to the existing item there.
/// kZuvErrPathTooLong when the two take 1024 UTF-8 bytes or more with a separator,
/// kZuvErrNameTooLong for a name of 256 UTF-16 units or more, kZuvErrInvalidName as the string
/// form, kZuvErrNotFound for a null out; else the first failure of CZuvFilePath::Initialize (the
/// path is set even then: kZuvErrFileSystem when nothing is there) and GetFSRef.
ZUV_EXPORT ZuvResult ZuvMakeFilePath(const CZuvFilePath& folder, const CZuvStringData& name,
                                     CZuvFilePath* out);
/// kZuvErrSamePath when the two paths are equal, kZuvErrSubFolder when `destination` lies inside
/// `source` (ZuvIsSubFolder), else kZuvSuccess.
ZUV_EXPORT ZuvResult ValidFolderPathForCopyMove(const CZuvStringData& source,
                                                const CZuvStringData& destination);
/// Whether a failed copy or move to `destination` is to be reported as kZuvErrDiskFull: only when
/// the item is writable for the current user and ZuvIsDiskFull holds. A destination that is not
/// writable is never full, so that the caller reports access denied.
ZUV_EXPORT bool IsDiskFullError(const CZuvFilePath& destination);
/// Removes a file, or a folder with everything in it; symbolic links are removed, never followed.
/// kZuvSuccess, or kZuvErrAccessDenied when anything is left or the path names no item of its own.
ZUV_EXPORT ZuvResult ZuvRemoveFileRecursive(const CZuvFilePath& path);

// In the variants below, "the folder checks" are: a source path that is not well-formed UTF-8 is
// kZuvErrAccessDenied; equal source and destination paths are kZuvErrSamePath; a destination
// inside the source is kZuvErrSubFolder. "Replacing" means: when an item is at the new path, it
// is kZuvErrSubFolder if the source lies inside it (its removal would take the source along),
// else the item is removed first. A failed copy or move, unless said otherwise, is
// kZuvErrDiskFull when IsDiskFullError(destination) holds and kZuvErrAccessDenied otherwise.
// Nothing is left at the new path after a failure or a cancel of a tree copy or move, and the
// source of a failed or canceled move is whole.

/// Copies the item at `source` to the new path `destination`, which must be free. Destination
/// first, on purpose. kZuvErrFileSystem when there is no source; a failure is kZuvErrAccessDenied.
ZUV_EXPORT ZuvResult ZuvCopyFile(const CZuvStringData& destination, const CZuvStringData& source);
/// Copies `source` into the folder `destination` as `name`, which must be free, and sets *out
/// (may be null) to the copy. kZuvErrFileSystem when there is no source.
ZUV_EXPORT ZuvResult ZuvCopyFile(const CZuvFilePath& source, const CZuvFilePath& destination,
                                 const CZuvStringData& name, CZuvFilePath* out);
/// Appends the data of the file `source` to the file `name` in the folder `destination`, made
/// when missing, 64 KiB at a time; progress (may be null) is called after each 64 KiB written,
/// not after the last. kZuvErrCanceled when it answers false: the destination file is then
/// deleted, appended-to content included. Read and write errors are not reported: kZuvSuccess.
ZUV_EXPORT ZuvResult ZuvCopyFileEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                                   const CZuvStringData& name, ZuvProgressProc progress,
                                   void* data);
/// Writes the data of the file `source` over the existing file `destination` from its start,
/// without truncating it, 64 KiB at a time, calling progress (may be null) after each. The
/// failure of either reference (no item), kZuvErrFileSystem when the source cannot be read,
/// kZuvErrAccessDenied when either cannot be opened, kZuvErrCanceled (the destination deleted).
ZUV_EXPORT ZuvResult ZuvCopyFileEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                                   ZuvProgressProc progress, void* data);
/// Copies `source` to the path `destination`, replacing (with no sub-folder check) an item there.
/// kZuvErrAccessDenied for equal paths, a failed removal and a failed copy.
ZUV_EXPORT ZuvResult ZuvCopyFileOverwrite(const CZuvFilePath& source,
                                          const CZuvFilePath& destination);
/// Copies `source` into the folder `destination` as *name (null: the source's own name),
/// replacing, and sets *out (may be null). kZuvErrAccessDenied when the item there cannot be
/// removed.
ZUV_EXPORT ZuvResult ZuvCopyFileOverwrite(const CZuvFilePath& source,
                                          const CZuvFilePath& destination,
                                          const CZuvStringData* name, CZuvFilePath* out);
/// Copies `source` into the folder `destination` as *name (null: `destination` is the new item's
/// own path), replacing, with progress (ZuvCopyPath). kZuvErrAccessDenied when the source is
/// neither readable nor writable or the item there cannot be removed; kZuvErrCanceled.
ZUV_EXPORT ZuvResult ZuvCopyFileOverwriteEx(const CZuvFilePath& source,
                                            const CZuvFilePath& destination,
                                            const CZuvStringData* name, ZuvProgressProc progress,
                                            void* data);
/// Copies `source` into the folder `destination` as `name`, which must be free, after the folder
/// checks, and sets *out (may be null). A failure is kZuvErrAccessDenied.
ZUV_EXPORT ZuvResult ZuvCopyFolder(CZuvFilePath source, CZuvFilePath destination,
                                   const CZuvStringData& name, CZuvFilePath* out);
/// Copies `source` into the folder `destination` as `name` after the folder checks, replacing,
/// with progress. kZuvErrAccessDenied when the source is neither readable nor writable; a failed
/// copy gives ZuvCopyPath's own code, never kZuvErrDiskFull. When the item there cannot be
/// removed, nothing is copied and the result is kZuvSuccess: callers rely on this.
ZUV_EXPORT ZuvResult ZuvCopyFolderEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                                     const CZuvStringData& name, ZuvProgressProc progress,
                                     void* data);
/// As ZuvCopyFolderEx without the readability check, with the disk-full report; a null name means
/// that `destination` is the new item's own path.
ZUV_EXPORT ZuvResult ZuvCopyFolderOverwriteEx(const CZuvFilePath& source,
                                              const CZuvFilePath& destination,
                                              const CZuvStringData* name, ZuvProgressProc progress,
                                              void* data);

/// Moves the item at `source` to the free path `destination`, with no checks.
/// kZuvErrAccessDenied on failure.
ZUV_EXPORT ZuvResult ZuvMoveFile(const CZuvFilePath& source, const CZuvFilePath& destination);
/// Moves the item at `source` to the path `destination`. kZuvErrSamePath, kZuvErrSubFolder,
/// kZuvErrAccessDenied when an item is at `destination` or the move fails.
ZUV_EXPORT ZuvResult ZuvMoveFile(const CZuvStringData& source, const CZuvStringData& destination);
/// Moves `source` into the folder `destination` as `name`, each "/" of it made ":", after the
/// folder checks, and sets *out (may be null). A failure is kZuvErrAccessDenied.
ZUV_EXPORT ZuvResult ZuvMoveFile(const CZuvFilePath& source, const CZuvFilePath& destination,
                                 const CZuvStringData& name, CZuvFilePath* out);
/// Moves `source` into the folder `destination` as `name` after the folder checks, replacing,
/// with progress (ZuvMovePath). kZuvErrCanceled. When the item there cannot be removed, or the
/// source path is empty, nothing is moved and the result is kZuvSuccess: callers rely on this.
ZUV_EXPORT ZuvResult ZuvMoveFileEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                                   const CZuvStringData& name, ZuvProgressProc progress,
                                   void* data);
/// Moves `source` into the folder `destination` as *name (null: the source's own name) after the
/// folder checks, replacing, and sets *out (may be null). An item there that cannot be removed:
/// kZuvSuccess, nothing moved.
ZUV_EXPORT ZuvResult ZuvMoveFileOverwrite(const CZuvFilePath& source,
                                          const CZuvFilePath& destination,
                                          const CZuvStringData* name, CZuvFilePath* out);
/// As ZuvMoveFileOverwrite with progress instead of an out path; kZuvErrCanceled.
ZUV_EXPORT ZuvResult ZuvMoveFileOverwriteEx(const CZuvFilePath& source,
                                            const CZuvFilePath& destination,
                                            const CZuvStringData* name, ZuvProgressProc progress,
                                            void* data);
