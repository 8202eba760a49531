// Path arguments of the zuv commands: the absolute form of what the user typed, and the path
// object and text the library exchanges.
#pragma once

#include <string>

#include "zuv/paths/file_path.h"
#include "zuv/strings/string_data.h"

/// The argument as a string value of UTF-8 text.
CZuvStringData Text(const std::string& text);
/// The absolute form of a path argument, without "." or ".." components or a trailing "/".
std::string AbsolutePath(const std::string& argument);
/// A path object holding `path`, whether or not an item is there.
CZuvFilePath PathObject(const std::string& path);
/// The full path a path object holds.
std::string PathText(const CZuvFilePath& path);
