// Trees of files for the copy and move tests: a seeded generator of awkward trees, and a snapshot
// of a tree (kind, mode, size, times, bytes, link target, user.* attributes of every item) to
// compare two trees, or one tree before and after. Header-only; compiled into the tests alone.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <dirent.h>
#include <map>
#include <ostream>
#include <random>
#include <sys/xattr.h>
#include <time.h>
#include <utility>

#include "zuv/platform/testing/scratch.h"

namespace zuv::platform::testing {

/// One item of a tree as a snapshot sees it, times to the nanosecond. A link's access time is
/// left out: reading its target sets it, and nothing can spare that.
struct TreeItem {
  char kind = '?';  // 'f' file, 'd' folder, 'l' symbolic link, 'p' FIFO
  mode_t mode = 0;
  off_t size = 0;
  std::pair<time_t, long> mtime, atime;
  std::string data;  // a file's bytes or a link's target
  std::map<std::string, std::string> xattrs;
  bool operator==(const TreeItem&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const TreeItem& i) {
    return out << i.kind << std::oct << i.mode << std::dec << " size " << i.size << " times "
               << i.mtime.first << "." << i.mtime.second << " " << i.atime.first << "."
               << i.atime.second << " bytes " << i.data.size() << " xattrs " << i.xattrs.size();
  }
};
using Snapshot = std::map<std::string, TreeItem>;

/// Every item of the tree at `top` by its path relative to it ("" for the top itself), symbolic
/// links not followed. Files and folders are read without changing their access times (as root,
/// or as their owner). Empty when `top` is not there.
inline Snapshot SnapshotTree(const std::string& top) {
  Snapshot items;
  std::vector<std::string> pending = {""};
  while (!pending.empty()) {
    const std::string relative = pending.back();
    pending.pop_back();
    const std::string path = relative.empty() ? top : top + "/" + relative;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) continue;
    TreeItem& item = items[relative];
    item.mode = st.st_mode & 07777;
    item.mtime = {st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
    item.kind = S_ISDIR(st.st_mode)    ? 'd'
                : S_ISLNK(st.st_mode)  ? 'l'
                : S_ISFIFO(st.st_mode) ? 'p'
                                       : 'f';
    char buffer[4096];
    if (item.kind == 'l') {
      item.data.assign(buffer, std::max<ssize_t>(0, readlink(path.c_str(), buffer, sizeof buffer)));
      continue;
    }
    item.atime = {st.st_atim.tv_sec, st.st_atim.tv_nsec};
    const int fd =
        item.kind == 'p' ? -1 : open(path.c_str(), O_RDONLY | O_NOATIME | O_NOFOLLOW | O_CLOEXEC);
    if (DIR* folder = item.kind == 'd' && fd >= 0 ? fdopendir(fd) : nullptr) {
      while (const dirent* entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        pending.push_back(relative.empty() ? name : relative + "/" + name);
      }
      closedir(folder);
    } else if (fd >= 0) {
      item.size = st.st_size;
      item.data.resize(static_cast<size_t>(st.st_size));
      item.data.resize(std::max<ssize_t>(0, read(fd, item.data.data(), item.data.size())));
      close(fd);
    }
    const ssize_t length = llistxattr(path.c_str(), buffer, sizeof buffer);
    for (ssize_t at = 0; at < length; at += static_cast<ssize_t>(strlen(buffer + at)) + 1) {
      const std::string name(buffer + at);
      char value[1024];
      const ssize_t size = lgetxattr(path.c_str(), name.c_str(), value, sizeof value);
      if (name.rfind("user.", 0) == 0) item.xattrs[name].assign(value, std::max<ssize_t>(0, size));
    }
  }
  return items;
}

/// Builds a tree at `top` (which must not exist) from `seed`: names in odd UTF-8 and not UTF-8,
/// deep nesting, empty, small, sparse and multi-MiB files, links (dangling and leading out),
/// FIFOs, empty folders, varied modes, `user.*` attributes, and times set in the past (access
/// after modification, so that reading the tree leaves them as they are). False when any of it
/// could not be made.
inline bool MakeRandomTree(const std::string& top, unsigned seed, int items = 40) {
  std::mt19937 random(seed);
  const auto pick = [&](size_t count) { return static_cast<int>(random() % count); };
  static const char* const kNames[] = {
      "a",     "photo.jpg", "é",         "日本語", "a b",   "😀",     "\xff\xfe-latin1-\xe9",
      "-dash", ".hidden",   "tab\tname", "CAPS",   "x.y.z", "\xc3(", "long"};
  const timespec past[2] = {{time(nullptr) - 3600, 123456789}, {time(nullptr) - 7200, 987654321}};
  std::vector<std::string> folders = {top};
  bool ok = mkdir(top.c_str(), 0755) == 0;
  for (int level = 0; ok && level < 24; ++level) {  // one deep chain
    folders.push_back(folders.back() + "/n");
    ok = mkdir(folders.back().c_str(), 0755) == 0;
  }
  for (int i = 0; i < items && ok; ++i) {
    std::string name = kNames[pick(std::size(kNames))];
    if (name == "long") name = std::string(200, 'L');
    const std::string path = folders[pick(folders.size())] + "/" + name + "-" + std::to_string(i);
    const int kind = pick(8);
    if (kind < 2) {
      ok = mkdir(path.c_str(), pick(4) == 0 ? 0700 : 0755) == 0;
      folders.push_back(path);
    } else if (kind == 2) {
      ok = symlink(pick(2) == 0 ? "../nowhere" : "/etc/hostname", path.c_str()) == 0;
    } else if (kind == 3) {
      ok = mkfifo(path.c_str(), 0640) == 0;
    } else {
      const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
      // Empty, small, sparse (data after a hole, and a hole at the end), or multi-MiB.
      const int size = std::vector{0, 1 + pick(5000), 4096, (1 << 20) + pick(2 << 20)}[pick(4)];
      const off_t at = size == 4096 ? off_t{1 + pick(4)} << 20 : 0;
      std::string bytes(static_cast<size_t>(size), '\0');
      for (char& byte : bytes) byte = static_cast<char>(random());
      ok = fd >= 0 && pwrite(fd, bytes.data(), bytes.size(), at) == size &&
           (at == 0 || ftruncate(fd, at + (2 << 20)) == 0) &&
           (pick(2) == 0 || fsetxattr(fd, "user.tag", name.data(), name.size(), 0) == 0) &&
           fchmod(fd, std::array<mode_t, 3>{0600, 0444, 0755}[pick(3)]) == 0 &&
           futimens(fd, past) == 0 && close(fd) == 0;
    }
    if (ok && pick(3) != 0) ok = utimensat(AT_FDCWD, path.c_str(), past, AT_SYMLINK_NOFOLLOW) == 0;
  }
  ok = ok && setxattr(top.c_str(), "user.top", "1", 1, 0) == 0;
  // Folders last and deepest first, as filling a folder sets its times.
  for (auto it = folders.rbegin(); ok && it != folders.rend(); ++it) {
    ok = utimensat(AT_FDCWD, it->c_str(), past, 0) == 0;
  }
  return ok;
}

/// A small tree at `top`: a file, a folder with a file and a link, an empty folder. False when any
/// of it could not be made.
inline bool MakeSmallTree(const std::string& top) {
  const bool made = mkdir(top.c_str(), 0755) == 0 && mkdir((top + "/sub").c_str(), 0755) == 0 &&
                    mkdir((top + "/empty").c_str(), 0755) == 0 &&
                    symlink("two", (top + "/sub/link").c_str()) == 0;
  WriteFile(top + "/one", "one");
  WriteFile(top + "/sub/two", "two");
  return made;
}

}  // namespace zuv::platform::testing
