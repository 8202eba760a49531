// The contract of the machine facts, run against the machine's own facts on real mounts and against
// the fake describing the same kind of world, so that what tests learn from the fake holds on the
// machine.
#include "zuv/platform/machine_facts.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scratch.h"

namespace {

using zuv::platform::BlockDevice;
using zuv::platform::MachineFacts;
using zuv::platform::MountEntry;
using zuv::platform::testing::DeviceOf;
using zuv::platform::testing::FakeMachineFacts;
using zuv::platform::testing::ScratchFolder;

constexpr uint64_t kTmpfsBytes = 4 << 20;

// A tmpfs, and an ext4 image mounted through a loop device.
struct World {
  std::string tmpfs;
  uint64_t tmpfsDevice = 0;
  std::string disk;
  uint64_t diskDevice = 0;
  std::string loop;  // kernel name of the disk's loop device
};

// The block device node under /dev whose device number is `device`, by its kernel name.
std::string BlockDeviceNamed(uint64_t device) {
  for (const auto& node : std::filesystem::directory_iterator("/dev")) {
    struct stat st;
    if (stat(node.path().c_str(), &st) == 0 && S_ISBLK(st.st_mode) && st.st_rdev == device) {
      return node.path().filename();
    }
  }
  return "";
}

class MachineFactsContract : public ::testing::TestWithParam<bool> {
 protected:
  bool Real() const { return GetParam(); }

  void SetUp() override {
    if (Real()) {
      if (!zuv::platform::testing::IsRoot()) GTEST_SKIP() << "mounting volumes needs root";
      world.tmpfs = scratch.MountTmpfs("tmpfs");
      world.disk = scratch.MountDiskImage("disk", "ext4", false);
      if (world.tmpfs.empty() || world.disk.empty()) GTEST_SKIP() << "mke2fs or mount failed";
      world.tmpfsDevice = DeviceOf(world.tmpfs);
      world.diskDevice = DeviceOf(world.disk);
      world.loop = BlockDeviceNamed(world.diskDevice);
      facts = &zuv::platform::Replaceable<MachineFacts>::Real();
      return;
    }
    world = {"/media/fake-tmpfs", makedev(0, 77), "/media/fake-disk", makedev(7, 42), "loop42"};
    const std::string entry = "/sys/devices/virtual/block/loop42";
    fake.mounts = {
        {world.tmpfsDevice, "/", world.tmpfs, "tmpfs", "tmpfs", false},
        {world.diskDevice, "/", world.disk, "ext4", "/dev/loop42", false},
    };
    fake.blockDevices["loop42"] = {entry, false, false, false};
    fake.blockDeviceNumbers[world.diskDevice] = "loop42";
    fake.subsystems[entry] = "block";
    fake.freeBytes = kTmpfsBytes;
    facts = &fake;
  }

  ScratchFolder scratch;
  FakeMachineFacts fake;
  World world;
  MachineFacts* facts = nullptr;
};

TEST_P(MachineFactsContract, MountsAreListedWithTheirDeviceNumbers) {
  ASSERT_FALSE(world.loop.empty());
  std::vector<MountEntry> mounts;
  ASSERT_TRUE(facts->ReadMounts(&mounts));
  const auto find = [&](const std::string& point) {
    const auto found = std::find_if(mounts.begin(), mounts.end(),
                                    [&](const MountEntry& m) { return m.mountPoint == point; });
    return found != mounts.end() ? *found : MountEntry{};
  };
  const MountEntry tmpfs = find(world.tmpfs);
  EXPECT_EQ(tmpfs.device, world.tmpfsDevice);
  EXPECT_EQ(tmpfs.fsType, "tmpfs");
  EXPECT_EQ(tmpfs.root, "/");
  EXPECT_FALSE(tmpfs.readOnly);
  const MountEntry disk = find(world.disk);
  EXPECT_EQ(disk.device, world.diskDevice);
  EXPECT_EQ(disk.fsType, "ext4");
  EXPECT_EQ(disk.source, "/dev/" + world.loop);
}

// A mount's block device is found by its device number wherever it is mounted and whatever its
// source says; only an anonymous device number falls back on the source's device node.
TEST_P(MachineFactsContract, BlockDeviceOfAMountGoesByDeviceNumberFirst) {
  ASSERT_FALSE(world.loop.empty());
  const uint64_t anonymous = makedev(0, 4093);
  const struct {
    const char* what;
    MountEntry mount;
    std::string device;
  } cases[] = {
      {"the disk", {world.diskDevice, "/", world.disk, "ext4", "/dev/" + world.loop}, world.loop},
      {"its number elsewhere",
       {world.diskDevice, "/sub", "/elsewhere", "ext4", "none"},
       world.loop},
      {"anonymous, by its source",
       {anonymous, "/", "/x", "btrfs", "/dev/" + world.loop},
       world.loop},
      {"the tmpfs", {world.tmpfsDevice, "/", world.tmpfs, "tmpfs", "tmpfs"}, ""},
      {"a character device", {anonymous, "/", "/x", "fuse", "/dev/null"}, ""},
      {"a network share", {anonymous, "/", "/x", "nfs4", "server:/export"}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(facts->BlockDeviceOf(c.mount), c.device);
  }
}

TEST_P(MachineFactsContract, BlockDevicesAndTheirSubsystemAreReadByName) {
  ASSERT_FALSE(world.loop.empty());
  BlockDevice device;
  ASSERT_TRUE(facts->ReadBlockDevice(world.loop, &device));
  EXPECT_EQ(device.entry.rfind("/sys/devices/", 0), 0u) << device.entry;
  EXPECT_EQ(device.entry.substr(device.entry.rfind('/') + 1), world.loop);
  EXPECT_FALSE(device.optical);
  EXPECT_FALSE(device.removable);
  EXPECT_FALSE(device.readOnly);
  EXPECT_EQ(facts->DeviceSubsystem(device.entry), "block");
  EXPECT_EQ(facts->DeviceSubsystem("/sys/devices/no-such-device"), "");
  for (const std::string& name : {std::string(), std::string("no-such"), "../" + world.loop}) {
    EXPECT_FALSE(facts->ReadBlockDevice(name, &device)) << name;
  }
}

TEST_P(MachineFactsContract, FreeSpaceAndSystemVersion) {
  uint64_t bytes = 0;
  ASSERT_TRUE(facts->ReadFreeBytes(world.tmpfs, &bytes));
  EXPECT_GT(bytes, 0u);
  EXPECT_LE(bytes, kTmpfsBytes);
  EXPECT_EQ(facts->SystemVersion(), 0x1068u);
}

INSTANTIATE_TEST_SUITE_P(Platform, MachineFactsContract, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& param) {
                           return param.param ? "Machine" : "Fake";
                         });

}  // namespace
