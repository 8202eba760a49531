// Swapping the contents of two files, each keeping its name and place: ZuvSwapFile, which checks
// permissions and keeps locked files locked, and the exchange beneath it, done in place where the
// volume can and else by renames and moves that are undone when a step fails. Included by
// file_ops.h with the other basic file operations.
#pragma once

#include <cstdint>

#include "zuv/export.h"
#include "zuv/paths/file_path.h"
#include "zuv/platform/catalog_types.h"
#include "zuv/transfer/result.h"

/// Exchanges the contents of two files, each keeping its name and place; locked files too. Acts on
/// the items that the last path components name, never following a symbolic link there; a path
/// that ends in "." or ".." or names the root is kZuvErrInvalidName, with nothing touched.
/// kZuvErrFileSystem for an empty path, kZuvErrAccessDenied when either may not be written or the
/// exchange was refused, kZuvErrFailed otherwise (two volumes, a folder). After a failure a file
/// unlocked for the swap may stay unlocked.
ZUV_EXPORT ZuvResult ZuvSwapFile(const CZuvFilePath& a, const CZuvFilePath& b);
/// Exchanges two files, natively where the volume can, else by renames and moves that are undone
/// when a step fails; both files are kept either way. *newSource and *newDest receive the items now
/// at the source's and the destination's places. Returns a platform error number (0: success):
/// -50 for a null output, -1303 for two volumes, -1302 for a folder, or the failed step's error.
ZUV_EXPORT int32_t FSExchangeObjectsCompat(const FSRef* source, const FSRef* dest, FSRef* newSource,
                                           FSRef* newDest);
