// The sub-commands of the zuv tool. Each command lives in a file of its own that defines its run
// function, declared here, and has one row in the command table of main.cpp. The helpers every
// command shares (exit statuses, messages, path arguments) are defined in command.cpp.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zuv/paths/file_path.h"
#include "zuv/strings/string_data.h"
#include "zuv/transfer/result.h"

/// The exit statuses of every command, listed by `zuv --help`.
inline constexpr int kZuvToolSuccess = 0;
inline constexpr int kZuvToolFailure = 1;     // an operation failed
inline constexpr int kZuvToolUsageError = 2;  // the command was used wrongly
inline constexpr int kZuvToolCanceled = 130;  // stopped by Ctrl-C, as shells report it

/// One sub-command: `zuv NAME ARGUMENTS`.
struct ZuvToolCommand {
  const char* name;
  const char* arguments;  // synopsis of the arguments, for the help
  const char* summary;    // one line
  const char* details;    // further lines of help, each indented, or ""
  int (*run)(const std::vector<std::string>& arguments);  // returns the exit status
};

/// Prints "zuv COMMAND: MESSAGE" and a pointer to the help on standard error; returns
/// kZuvToolUsageError.
int ZuvToolUsageError(std::string_view command, std::string_view message);

/// Prints the one line "zuv COMMAND: SUBJECT: REASON (kZuvErrName number)" on standard error, with
/// ZuvResultReason(result) when `reason` is empty; an empty SUBJECT shows as ''. Returns
/// kZuvToolSuccess for a success code (and prints nothing), else kZuvToolFailure.
int ZuvToolFailure(std::string_view command, std::string_view subject, ZuvResult result,
                   std::string_view reason = {});

/// The path a PATH argument names, as the library should get it: a relative argument after the
/// working folder and "/", an absolute one as it is; no component is folded or dropped, so the
/// kernel resolves "..", links and trailing slashes as it does for any program. An empty argument,
/// or a relative one when the working folder is gone, is reported with ZuvToolFailure and gives
/// nothing.
std::optional<std::string> ZuvToolPath(std::string_view command, const std::string& argument);

/// The last component of a path, trailing slashes aside ("" for "/" and for "").
std::string_view ZuvToolLastComponent(std::string_view path);
/// ZuvToolPath for an item that is removed, renamed, swapped, copied or moved: a last component
/// "." or ".." is reported with ZuvToolFailure and gives nothing.
std::optional<std::string> ZuvToolItemPath(std::string_view command, const std::string& argument);

/// A path argument's UTF-8 text as a string value.
CZuvStringData ZuvToolUtf8(const std::string& text);
/// A path object holding `path`, whether or not an item is there.
CZuvFilePath ZuvToolPathObject(const std::string& path);
/// The full path a path object holds.
std::string ZuvToolPathText(const CZuvFilePath& path);

int RunTextCommand(const std::vector<std::string>& arguments);
/// True for the names of the string operations `zuv text` runs (split, replace, trim, ...).
bool IsTextOperation(std::string_view name);
/// Runs a string operation on its texts and prints the result; the exit status.
int RunTextOperation(const std::string& name, const std::vector<std::string>& texts);
int RunTimeCommand(const std::vector<std::string>& arguments);
int RunInfoCommand(const std::vector<std::string>& arguments);
int RunSwapCommand(const std::vector<std::string>& arguments);
int RunMkdirCommand(const std::vector<std::string>& arguments);
int RunRenameCommand(const std::vector<std::string>& arguments);
int RunRmCommand(const std::vector<std::string>& arguments);
int RunTrashCommand(const std::vector<std::string>& arguments);
int RunCopyCommand(const std::vector<std::string>& arguments);
int RunMoveCommand(const std::vector<std::string>& arguments);
int RunTempfileCommand(const std::vector<std::string>& arguments);
int RunTypesCommand(const std::vector<std::string>& arguments);
