#include "tools/zuv/path_argument.h"

#include <filesystem>

CZuvStringData Text(const std::string& text) { return CZuvStringData(ZuvCharUtf8(text.c_str())); }

// An absolute path without empty, "." or ".." components is its own normal form: most arguments
// are, and they skip the cost of normalising, which counts when a shell passes thousands.
std::string AbsolutePath(const std::string& argument) {
  const std::string closed = argument + "/";
  if (closed.front() == '/' && closed.find("//") == std::string::npos &&
      closed.find("/./") == std::string::npos && closed.find("/../") == std::string::npos) {
    return argument;
  }
  std::string path = std::filesystem::absolute(argument).lexically_normal().string();
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

CZuvFilePath PathObject(const std::string& path) {
  CZuvFilePath object;
  const CZuvStringData text = Text(path);
  object.Initialize(&text);
  return object;
}

std::string PathText(const CZuvFilePath& path) {
  CZuvStringData text;
  path.GetFullPath(&text);
  return text.GetPtrUtf8();
}
