#include "zuv/files/volume.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/files/file_handle.h"
#include "zuv/platform/catalog.h"
#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/platform/volume_info.h"

namespace {

using zuv::platform::BlockDevice;
using zuv::platform::MountEntry;
using zuv::platform::testing::CountingMachineFacts;
using zuv::platform::testing::FakeMachineFacts;
using zuv::platform::testing::ScopedMachineFacts;
using zuv::platform::testing::ScratchFolder;
using zuv::platform::testing::WriteFile;

CZuvFileHandle HandleOn(const std::string& path) {
  CZuvFileHandle handle;
  const CZuvStringData text{ZuvCharUtf8(path.c_str())};
  handle.Initialize(&text);
  return handle;
}

int16_t VolumeOf(const std::string& path) {
  FSRef ref;
  FSCatalogInfo info = {};
  zuv::platform::MakeRef(path, &ref);
  zuv::platform::GetCatalogInfo(ref, kFSCatInfoVolume, &info, nullptr);
  return info.volume;
}

// Mounts with `mount` until a volume comes up that has not been classified yet, and returns its
// path (empty when mounting failed). Device ids of unmounted file systems are handed out again,
// and the drive type cache would answer for them, so the earlier mounts stay until the scratch
// folder goes.
std::string FreshVolume(const std::function<std::string(const std::string&)>& mount) {
  static std::atomic<int> counter{0};
  for (int attempt = 0; attempt < 64; ++attempt) {
    const std::string point = mount("volume" + std::to_string(counter++));
    uint32_t type = 0;
    if (point.empty() || !ZuvLookUpDriveType(VolumeOf(point), &type)) return point;
  }
  return "";
}

std::string FreshTmpfs(ScratchFolder& scratch, const std::string& size = "4m",
                       bool readOnly = false) {
  return FreshVolume(
      [&](const std::string& name) { return scratch.MountTmpfs(name, size, readOnly); });
}

class VolumeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!zuv::platform::testing::IsRoot()) GTEST_SKIP() << "mounting volumes needs root";
  }
  ScratchFolder scratch;
};

TEST_F(VolumeTest, MountedDiscImageIsOptical) {
  if (!zuv::platform::testing::HaveTool("xorriso")) GTEST_SKIP() << "xorriso is not installed";
  if (!zuv::platform::testing::KernelHasFileSystem("iso9660") &&
      !zuv::platform::testing::HaveTool("fuseiso")) {
    GTEST_SKIP() << "this kernel cannot mount ISO 9660 images and fuseiso is not installed";
  }
  std::filesystem::create_directory(scratch / "disc");
  WriteFile(scratch / "disc/photo.jpg", 10);
  const std::string disc =
      FreshVolume([&](const std::string& name) { return scratch.MountIso("disc", name); });
  ASSERT_FALSE(disc.empty());

  const CZuvFileHandle onDisc = HandleOn(disc + "/photo.jpg");
  EXPECT_EQ(onDisc.GetDriveType(), kZuvDriveOptical);
  EXPECT_EQ(onDisc.GetAttribute() & (kZuvAttributeDeletable | kZuvAttributeWritable), 0u);
  EXPECT_EQ(onDisc.GetFileSize(), 10u);
  FSRef root;
  ASSERT_EQ(zuv::platform::MakeRef(disc, &root), zuv::platform::kNoErr);
  EXPECT_TRUE(IsOpticalDisk(&root));
}

// A read-only mount of a fixed disk is still fixed; only the volume flags say that it is locked.
TEST_F(VolumeTest, MountsOfFixedDisksAreFixedAndTellTheirLocks) {
  const std::string tmpfs = FreshTmpfs(scratch);
  const std::string readOnlyTmpfs = FreshTmpfs(scratch, "1m", true);
  const std::string readOnlyDisk =
      FreshVolume([&](const std::string& name) { return scratch.MountExt2(name, true); });
  ASSERT_FALSE(tmpfs.empty() || readOnlyTmpfs.empty() || readOnlyDisk.empty());
  WriteFile(tmpfs + "/photo.jpg");

  const CZuvFileHandle onTmpfs = HandleOn(tmpfs + "/photo.jpg");
  EXPECT_EQ(onTmpfs.GetDriveType(), kZuvDriveFixed);
  EXPECT_TRUE(onTmpfs.GetAttribute() & kZuvAttributeDeletable);
  EXPECT_TRUE(ZuvIsWritable(onTmpfs));
  FSRef root;
  ASSERT_EQ(zuv::platform::MakeRef(tmpfs, &root), zuv::platform::kNoErr);
  EXPECT_FALSE(IsOpticalDisk(&root));
  EXPECT_FALSE(IsNetworkCheck(root));
  EXPECT_FALSE(IsEjectable(root));
  EXPECT_FALSE(IsOpticalDisk(nullptr));

  const std::pair<std::string, uint16_t> locks[] = {
      {tmpfs, 0},
      {readOnlyTmpfs, zuv::platform::kVolumeSoftwareLocked},
      {readOnlyDisk, zuv::platform::kVolumeSoftwareLocked | zuv::platform::kVolumeHardwareLocked},
  };
  for (const auto& [point, flags] : locks) {
    SCOPED_TRACE(point);
    EXPECT_EQ(HandleOn(point).GetDriveType(), kZuvDriveFixed);
    zuv::platform::VolumeInfo info;
    ASSERT_EQ(zuv::platform::GetVolumeInfo(VolumeOf(point), &info), zuv::platform::kNoErr);
    EXPECT_EQ(info.root.path, point);
    EXPECT_EQ(info.flags, flags);
  }
}

// Media that this machine does not have, described by fake facts around a real, fresh volume.
TEST_F(VolumeTest, DeviceFactsDecideTheDriveType) {
  const std::string usb = "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-2";
  const std::string usbDisk = usb + "/1-2:1.0/host6/target6:0:0/6:0:0:0/block/sdc/sdc1";
  const std::string mmc = "/sys/devices/platform/sdhci/mmc_host/mmc0/mmc0:0001";
  const std::string card = "/sys/devices/pci0000:00/0000:00:1e.0/0000:15:00.0";
  const std::string sata = "/sys/devices/pci0000:00/0000:00:17.0/ata1/host0/target0:0:0/0:0:0:0";
  struct Case {
    const char* what;
    std::string fsType;
    std::string entry;  // the block device's entry; none when empty
    BlockDevice device;
    bool mountReadOnly;
    uint32_t systemVersion;
    uint32_t driveType;
  };
  const Case cases[] = {
      {"nfs", "nfs4", "", {}, false, 0x1068, kZuvDriveNetwork},
      {"sshfs", "fuse.sshfs", "", {}, false, 0x1068, kZuvDriveNetwork},
      {"removable",
       "ext4",
       sata + "/block/sdb/sdb1",
       {"", false, true, false},
       false,
       0x1068,
       kZuvDriveRemovable},
      {"write-protected card",
       "vfat",
       mmc + "/block/mmcblk0/mmcblk0p1",
       {"", false, true, true},
       false,
       0x1068,
       kZuvDriveRemovableLocked},
      {"usb stick", "vfat", usbDisk, {}, false, 0x1068, kZuvDriveRemovable},
      {"usb stick mounted ro", "vfat", usbDisk, {}, true, 0x1068, kZuvDriveRemovableLocked},
      {"sd card", "exfat", mmc + "/block/mmcblk0/mmcblk0p1", {}, false, 0x1068, kZuvDriveRemovable},
      {"pc card",
       "ext2",
       card + "/pcmcia_socket0/disk/block/hda/hda1",
       {},
       false,
       0x1068,
       kZuvDriveRemovable},
      {"internal disk", "ext4", sata + "/block/sda/sda1", {}, true, 0x1068, kZuvDriveFixed},
      {"usb stick on 10.3", "vfat", usbDisk, {}, false, 0x1039, kZuvDriveFixed},
      {"cd drive",
       "ext2",
       sata + "/block/sr0",
       {"", true, true, true},
       false,
       0x1068,
       kZuvDriveOptical},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string point = FreshTmpfs(scratch);
    ASSERT_FALSE(point.empty());
    FakeMachineFacts facts;
    facts.mounts = {MountEntry{zuv::platform::testing::DeviceOf(point), "/", point, c.fsType,
                               "/dev/x", c.mountReadOnly}};
    if (!c.entry.empty()) {
      facts.blockDeviceByMountPoint[point] = "x";
      facts.blockDevices["x"] = c.device;
      facts.blockDevices["x"].entry = c.entry;
    }
    facts.subsystems = {{usb, "usb"},
                        {mmc, "mmc"},
                        {card + "/pcmcia_socket0", "pcmcia_socket"},
                        {sata + "/block/sda", "block"}};
    facts.systemVersion = c.systemVersion;
    const ScopedMachineFacts scope(&facts);

    const CZuvFileHandle handle = HandleOn(point);
    EXPECT_EQ(handle.GetDriveType(), c.driveType);
    const bool deletable =
        c.driveType != kZuvDriveOptical && c.driveType != kZuvDriveRemovableLocked;
    EXPECT_EQ(ZuvIsDeletable(handle), deletable);
  }
}

TEST_F(VolumeTest, SecondHandleOnAVolumeReadsNoDeviceOrMountFacts) {
  const std::string point = FreshTmpfs(scratch);
  ASSERT_FALSE(point.empty());
  WriteFile(point + "/a.jpg");
  WriteFile(point + "/b.jpg");
  {
    CountingMachineFacts first;
    const ScopedMachineFacts scope(&first);
    EXPECT_EQ(HandleOn(point + "/a.jpg").GetDriveType(), kZuvDriveFixed);
    EXPECT_GT(first.MountReads(), 0);
  }
  CountingMachineFacts second;
  const ScopedMachineFacts scope(&second);
  EXPECT_TRUE(HandleOn(point + "/b.jpg").GetAttribute() & kZuvAttributeDeletable);
  EXPECT_EQ(HandleOn(point + "/missing").GetDriveType(), kZuvDriveFixed);
  EXPECT_EQ(second.MountReads(), 0);
  EXPECT_EQ(second.DeviceReads(), 0);
}

TEST_F(VolumeTest, HandlesOnOneVolumeMayBeClassifiedFromSeveralThreads) {
  const std::string point = FreshTmpfs(scratch);
  ASSERT_FALSE(point.empty());
  std::atomic<int> fixed{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      const std::string path = point + "/" + std::to_string(i);
      WriteFile(path);
      if (HandleOn(path).GetDriveType() == kZuvDriveFixed) ++fixed;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(fixed, 4);
}

TEST_F(VolumeTest, DiskIsFullBelow100MiBFree) {
  const std::string point = FreshTmpfs(scratch, "101m");
  ASSERT_FALSE(point.empty());
  const CZuvFilePath volume = HandleOn(point);
  EXPECT_FALSE(ZuvIsDiskFull(volume));
  WriteFile(point + "/fill", (1 << 20) - 4096);  // 100 MiB and one page left
  EXPECT_FALSE(ZuvIsDiskFull(volume));
  WriteFile(point + "/page", 4096);  // exactly 100 MiB left
  EXPECT_FALSE(ZuvIsDiskFull(volume));
  WriteFile(point + "/byte", 1);  // takes one more page
  EXPECT_TRUE(ZuvIsDiskFull(volume));
}

TEST(VolumeSeamTest, DiskFullBoundaryAndUnreadableVolumes) {
  FakeMachineFacts facts;
  const ScopedMachineFacts scope(&facts);
  const CZuvFilePath root = HandleOn("/");
  EXPECT_FALSE(ZuvIsDiskFull(root));  // free space unknown
  facts.freeBytes = 104857600;
  EXPECT_FALSE(ZuvIsDiskFull(root));
  facts.freeBytes = 104857599;
  EXPECT_TRUE(ZuvIsDiskFull(root));
  EXPECT_FALSE(ZuvIsDiskFull(HandleOn("/no/such/item")));
}

TEST(VolumeSeamTest, CardWalkClimbsTheDeviceTree) {
  FakeMachineFacts facts;
  facts.subsystems = {{"/sys/devices/pci0/usb1", "usb"}};
  facts.blockDevices["sdz"].entry = "/sys/devices/pci0/usb1/1-1/host0/block/sdz";
  facts.blockDevices["sda"].entry = "/sys/devices/pci0/ata1/host0/block/sda";
  const ScopedMachineFacts scope(&facts);
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
