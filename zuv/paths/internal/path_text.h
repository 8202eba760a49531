// The pieces of a path's text, by its bytes alone: nothing is resolved or looked up. Paths are "/"
// separated; a run of "/" at the end is no part of the last name. Header-only, so that the
// command-line tool, built in this tree, uses the same pieces as the library.
#pragma once

#include <string>
#include <string_view>

namespace zuv::paths_internal {

/// The path without the "/" that end it; "/" (or a run of them) is the root and stays "/".
inline std::string_view WithoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return path;
}

/// The text after the last "/"; the whole path when it has none, "" when it ends in "/".
inline std::string_view LastComponent(std::string_view path) {
  return path.substr(path.rfind('/') + 1);  // npos + 1: from the start
}

/// The text before the last "/": "/" when that is the first byte, "" when there is none.
inline std::string_view FolderOf(std::string_view path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  return slash == 0 ? path.substr(0, 1) : path.substr(0, slash);
}

/// Whether `name` can be one component of a path: not empty, "." or "..", and without "/" or a
/// U+0000 (which would make it another path, or cut it short where the system reads it).
inline bool IsOneComponent(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

/// `name` in `folder`: folder + "/" + name, without a second "/" when the folder ends in one.
inline std::string JoinPath(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (path.empty() || path.back() != '/') path += '/';
  return path.append(name);
}

}  // namespace zuv::paths_internal
