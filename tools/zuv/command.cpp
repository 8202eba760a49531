// The helpers every command shares: the usage and failure messages, and path arguments.
#include "tools/zuv/command.h"

#include <filesystem>
#include <iostream>
#include <system_error>

#include "zuv/paths/internal/path_text.h"

int ZuvToolUsageError(std::string_view command, std::string_view message) {
  std::cerr << "zuv";
  if (!command.empty()) std::cerr << ' ' << command;
  std::cerr << ": " << message << "\nTry 'zuv --help'.\n";
  return kZuvToolUsageError;
}

int ZuvToolFailure(std::string_view command, std::string_view subject, ZuvResult result,
                   std::string_view reason) {
  if (ZuvIsSuccess(result)) return kZuvToolSuccess;
  const char* name = ZuvResultName(result);
  std::cerr << "zuv " << command << ": " << (subject.empty() ? "''" : subject) << ": "
            << (reason.empty() ? ZuvResultReason(result) : reason) << " ("
            << (name != nullptr ? name : "unknown code") << ' ' << result << ")\n";
  return kZuvToolFailure;
}

std::optional<std::string> ZuvToolPath(std::string_view command, const std::string& argument) {
  if (argument.empty()) {
    ZuvToolFailure(command, argument, kZuvErrEmptyPath);
    return std::nullopt;
  }
  if (argument.front() == '/') return argument;
  std::error_code error;
  const std::string folder = std::filesystem::current_path(error).string();
  if (error) {
    ZuvToolFailure(command, argument, kZuvErrNotFound, "the working folder cannot be found");
    return std::nullopt;
  }
  return zuv::paths_internal::JoinPath(folder, argument);
}

CZuvStringData ZuvToolUtf8(const std::string& text) {
  return CZuvStringData(ZuvCharUtf8(text.c_str()));
}

CZuvFilePath ZuvToolPathObject(const std::string& path) {
  CZuvFilePath object;
  const CZuvStringData text = ZuvToolUtf8(path);
  object.Initialize(&text);
  return object;
}

std::string ZuvToolPathText(const CZuvFilePath& path) {
  CZuvStringData text;
  path.GetFullPath(&text);
  return text.GetPtrUtf8();
}

std::string_view ZuvToolLastComponent(std::string_view path) {
  return zuv::paths_internal::LastComponent(zuv::paths_internal::WithoutTrailingSlashes(path));
}

// As rm does: such a path names a folder by way of another item, and the kernel and a reader may
// not agree on which folder that is.
std::optional<std::string> ZuvToolItemPath(std::string_view command, const std::string& argument) {
  const std::string_view last = ZuvToolLastComponent(argument);
  if (last == "." || last == "..") {
    ZuvToolFailure(command, argument, kZuvErrInvalidName,
                   "a path that ends in '.' or '..' is refused");
    return std::nullopt;
  }
  return ZuvToolPath(command, argument);
}
