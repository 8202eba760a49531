#include "zuv/platform/machine_facts.h"

#include <fstream>
#include <libmount/libmount.h>
#include <memory>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/linux/real_path.h"

namespace zuv::platform {
namespace {

using detail::RealPath;
using paths_internal::FolderOf;
using paths_internal::LastComponent;

constexpr uint32_t kLinuxSystemVersion = 0x1068;

// The first line of a small sysfs attribute file; empty when it cannot be read.
std::string ReadAttribute(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

bool HasOption(const char* options, const char* name) {
  char* value = nullptr;
  size_t size = 0;
  return options != nullptr && mnt_optstr_get_option(options, name, &value, &size) == 0;
}

// The machine's own facts: the mount table by libmount from /proc/self/mountinfo, devices from
// sysfs, free space by statvfs.
class LinuxMachineFacts final : public MachineFacts {
 public:
  bool ReadMounts(std::vector<MountEntry>* mounts) override {
    const std::unique_ptr<libmnt_table, decltype(&mnt_unref_table)> table(
        mnt_new_table_from_file("/proc/self/mountinfo"), &mnt_unref_table);
    const std::unique_ptr<libmnt_iter, decltype(&mnt_free_iter)> iter(
        mnt_new_iter(MNT_ITER_FORWARD), &mnt_free_iter);
    if (!table || !iter) return false;
    mounts->clear();
    libmnt_fs* fs = nullptr;
    while (mnt_table_next_fs(table.get(), iter.get(), &fs) == 0) {
      auto text = [](const char* value) { return value != nullptr ? value : ""; };
      mounts->push_back(MountEntry{mnt_fs_get_devno(fs), text(mnt_fs_get_root(fs)),
                                   text(mnt_fs_get_target(fs)), text(mnt_fs_get_fstype(fs)),
                                   text(mnt_fs_get_source(fs)),
                                   HasOption(mnt_fs_get_vfs_options(fs), "ro") ||
                                       HasOption(mnt_fs_get_fs_options(fs), "ro")});
    }
    return true;
  }

  // By the device number the mount table gives, else (btrfs and other file systems with
  // anonymous device numbers) by the device node it is mounted from.
  std::string BlockDeviceOf(const MountEntry& mount) override {
    if (major(mount.device) != 0) {
      const std::string path = RealPath("/sys/dev/block/" + std::to_string(major(mount.device)) +
                                        ":" + std::to_string(minor(mount.device)));
      if (!path.empty()) return std::string(LastComponent(path));
    }
    if (mount.source.rfind("/dev/", 0) != 0) return "";
    const std::string node = RealPath(mount.source);
    struct stat st;
    if (node.empty() || stat(node.c_str(), &st) != 0 || !S_ISBLK(st.st_mode)) return "";
    return std::string(LastComponent(node));
  }

  // A partition's removable and optical facts are those of its disk, the folder above it.
  bool ReadBlockDevice(const std::string& name, BlockDevice* device) override {
    if (name.empty() || name.find('/') != std::string::npos) return false;
    const std::string entry = RealPath("/sys/class/block/" + name);
    if (entry.empty()) return false;
    const bool isPartition = access((entry + "/partition").c_str(), F_OK) == 0;
    const std::string disk = isPartition ? std::string(FolderOf(entry)) : entry;
    device->entry = entry;
    device->optical = ReadAttribute(disk + "/device/type") == "5";
    device->removable = ReadAttribute(disk + "/removable") == "1";
    device->readOnly = ReadAttribute(entry + "/ro") == "1";
    return true;
  }

  std::string DeviceSubsystem(const std::string& entry) override {
    const std::string subsystem = RealPath(entry + "/subsystem");
    return std::string(LastComponent(subsystem));
  }

  bool ReadFreeBytes(const std::string& path, uint64_t* bytes) override {
    struct statvfs vfs;
    if (statvfs(path.c_str(), &vfs) != 0) return false;
    *bytes = uint64_t{vfs.f_bavail} * vfs.f_frsize;
    return true;
  }

  uint32_t SystemVersion() override { return kLinuxSystemVersion; }
};

}  // namespace

template <>
MachineFacts& Replaceable<MachineFacts>::Real() {
  static LinuxMachineFacts real;
  return real;
}

}  // namespace zuv::platform
