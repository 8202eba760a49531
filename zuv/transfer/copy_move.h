// Copying and moving files and folders: the progress callback that the long-running operations
// share, and the copy and move variants with their supporting functions, which come here.
#pragma once

/// Called by a long-running operation with the caller's datum, always passed together with it; a
/// null callback means no reporting. Answer true to go on, false to cancel.
typedef bool (*ZuvProgressProc)(void* data);
