// Real file systems for tests: a scratch folder that undoes its mounts (tmpfs, disc and disk
// images) and locks when it goes, trees deeper than any path, and checks run in a child process
// that has dropped to an unprivileged user or may open only a few files. Header-only; tests alone.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <pwd.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zuv::platform::testing {

inline bool IsRoot() { return geteuid() == 0; }

/// Runs a shell command with its output discarded; true when it succeeds.
inline bool RunCommand(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

/// True when `tool` is found on PATH.
inline bool HaveTool(const std::string& tool) { return RunCommand("command -v " + tool); }

/// True when the kernel can mount a file system of that type now.
inline bool KernelHasFileSystem(const std::string& type) {
  return RunCommand("grep -qx '.*\t" + type + "' /proc/filesystems");
}

/// The device id (st_dev) of an item, not following a last symbolic link; 0 when it is not there.
inline uint64_t DeviceOf(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0 ? st.st_dev : 0;
}

/// Replaces the file with one holding `contents`.
inline void WriteFile(const std::string& path, const std::string& contents = "") {
  std::ofstream(path, std::ios::binary) << contents;
}

/// The ids of the unprivileged user "nobody" and the group "nogroup" (or "nobody").
struct Nobody {
  uid_t uid = 65534;
  gid_t gid = 65534;
};
inline Nobody FindNobody() {
  const passwd* user = getpwnam("nobody");
  const group* entry = getgrnam("nogroup");
  if (entry == nullptr) entry = getgrnam("nobody");
  return {user ? user->pw_uid : 65534, entry ? entry->gr_gid : 65534};
}

/// Starts `check` in a child process, which inherits this process's memory (caches included) and
/// exits with what `check` returns; -1 when it could not be started.
inline pid_t StartChild(const std::function<int()>& check) {
  const pid_t child = fork();
  if (child == 0) _exit(check());
  return child;
}

/// Runs `check` in a child process and answers what it exited with; -1 when it did not start or
/// exit normally. RunAsNobody: the child runs as nobody with nogroup as its only group (126 when it
/// could not drop to nobody).
inline int RunInChild(const std::function<int()>& check) {
  const pid_t child = StartChild(check);
  int status = 0;
  const bool exited = child >= 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
  return exited ? WEXITSTATUS(status) : -1;
}
inline int RunAsNobody(const std::function<int()>& check) {
  return RunInChild([&] {
    const auto [uid, gid] = FindNobody();
    const bool dropped =
        setgroups(1, &gid) == 0 && setresgid(gid, gid, gid) == 0 && setresuid(uid, uid, uid) == 0;
    return dropped ? check() : 126;
  });
}

/// Runs `check` in a child process that may have at most `limit` open files.
inline int RunWithOpenFileLimit(rlim_t limit, const std::function<int()>& check) {
  return RunInChild([&] {
    const rlimit lowered = {limit, limit};
    return setrlimit(RLIMIT_NOFILE, &lowered) == 0 ? check() : 126;
  });
}

/// Makes `depth` folders "d", each inside the one before, in the existing folder `top`, without
/// ever naming one by a path that long (a child process walks down). Each holds a file "f"; the
/// deepest also holds a symbolic link "out" to `outside`. False when any of it could not be made.
inline bool MakeDeepTree(const std::string& top, int depth, const std::string& outside) {
  return RunInChild([&] {
           bool made = chdir(top.c_str()) == 0;
           for (int level = 0; made && level < depth; ++level) {
             made = mkdir("d", 0755) == 0 && chdir("d") == 0 && close(creat("f", 0644)) == 0;
           }
           return made && symlink(outside.c_str(), "out") == 0 ? 0 : 1;
         }) == 0;
}

/// A new folder under /tmp that every user may reach. At the end, whatever was mounted or locked
/// through it is undone and it is removed.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = "/tmp/zuv-test-XXXXXX";
    if (mkdtemp(name.data()) != nullptr) {
      m_path = name;
      chmod(m_path.c_str(), 0755);
    }
  }
  ~ScratchFolder() {
    for (const std::string& path : m_locked) RunCommand("chattr -i '" + path + "'");
    for (auto it = m_mounts.rbegin(); it != m_mounts.rend(); ++it) umount2(it->c_str(), MNT_DETACH);
    std::error_code ignored;
    if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& Path() const { return m_path; }
  /// The path of `name` inside the folder.
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

  /// Mounts a tmpfs of that size on a new folder `name`, read-only when asked. Its path, or empty
  /// when the mount failed (not root).
  std::string MountTmpfs(const std::string& name, const std::string& size = "4m",
                         bool readOnly = false) {
    return Mount(name, [&](const std::string& point) {
      return mount("tmpfs", point.c_str(), "tmpfs", readOnly ? MS_RDONLY : 0,
                   ("size=" + size).c_str()) == 0;
    });
  }

  /// Remounts the file system mounted at `point` read-only. False when the system refused.
  static bool RemountReadOnly(const std::string& point) {
    return mount(nullptr, point.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

  /// Each mounts an image made in the folder on a new folder `name`, and answers its path, or empty
  /// when a tool or the mount failed. MountIso: an ISO 9660 image of the folder `content`,
  /// read-only through a loop device where the kernel reads ISO 9660, else through FUSE (fuseiso
  /// without its mount list in $HOME, whose upkeep never ends after an unmount). MountDiskImage:
  /// an empty 1 MiB ext2, ext3 or ext4 image. MountXfsImage: an empty 512 MiB sparse XFS image
  /// whose files can share extents (reflink).
  std::string MountIso(const std::string& content, const std::string& name) {
    return MountImage(name, "xorriso -as mkisofs -quiet -o IMAGE '" + (*this / content) + "'",
                      KernelHasFileSystem("iso9660") ? "mount -o loop,ro" : "fuseiso -n");
  }
  std::string MountDiskImage(const std::string& name, const std::string& fsType, bool readOnly) {
    return MountImage(name, "mke2fs -q -F -t " + fsType + " IMAGE 1M",
                      readOnly ? "mount -o loop,ro" : "mount -o loop");
  }
  std::string MountXfsImage(const std::string& name) {
    return MountImage(name, "truncate -s 512M IMAGE && mkfs.xfs -q -m reflink=1 IMAGE",
                      "mount -o loop");
  }

  /// Mounts the folder `from` (made when missing) on a new folder `name` through bindfs, a FUSE
  /// file system that, as NFS does, refuses to be asked not to replace in a rename. Its path, or
  /// empty when bindfs or FUSE is missing.
  std::string MountBindfs(const std::string& from, const std::string& name) {
    std::filesystem::create_directories(*this / from);
    return Mount(name, [&](const std::string& point) {
      return RunCommand("bindfs '" + (*this / from) + "' '" + point + "'");
    });
  }

  /// Locks an item with chattr +i, to be unlocked at the end. False when chattr refuses.
  bool Lock(const std::string& path) {
    if (!RunCommand("chattr +i '" + path + "'")) return false;
    m_locked.push_back(path);
    return true;
  }

 private:
  // Makes the folder `name`, and remembers it as a mount point when `attach` mounts on it.
  std::string Mount(const std::string& name,
                    const std::function<bool(const std::string&)>& attach) {
    const std::string point = *this / name;
    std::filesystem::create_directories(point);
    if (!attach(point)) return "";
    m_mounts.push_back(point);
    return point;
  }
  // Runs `make` with IMAGE standing for the image's path, then `mount` IMAGE POINT.
  std::string MountImage(const std::string& name, std::string make, const std::string& mount) {
    const std::string image = "'" + (*this / (name + ".img")) + "'";
    for (size_t at; (at = make.find("IMAGE")) != std::string::npos;) make.replace(at, 5, image);
    if (!RunCommand(make)) return "";
    return Mount(name, [&](const std::string& point) {
      return RunCommand(mount + " " + image + " '" + point + "'");
    });
  }

  std::string m_path;
  std::vector<std::string> m_mounts;
  std::vector<std::string> m_locked;
};

}  // namespace zuv::platform::testing
