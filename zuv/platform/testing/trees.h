// Trees of files for the copy and move tests: a seeded generator of awkward trees, and a snapshot
// of a tree (kind, mode, size, times, bytes, link target, user.* attributes of every item) to
// compare two trees, or one tree before and after. Header-only; compiled into the tests alone.
#pragma once

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace zuv::platform::testing {

/// One item of a tree as a snapshot sees it. Times are compared to the nanosecond, except the
/// access time of a symbolic link, which reading its target sets and which nothing can spare.
struct TreeItem {
  char kind = '?';  // 'f' file, 'd' folder, 'l' symbolic link, 'p' FIFO
  mode_t mode = 0;
  off_t size = 0;
  timespec mtime{};
  timespec atime{};
  std::string data;  // a file's bytes or a link's target
  std::map<std::string, std::string> xattrs;
  bool operator==(const TreeItem& other) const {
    return kind == other.kind && mode == other.mode && size == other.size &&
           mtime.tv_sec == other.mtime.tv_sec && mtime.tv_nsec == other.mtime.tv_nsec &&
           (kind == 'l' ||
            (atime.tv_sec == other.atime.tv_sec && atime.tv_nsec == other.atime.tv_nsec)) &&
           data == other.data && xattrs == other.xattrs;
  }
  friend void PrintTo(const TreeItem& item, std::ostream* out) {
    *out << item.kind << " mode " << std::oct << item.mode << std::dec << " size " << item.size
         << " mtime " << item.mtime.tv_sec << "." << item.mtime.tv_nsec << " atime "
         << item.atime.tv_sec << "." << item.atime.tv_nsec << " bytes " << item.data.size()
         << " xattrs " << item.xattrs.size();
  }
};

/// Every item of the tree at `top` by its path relative to it ("" for the top itself), symbolic
/// links not followed. Files and folders are read without changing their access times (as root,
/// or as their owner). Empty when `top` is not there.
inline std::map<std::string, TreeItem> SnapshotTree(const std::string& top) {
  std::map<std::string, TreeItem> items;
  std::vector<std::string> pending = {""};
  while (!pending.empty()) {
    const std::string relative = pending.back();
    pending.pop_back();
    const std::string path = relative.empty() ? top : top + "/" + relative;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) continue;
    TreeItem item;
    item.mode = st.st_mode & 07777;
    item.mtime = st.st_mtim;
    item.atime = st.st_atim;
    if (S_ISDIR(st.st_mode)) {
      item.kind = 'd';
      const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOATIME | O_CLOEXEC);
      if (DIR* folder = fd >= 0 ? fdopendir(fd) : nullptr) {
        while (const dirent* entry = readdir(folder)) {
          const std::string name = entry->d_name;
          if (name != "." && name != "..") {
            pending.push_back(relative.empty() ? name : relative + "/" + name);
          }
        }
        closedir(folder);
      }
    } else if (S_ISLNK(st.st_mode)) {
      item.kind = 'l';
      item.data.resize(static_cast<size_t>(st.st_size));
      item.data.resize(static_cast<size_t>(
          std::max<ssize_t>(0, readlink(path.c_str(), item.data.data(), item.data.size()))));
    } else if (S_ISFIFO(st.st_mode)) {
      item.kind = 'p';
    } else if (S_ISREG(st.st_mode)) {
      item.kind = 'f';
      item.size = st.st_size;
      const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NOATIME | O_CLOEXEC);
      if (fd >= 0) {
        item.data.resize(static_cast<size_t>(st.st_size));
        size_t done = 0;
        while (done < item.data.size()) {
          const ssize_t got = read(fd, item.data.data() + done, item.data.size() - done);
          if (got <= 0) break;
          done += static_cast<size_t>(got);
        }
        item.data.resize(done);
        close(fd);
      }
    }
    if (item.kind != 'l') {
      char names[4096];
      const ssize_t length = llistxattr(path.c_str(), names, sizeof names);
      for (ssize_t at = 0; at < length;) {
        const std::string name(names + at);
        at += static_cast<ssize_t>(name.size()) + 1;
        if (name.rfind("user.", 0) != 0) continue;
        char value[1024];
        const ssize_t size = lgetxattr(path.c_str(), name.c_str(), value, sizeof value);
        item.xattrs[name] = std::string(value, static_cast<size_t>(std::max<ssize_t>(0, size)));
      }
    }
    items[relative] = std::move(item);
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
  const auto pick = [&](int count) { return static_cast<int>(random() % count); };
  static const char* const kNames[] = {
      "a",     "photo.jpg", "é",         "日本語", "a b",  "\xff\xfe-latin1-\xe9",
      "-dash", ".hidden",   "tab\tname", "😀",      "CAPS", "x.y.z",
      "\xc3(", "long"};
  const timespec past[2] = {{time(nullptr) - 3600, 123456789}, {time(nullptr) - 7200, 987654321}};
  if (mkdir(top.c_str(), 0755) != 0) return false;
  std::vector<std::string> folders = {top};
  std::string deep = top;
  for (int level = 0; level < 24; ++level) {  // one deep chain
    deep += "/n";
    if (mkdir(deep.c_str(), 0755) != 0) return false;
  }
  folders.push_back(deep);
  bool ok = true;
  for (int i = 0; i < items && ok; ++i) {
    const std::string folder = folders[static_cast<size_t>(pick(static_cast<int>(folders.size())))];
    std::string name = kNames[pick(sizeof kNames / sizeof *kNames)];
    if (name == "long") name = std::string(200, 'L');
    name += "-" + std::to_string(i);
    const std::string path = folder + "/" + name;
    switch (pick(8)) {
      case 0:
      case 1:
        ok = mkdir(path.c_str(), pick(4) == 0 ? 0700 : 0755) == 0;
        folders.push_back(path);
        break;
      case 2:
        ok = symlink(pick(2) == 0 ? "../nowhere" : "/etc/hostname", path.c_str()) == 0;
        break;
      case 3:
        ok = mkfifo(path.c_str(), 0640) == 0;
        break;
      default: {
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0) return false;
        std::string bytes;
        off_t at = 0;
        off_t size = 0;
        switch (pick(4)) {
          case 0:  // empty
            break;
          case 1:  // small
            bytes.resize(static_cast<size_t>(1 + pick(5000)));
            break;
          case 2:  // sparse: data after a hole, and a hole at the end
            bytes.resize(4096);
            at = (1 + pick(4)) << 20;
            size = at + (2 << 20);
            break;
          default:  // multi-MiB
            bytes.resize(static_cast<size_t>((1 << 20) + pick(2 << 20)));
            break;
        }
        for (size_t offset = 0; offset < bytes.size(); offset += 4) {
          const uint32_t word = random();
          memcpy(bytes.data() + offset, &word, std::min<size_t>(4, bytes.size() - offset));
        }
        ok = pwrite(fd, bytes.data(), bytes.size(), at) == static_cast<ssize_t>(bytes.size()) &&
             (size == 0 || ftruncate(fd, size) == 0);
        if (pick(2) == 0) ok = ok && fsetxattr(fd, "user.tag", name.data(), name.size(), 0) == 0;
        ok = ok && fchmod(fd, pick(3) == 0 ? 0600 : pick(2) == 0 ? 0444 : 0755) == 0;
        ok = ok && futimens(fd, past) == 0;
        close(fd);
        break;
      }
    }
    if (ok && pick(3) != 0) ok = utimensat(AT_FDCWD, path.c_str(), past, AT_SYMLINK_NOFOLLOW) == 0;
  }
  if (ok) ok = setxattr(top.c_str(), "user.top", "1", 1, 0) == 0;
  // Folders last and deepest first, as filling a folder sets its times.
  for (auto it = folders.rbegin(); ok && it != folders.rend(); ++it) {
    ok = utimensat(AT_FDCWD, it->c_str(), past, 0) == 0;
  }
  std::string chain = deep;
  while (ok && chain != top) {
    ok = utimensat(AT_FDCWD, chain.c_str(), past, 0) == 0;
    chain.resize(chain.rfind('/'));
  }
  return ok && utimensat(AT_FDCWD, top.c_str(), past, 0) == 0;
}

/// A small tree at `top`: a file, a folder with a file and a link, an empty folder. False when any
/// of it could not be made.
inline bool MakeSmallTree(const std::string& top) {
  const auto file = [](const std::string& path, const char* text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    const bool ok = fd >= 0 && write(fd, text, strlen(text)) >= 0;
    return fd >= 0 && close(fd) == 0 && ok;
  };
  return mkdir(top.c_str(), 0755) == 0 && file(top + "/one", "one") &&
         mkdir((top + "/sub").c_str(), 0755) == 0 && file(top + "/sub/two", "two") &&
         symlink("two", (top + "/sub/link").c_str()) == 0 &&
         mkdir((top + "/empty").c_str(), 0755) == 0;
}

}  // namespace zuv::platform::testing
