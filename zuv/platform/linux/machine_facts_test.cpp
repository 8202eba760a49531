// The contract of the machine facts, run against the machine's own facts on real mounts and against
// the fake describing the same kind of world, so that what tests learn from the fake holds on the
// machine.
#include "zuv/platform/machine_facts.h"

#include <filesystem>
#include <map>
#include <string>
#include <sys/sysmacros.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scratch.h"

namespace {

using zuv::platform::BlockDevice;
using zuv::platform::MachineFacts;
using zuv::platform::MountEntry;
using namespace zuv::platform::testing;

constexpr uint64_t kTmpfsBytes = 4 << 20;

// A tmpfs, and an ext4 image mounted through a loop device.
class MachineFactsContract : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (GetParam()) {
      if (!IsRoot()) GTEST_SKIP() << "mounting volumes needs root";
      tmpfs = scratch.MountTmpfs("tmpfs");
      disk = scratch.MountDiskImage("disk", "ext4", false);
      if (tmpfs.empty() || disk.empty()) GTEST_SKIP() << "mke2fs or mount failed";
      tmpfsDevice = DeviceOf(tmpfs);
      diskDevice = DeviceOf(disk);
      loop = std::filesystem::read_symlink("/sys/dev/block/" + std::to_string(major(diskDevice)) +
                                           ":" + std::to_string(minor(diskDevice)))
                 .filename();
      facts = &zuv::platform::Replaceable<MachineFacts>::Real();
      return;
    }
    const std::string entry = "/sys/devices/virtual/block/loop42";
    fake.mounts = {{tmpfsDevice, "/", tmpfs, "tmpfs", "tmpfs", false},
                   {diskDevice, "/", disk, "ext4", "/dev/loop42", false}};
    fake.blockDevices[loop] = {entry, false, false, false};
    fake.blockDeviceNumbers[diskDevice] = loop;
    fake.subsystems[entry] = "block";
    fake.freeBytes = kTmpfsBytes;
    facts = &fake;
  }

  ScratchFolder scratch;
  FakeMachineFacts fake;
  std::string tmpfs = "/media/fake-tmpfs";
  uint64_t tmpfsDevice = makedev(0, 77);
  std::string disk = "/media/fake-disk";
  uint64_t diskDevice = makedev(7, 42);
  std::string loop = "loop42";  // kernel name of the disk's loop device
  MachineFacts* facts = nullptr;
};

TEST_P(MachineFactsContract, MountsBlockDevicesAndFreeSpaceAreRead) {
  std::vector<MountEntry> mounts;
  ASSERT_TRUE(facts->ReadMounts(&mounts));
  std::map<std::string, MountEntry> byPoint;
  for (const MountEntry& mount : mounts) byPoint[mount.mountPoint] = mount;
  EXPECT_EQ(byPoint[tmpfs].device, tmpfsDevice);
  EXPECT_EQ(byPoint[tmpfs].fsType + byPoint[tmpfs].root + (byPoint[tmpfs].readOnly ? "ro" : ""),
            "tmpfs/");
  EXPECT_EQ(byPoint[disk].device, diskDevice);
  EXPECT_EQ(byPoint[disk].source, "/dev/" + loop);
  // A mount's block device is found by its device number wherever it is mounted and whatever its
  // source says; only an anonymous device number falls back on the source's device node.
  const uint64_t anonymous = makedev(0, 4093);
  const std::pair<MountEntry, std::string> cases[] = {
      {{diskDevice, "/sub", "/elsewhere", "ext4", "none"}, loop},
      {{anonymous, "/", "/x", "btrfs", "/dev/" + loop}, loop},
      {{tmpfsDevice, "/", tmpfs, "tmpfs", "tmpfs"}, ""},
      {{anonymous, "/", "/x", "fuse", "/dev/null"}, ""}};  // a character device
  for (const auto& [mount, device] : cases) {
    EXPECT_EQ(facts->BlockDeviceOf(mount), device) << mount.source;
  }
  BlockDevice device;
  ASSERT_TRUE(facts->ReadBlockDevice(loop, &device));
  EXPECT_TRUE(device.entry.starts_with("/sys/devices/") && device.entry.ends_with("/" + loop))
      << device.entry;
  EXPECT_FALSE(device.optical || device.removable || device.readOnly);
  EXPECT_EQ(facts->DeviceSubsystem(device.entry), "block");
  EXPECT_EQ(facts->DeviceSubsystem("/sys/devices/no-such-device"), "");
  for (const std::string& name : {std::string(), std::string("no-such"), "../" + loop}) {
    EXPECT_FALSE(facts->ReadBlockDevice(name, &device)) << name;
  }
  uint64_t bytes = 0;
  EXPECT_TRUE(facts->ReadFreeBytes(tmpfs, &bytes) && bytes > 0 && bytes <= kTmpfsBytes) << bytes;
  EXPECT_EQ(facts->SystemVersion(), 0x1068u);
}

INSTANTIATE_TEST_SUITE_P(Platform, MachineFactsContract, ::testing::Values(true, false),
                         [](const auto& param) { return param.param ? "Machine" : "Fake"; });

}  // namespace
