// Test doubles for the machine facts: a scope that puts facts in use for its own lifetime, a fake
// that answers from tables the test fills, and a wrapper that counts the calls it forwards to the
// real facts. Header-only; compiled into the tests alone.
#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zuv/platform/machine_facts.h"

namespace zuv::platform::testing {

/// Puts `facts` in use until the end of the scope, then brings back whatever was in use before.
class ScopedMachineFacts {
 public:
  explicit ScopedMachineFacts(MachineFacts* facts) : m_previous(InstallMachineFacts(facts)) {}
  ~ScopedMachineFacts() { InstallMachineFacts(m_previous); }
  ScopedMachineFacts(const ScopedMachineFacts&) = delete;
  ScopedMachineFacts& operator=(const ScopedMachineFacts&) = delete;

 private:
  MachineFacts* m_previous;
};

/// Facts from tables. A mount's block device is looked up by its mount point; an unknown name,
/// device or entry has none. Free space is unreadable until set.
class FakeMachineFacts : public MachineFacts {
 public:
  std::vector<MountEntry> mounts;
  std::map<std::string, std::string> blockDeviceByMountPoint;
  std::map<std::string, BlockDevice> blockDevices;
  std::map<std::string, std::string> subsystems;
  std::optional<uint64_t> freeBytes;
  uint32_t systemVersion = 0x1068;

  bool ReadMounts(std::vector<MountEntry>* out) override {
    *out = mounts;
    return true;
  }
  std::string BlockDeviceOf(const MountEntry& mount) override {
    const auto found = blockDeviceByMountPoint.find(mount.mountPoint);
    return found != blockDeviceByMountPoint.end() ? found->second : std::string();
  }
  bool ReadBlockDevice(const std::string& name, BlockDevice* device) override {
    const auto found = blockDevices.find(name);
    if (found == blockDevices.end()) return false;
    *device = found->second;
    return true;
  }
  std::string DeviceSubsystem(const std::string& entry) override {
    const auto found = subsystems.find(entry);
    return found != subsystems.end() ? found->second : std::string();
  }
  bool ReadFreeBytes(const std::string&, uint64_t* bytes) override {
    if (freeBytes) *bytes = *freeBytes;
    return freeBytes.has_value();
  }
  uint32_t SystemVersion() override { return systemVersion; }
};

/// Forwards every question to the real facts and counts the device and mount questions asked.
class CountingMachineFacts : public MachineFacts {
 public:
  /// Mount-table reads, and block-device and device-tree questions, since construction.
  int MountReads() const { return m_mountReads; }
  int DeviceReads() const { return m_deviceReads; }

  bool ReadMounts(std::vector<MountEntry>* mounts) override {
    ++m_mountReads;
    return RealMachineFacts().ReadMounts(mounts);
  }
  std::string BlockDeviceOf(const MountEntry& mount) override {
    ++m_deviceReads;
    return RealMachineFacts().BlockDeviceOf(mount);
  }
  bool ReadBlockDevice(const std::string& name, BlockDevice* device) override {
    ++m_deviceReads;
    return RealMachineFacts().ReadBlockDevice(name, device);
  }
  std::string DeviceSubsystem(const std::string& entry) override {
    ++m_deviceReads;
    return RealMachineFacts().DeviceSubsystem(entry);
  }
  bool ReadFreeBytes(const std::string& path, uint64_t* bytes) override {
    return RealMachineFacts().ReadFreeBytes(path, bytes);
  }
  uint32_t SystemVersion() override { return RealMachineFacts().SystemVersion(); }

 private:
  std::atomic<int> m_mountReads{0};
  std::atomic<int> m_deviceReads{0};
};

}  // namespace zuv::platform::testing
