// Moving files and folders to the user's trash, where the desktop's file manager finds them and can
// put them back.
#pragma once

#include <vector>

#include "zuv/export.h"
#include "zuv/paths/file_path.h"
#include "zuv/transfer/copy_move.h"
#include "zuv/transfer/result.h"

/// Trashes items of one folder: the folder of the first path. Every path is taken by its name in
/// that folder, so an item of another folder is looked for under its name there; empty paths are
/// skipped, as are later paths that are not well-formed UTF-8. kZuvErrAccessDenied for an empty
/// list, or a first path that is empty or not well-formed UTF-8; otherwise kZuvSuccess, also when
/// an item could not be trashed.
ZUV_EXPORT ZuvResult ZuvMoveToTrash(const std::vector<CZuvFilePath>& paths);

/// Trashes one file or folder, then calls progress once (if given): its answer is ignored, as the
/// item is already in the trash. kZuvSuccess, or kZuvErrAccessDenied when the path is empty or not
/// well-formed UTF-8 or the item could not be trashed (missing, or its volume has no trash).
ZUV_EXPORT ZuvResult ZuvMoveToTrashEx(const CZuvFilePath& path, ZuvProgressProc progress,
                                      void* data);
