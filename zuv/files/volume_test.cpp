#include "zuv/files/volume.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/files/file_handle.h"
#include "zuv/files/internal/process_caches.h"
#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scoped_replacement.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/volume_info.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::MachineFacts;
using zuv::platform::MountEntry;
using namespace zuv::platform::testing;
using namespace zuv::testing;
using Mount = std::function<std::string(const std::string& name)>;

// Each test classifies its volumes afresh: the device ids of unmounted file systems are handed out
// again, and a drive type remembered for one would answer for the next.
class VolumeTest : public ::testing::Test {
 protected:
  void SetUp() override { zuv::files_internal::ForgetDriveTypes(); }
  void TearDown() override { zuv::files_internal::ForgetDriveTypes(); }

  ScratchFolder scratch;
};

// A read-only mount of a fixed disk is still fixed; only the volume flags say that it is locked.
TEST_F(VolumeTest, RealMountsAreClassifiedByTheirMedium) {
  if (!IsRoot()) GTEST_SKIP() << "mounting volumes needs root";
  if (!HaveTool("xorriso") || !(KernelHasFileSystem("iso9660") || HaveTool("fuseiso"))) {
    GTEST_SKIP() << "making and mounting a disc image needs xorriso, and iso9660 or fuseiso";
  }
  std::filesystem::create_directory(scratch / "disc");
  WriteFile(scratch / "disc/photo.jpg", "0123456789");
  const uint16_t kSoftware = zuv::platform::kVolumeSoftwareLocked;
  const uint16_t kHardware = zuv::platform::kVolumeHardwareLocked;
  struct Case {
    const char* what;
    Mount mount;
    uint32_t driveType;
    std::optional<uint16_t> flags;  // unset: whatever the image mount gives
    const char* item;               // on the volume; "": its root
    bool writable;                  // by the permission bits alone
  };
  const Case cases[] = {
      {"tmpfs", [&](auto name) { return scratch.MountTmpfs(name); }, kZuvDriveFixed, 0,
       "/photo.jpg", true},
      {"read-only tmpfs", [&](auto name) { return scratch.MountTmpfs(name, "1m", true); },
       kZuvDriveFixed, kSoftware, "", true},
      {"read-only disk", [&](auto name) { return scratch.MountDiskImage(name, "ext2", true); },
       kZuvDriveFixed, kSoftware | kHardware, "", true},
      {"disc image", [&](auto name) { return scratch.MountIso("disc", name); }, kZuvDriveOptical,
       std::nullopt, "/photo.jpg", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string point = c.mount("volume" + std::to_string(&c - cases));
    ASSERT_FALSE(point.empty());
    const bool optical = c.driveType == kZuvDriveOptical;
    if (c.flags == 0) WriteFile(point + c.item, "0123456789");
    const CZuvFileHandle item = PathOf(point + c.item);
    ASSERT_TRUE(item.IsExist());
    EXPECT_EQ(item.GetDriveType(), c.driveType);
    EXPECT_EQ(ZuvIsDeletable(item), !optical);
    EXPECT_EQ(ZuvIsWritable(item), c.writable);
    EXPECT_EQ(item.GetFileSize(), *c.item ? 10u : 0u);
    zuv::platform::VolumeInfo info;
    ASSERT_EQ(zuv::platform::GetVolumeInfo(CatalogOf(point, kFSCatInfoVolume).volume, &info),
              zuv::platform::kNoErr);
    EXPECT_EQ(info.root.path, point);
    if (c.flags) {
      EXPECT_EQ(info.flags, *c.flags);
    }
    FSRef root = RefOf(point);
    EXPECT_EQ(IsOpticalDisk(&root), optical);
    EXPECT_FALSE(IsNetworkCheck(root));
    EXPECT_FALSE(IsEjectable(root));
  }
  EXPECT_FALSE(IsOpticalDisk(nullptr));
}

// Media that this machine does not have, described by fake facts about the scratch folder's volume.
TEST_F(VolumeTest, DeviceFactsDecideTheDriveType) {
  const std::string usb = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-2";
  const std::string usbDisk = usb + "/1-2:1.0/host6/target6:0:0/6:0:0:0/block/sdc/sdc1";
  const std::string mmc = "/sys/devices/platform/sdhci/mmc_host/mmc0/mmc0:0001";
  const std::string mmcDisk = mmc + "/block/mmcblk0/mmcblk0p1";
  const std::string card = "/sys/devices/pci0000:00/0000:00:1e.0/0000:15:00.0/pcmcia_socket0";
  const std::string cardDisk = card + "/disk/block/hda/hda1";
  const std::string sata = "/sys/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0";
  enum : int { kOptical = 1, kRemovable = 2, kReadOnly = 4, kMountedReadOnly = 8 };
  struct Case {
    const char* what;
    std::string fsType;
    std::string entry;  // the block device's entry; none when empty
    int flags;
    uint32_t systemVersion;
    uint32_t driveType;
  };
  const Case cases[] = {
      {"nfs", "nfs4", "", 0, 0x1068, kZuvDriveNetwork},
      {"removable", "ext4", sata + "/block/sdb/sdb1", kRemovable, 0x1068, kZuvDriveRemovable},
      {"locked card", "vfat", mmcDisk, kRemovable | kReadOnly, 0x1068, kZuvDriveRemovableLocked},
      {"usb stick", "vfat", usbDisk, 0, 0x1068, kZuvDriveRemovable},
      {"usb stick mounted ro", "vfat", usbDisk, kMountedReadOnly, 0x1068, kZuvDriveRemovableLocked},
      {"sd card", "exfat", mmcDisk, 0, 0x1068, kZuvDriveRemovable},
      {"pc card", "ext2", cardDisk, 0, 0x1068, kZuvDriveRemovable},
      {"internal disk", "ext4", sata + "/block/sda/sda1", kMountedReadOnly, 0x1068, kZuvDriveFixed},
      {"usb stick on 10.3", "vfat", usbDisk, 0, 0x1039, kZuvDriveFixed},
      {"cd drive", "ext2", sata + "/block/sr0", kOptical | kRemovable | kReadOnly, 0x1068,
       kZuvDriveOptical},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    zuv::files_internal::ForgetDriveTypes();
    const std::string& point = scratch.Path();
    FakeMachineFacts facts;
    facts.mounts = {MountEntry{DeviceOf(point), "/", point, c.fsType, "/dev/x",
                               (c.flags & kMountedReadOnly) != 0}};
    if (!c.entry.empty()) {
      facts.blockDevices["x"] = {c.entry, (c.flags & kOptical) != 0, (c.flags & kRemovable) != 0,
                                 (c.flags & kReadOnly) != 0};
    }
    facts.subsystems = {
        {usb, "usb"}, {mmc, "mmc"}, {card, "pcmcia_socket"}, {sata + "/block/sda", "block"}};
    facts.systemVersion = c.systemVersion;
    const ScopedReplacement<MachineFacts> scope(&facts);
    const CZuvFileHandle handle = PathOf(point);
    EXPECT_EQ(handle.GetDriveType(), c.driveType);
    EXPECT_EQ(ZuvIsDeletable(handle),
              c.driveType != kZuvDriveOptical && c.driveType != kZuvDriveRemovableLocked);
  }
}

TEST_F(VolumeTest, SecondHandleOnAVolumeReadsNoDeviceOrMountFacts) {
  const std::string& point = scratch.Path();
  WriteFile(point + "/a.jpg");
  WriteFile(point + "/b.jpg");
  {
    CountingMachineFacts first;
    const ScopedReplacement<MachineFacts> scope(&first);
    EXPECT_EQ(CZuvFileHandle(PathOf(point + "/a.jpg")).GetDriveType(), kZuvDriveFixed);
    EXPECT_GT(first.MountReads(), 0);
  }
  CountingMachineFacts second;
  const ScopedReplacement<MachineFacts> scope(&second);
  EXPECT_TRUE(ZuvIsDeletable(PathOf(point + "/b.jpg")));
  EXPECT_EQ(CZuvFileHandle(PathOf(point + "/b.jpg")).GetDriveType(), kZuvDriveFixed);
  EXPECT_EQ(CZuvFileHandle(PathOf(point + "/missing")).GetDriveType(), kZuvDriveFixed);
  EXPECT_EQ(second.MountReads(), 0);
  EXPECT_EQ(second.DeviceReads(), 0);
}

TEST_F(VolumeTest, HandlesOnOneVolumeMayBeClassifiedFromSeveralThreads) {
  const std::string& point = scratch.Path();
  std::atomic<int> fixed{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      const std::string path = point + "/" + std::to_string(i);
      WriteFile(path);
      if (CZuvFileHandle(PathOf(path)).GetDriveType() == kZuvDriveFixed) ++fixed;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(fixed, 4);
}

TEST_F(VolumeTest, DiskIsFullBelow100MiBFree) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  const std::string point = scratch.MountTmpfs("volume", "101m");
  ASSERT_FALSE(point.empty());
  const CZuvFilePath volume = PathOf(point);
  EXPECT_FALSE(ZuvIsDiskFull(volume));
  WriteFile(point + "/fill", std::string((1 << 20) - 4096, 'x'));  // 100 MiB and a page left
  EXPECT_FALSE(ZuvIsDiskFull(volume));
  WriteFile(point + "/page", std::string(4096, 'x'));  // exactly 100 MiB left
  EXPECT_FALSE(ZuvIsDiskFull(volume));
  WriteFile(point + "/byte", "x");  // takes one more page
  EXPECT_TRUE(ZuvIsDiskFull(volume));
  EXPECT_FALSE(ZuvIsDiskFull(PathOf("/no/such/item")));

  FakeMachineFacts facts;
  const ScopedReplacement<MachineFacts> scope(&facts);
  EXPECT_FALSE(ZuvIsDiskFull(volume)) << "free space unknown";
  facts.freeBytes = 104857600;
  EXPECT_FALSE(ZuvIsDiskFull(volume));
  facts.freeBytes = 104857599;
  EXPECT_TRUE(ZuvIsDiskFull(volume));
}

TEST(VolumeSeamTest, CardWalkClimbsTheDeviceTree) {
  FakeMachineFacts facts;
  facts.subsystems = {{"/sys/devices/pci0/usb1", "usb"}};
  facts.blockDevices["sdz"].entry = "/sys/devices/pci0/usb1/1-1/host0/block/sdz";
  facts.blockDevices["sda"].entry = "/sys/devices/pci0/ata1/host0/block/sda";
  const ScopedReplacement<MachineFacts> scope(&facts);
  char usbDisk[] = "sdz";
  char ataDisk[] = "sda";
  char unknown[] = "sdq";
  EXPECT_TRUE(VolumeIsOnPCCardByBSDName(usbDisk));
  EXPECT_FALSE(VolumeIsOnPCCardByBSDName(ataDisk));
  EXPECT_FALSE(VolumeIsOnPCCardByBSDName(unknown));
  EXPECT_FALSE(FindVolumeOnPCCard("/sys/devices"));
  EXPECT_FALSE(VolumeIsOnPCCard(-1));  // never handed out
}

}  // namespace

// The volumes of a medium class, from fake mounts: the scratch folder stands for a USB stick.
TEST_F(VolumeTest, VolumePathsOfAMediumClass) {
  const std::string usb = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-2";
  const std::string usbHost = usb + "/1-2:1.0/host6/target6:0:0/6:0:0:0";
  const std::string sata = "/sys/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0";
  FakeMachineFacts facts;
  facts.mounts = {
      {1, "/", "/", "ext4", "/dev/sda1", false},
      {2, "/", scratch.Path(), "vfat", "/dev/sdc1", false},
      {3, "/", "/media/whole", "exfat", "/dev/sdd", false},
      {4, "/", "/media/disc", "iso9660", "/dev/sr0", true},
      {5, "/", "/tmp", "tmpfs", "tmpfs", false},
  };
  facts.blockDevices["sda1"].entry = sata + "/block/sda/sda1";
  facts.blockDevices["sdc1"].entry = usbHost + "/block/sdc/sdc1";
  facts.blockDevices["sdd"].entry = usbHost + "/block/sdd";
  facts.blockDevices["sr0"] = {sata + "/block/sr0", true, true, true};
  facts.subsystems = {{usb, "usb"}, {usbHost, "scsi"}, {sata, "scsi"}};
  const ScopedReplacement<MachineFacts> scope(&facts);

  using ZuvFileHandlePrivate::IOCopyVolumePaths;
  using Paths = std::vector<std::string>;
  EXPECT_EQ(IOCopyVolumePaths("IOUSBMassStorageClass"), (Paths{scratch.Path(), "/media/whole"}));
  EXPECT_EQ(IOCopyVolumePaths("IOCDMedia"), Paths{"/media/disc"});
  EXPECT_EQ(IOCopyVolumePaths("IOFireWireSBP2LUN"), Paths{});
  EXPECT_EQ(IOCopyVolumePaths(nullptr), Paths{});
  const FSRef stick = RefOf(scratch.Path());
  EXPECT_TRUE(ZuvFileHandlePrivate::FSIsIOClass(&stick, "IOUSBMassStorageClass"));
  EXPECT_FALSE(ZuvFileHandlePrivate::FSIsIOClass(&stick, "IOCDMedia"));
}
