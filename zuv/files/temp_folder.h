// The project temp folder and temporary files. The library keeps its temporary files in the user's
// scratch folder (which the system empties on its own schedule), under "Merid", then a folder for
// the current project when one is named, then "RTL". It builds that folder on demand, hands out
// new files named ZuvTmp0000, ZuvTmp0001... there or in any folder, and clears it at once. Beside
// it: the Application Support folder and the profile folder in it.
#pragma once

#include "zuv/export.h"
#include "zuv/paths/file_path.h"
#include "zuv/strings/string_data.h"
#include "zuv/transfer/result.h"

/// Names the project whose folder the project temp folder holds; empty for none. Always
/// kZuvSuccess. The name makes exactly one folder level: each "/" in it is written ":" (as the
/// user sees a "/" in a file name), and the names "." and ".." are refused, so that the calls below
/// then fail as when the scratch folder cannot be had.
ZUV_EXPORT ZuvResult ZuvSetProjectName(const CZuvStringData& name);
/// Makes what is missing of the project temp folder and initialises *out (may be null) with it.
/// kZuvErrFailed when the scratch folder cannot be had or is not safe to use (a symbolic link, not
/// the user's own, open to others, or in a $TMPDIR where another user may rename it) or the project
/// name is refused; else the result of initialising
/// *out, kZuvErrFileSystem when the folder could not be made.
ZUV_EXPORT ZuvResult ZuvGetProjectTempFolder(CZuvFilePath* out);
/// Creates a new empty file in `folder` (null: the project temp folder) and initialises *out (may
/// be null) with it. Its name is "ZuvTmp" + four digits + `suffix` as given (".jpg", with its dot);
/// the digits are a process-wide counter modulo 10000, moved on for every name tried, and at most
/// 10000 names are tried. kZuvErrAccessDenied when the project temp folder cannot be had or the
/// folder may not be written, kZuvErrNotFound when the folder is not there, kZuvErrDiskFull when
/// the volume is full or no name was free.
/// @{
ZUV_EXPORT ZuvResult ZuvCreateTempFile(const CZuvFilePath* folder, CZuvFilePath* out,
                                       CZuvStringData suffix);
ZUV_EXPORT ZuvResult ZuvCreateTempFile(const CZuvFilePath* folder, CZuvFilePath* out);
/// @}
/// Removes the project temp folder's "RTL" with everything in it, when it is there. Nothing is
/// created or reported; the next ZuvGetProjectTempFolder makes it again.
ZUV_EXPORT void ZuvClearProjectTempFolder();

/// Initialises *out (may be null) with the local Application Support folder. False when the system
/// names none.
ZUV_EXPORT bool GetApplicationSupportFolder(CZuvFilePath* out);
/// Initialises *out (may be null) with the profile folder, "Merid/Profiles" in the Application
/// Support folder. False when the system names none.
ZUV_EXPORT bool GetProfileFolderPath(CZuvFilePath* out);
