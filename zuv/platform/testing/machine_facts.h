// Test doubles for the machine facts: a fake that answers from tables the test fills, and a wrapper
// that counts the calls it forwards to the real facts. ScopedReplacement<MachineFacts> puts either
// in use. Header-only; tests alone.
#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zuv/platform/machine_facts.h"

namespace zuv::platform::testing {

/// Facts from tables. As on the machine, a mount's block device is the one of its device number,
/// else the one that its source names as "/dev/NAME"; an unknown name, device or entry has none.
/// Free space is unreadable until set.
class FakeMachineFacts : public MachineFacts {
 public:
  std::vector<MountEntry> mounts;
  std::map<std::string, BlockDevice> blockDevices;     // by kernel name
  std::map<uint64_t, std::string> blockDeviceNumbers;  // kernel name by device number (st_dev)
  std::map<std::string, std::string> subsystems;       // by device tree entry
  std::optional<uint64_t> freeBytes;
  uint32_t systemVersion = 0x1068;

  bool ReadMounts(std::vector<MountEntry>* out) override {
    *out = mounts;
    return true;
  }
  std::string BlockDeviceOf(const MountEntry& mount) override {
    if (blockDeviceNumbers.count(mount.device)) return blockDeviceNumbers[mount.device];
    const std::string name = mount.source.substr(mount.source.rfind("/dev/", 0) == 0 ? 5 : 0);
    return name != mount.source && blockDevices.count(name) ? name : "";
  }
  bool ReadBlockDevice(const std::string& name, BlockDevice* device) override {
    const auto found = blockDevices.find(name);
    if (found == blockDevices.end()) return false;
    *device = found->second;
    return true;
  }
  std::string DeviceSubsystem(const std::string& entry) override {
    return subsystems.count(entry) ? subsystems[entry] : "";
  }
  bool ReadFreeBytes(const std::string&, uint64_t* bytes) override {
    if (freeBytes) *bytes = *freeBytes;
    return freeBytes.has_value();
  }
  uint32_t SystemVersion() override { return systemVersion; }
};

/// Forwards every question to the real facts and counts the mount-table reads.
class CountingMachineFacts : public MachineFacts {
 public:
  int MountReads() const { return m_mountReads; }

  bool ReadMounts(std::vector<MountEntry>* mounts) override {
    ++m_mountReads;
    return Real().ReadMounts(mounts);
  }
  std::string BlockDeviceOf(const MountEntry& m) override { return Real().BlockDeviceOf(m); }
  bool ReadBlockDevice(const std::string& name, BlockDevice* device) override {
    return Real().ReadBlockDevice(name, device);
  }
  std::string DeviceSubsystem(const std::string& e) override { return Real().DeviceSubsystem(e); }
  bool ReadFreeBytes(const std::string& path, uint64_t* bytes) override {
    return Real().ReadFreeBytes(path, bytes);
  }
  uint32_t SystemVersion() override { return Real().SystemVersion(); }

 private:
  static MachineFacts& Real() { return Replaceable<MachineFacts>::Real(); }
  std::atomic<int> m_mountReads{0};
};

}  // namespace zuv::platform::testing
