// The sub-commands of the zuv tool. Each command lives in a file of its own that defines its run
// function, declared here, and has one row in the command table of main.cpp.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Exit status of a command that was used wrongly.
inline constexpr int kZuvToolUsageError = 2;

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
int RunTempfileCommand(const std::vector<std::string>& arguments);
int RunTypesCommand(const std::vector<std::string>& arguments);
