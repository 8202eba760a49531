// A fault-injecting wrapper around the real steps of a tree walk: it counts calls by kind and runs
// a hook before each call, which may fail the call, kill the process at a chosen point or change
// the disk under the walk. ScopedReplacement<TransferSteps> puts it in use. Header-only; compiled
// into the tests alone.
#pragma once

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <unistd.h>
#include <utility>

#include "zuv/platform/tree_transfer.h"

namespace zuv::platform::testing {

/// Forwards to the real steps, their calls numbered from 1 per kind. A hook runs before each call
/// with its kind and number; when it answers an error, the call does nothing and answers that
/// error, except a close, which still closes.
class FaultyTransferSteps : public TransferSteps {
 public:
  enum Kind {
    kCreateFile,
    kMakeFolder,
    kMakeLink,
    kMakeFifo,
    kWriteData,
    kSetMode,
    kSetTimes,
    kSetXattr,
    kClose,
    kSyncVolume,
    kRemoveSource,
    kOpenWritten,
    kKindCount
  };

  void BeforeEach(std::function<int(Kind, int)> hook) { m_hook = std::move(hook); }
  int Calls(Kind kind) const { return m_calls[kind]; }

  int CreateFile(int folder, const std::string& name, int* fd) override {
    return Step(kCreateFile, [&] { return Real().CreateFile(folder, name, fd); });
  }
  int MakeFolder(int folder, const std::string& name) override {
    return Step(kMakeFolder, [&] { return Real().MakeFolder(folder, name); });
  }
  int MakeLink(int folder, const std::string& name, const std::string& target) override {
    return Step(kMakeLink, [&] { return Real().MakeLink(folder, name, target); });
  }
  int MakeFifo(int folder, const std::string& name) override {
    return Step(kMakeFifo, [&] { return Real().MakeFifo(folder, name); });
  }
  int WriteData(int from, int to, uint64_t size, const DataControl& control) override {
    return Step(kWriteData, [&] { return Real().WriteData(from, to, size, control); });
  }
  int SetMode(int folder, const std::string& name, mode_t mode) override {
    return Step(kSetMode, [&] { return Real().SetMode(folder, name, mode); });
  }
  int SetTimes(int folder, const std::string& name, const timespec times[2]) override {
    return Step(kSetTimes, [&] { return Real().SetTimes(folder, name, times); });
  }
  int SetXattr(int fd, const std::string& name, const std::string& value) override {
    return Step(kSetXattr, [&] { return Real().SetXattr(fd, name, value); });
  }
  int Close(int fd) override {
    const int error = Failure(kClose);
    const int closed = Real().Close(fd);
    return error != 0 ? error : closed;
  }
  int SyncVolume(int fd) override {
    return Step(kSyncVolume, [&] { return Real().SyncVolume(fd); });
  }
  int RemoveSource(const std::string& path) override {
    return Step(kRemoveSource, [&] { return Real().RemoveSource(path); });
  }
  int OpenWritten(const std::string& path, int* fd) override {
    return Step(kOpenWritten, [&] { return Real().OpenWritten(path, fd); });
  }

 private:
  static TransferSteps& Real() { return Replaceable<TransferSteps>::Real(); }
  template <class Call>
  int Step(Kind kind, Call call) {
    const int error = Failure(kind);
    return error != 0 ? error : call();
  }
  int Failure(Kind kind) {
    const int call = ++m_calls[kind];
    return m_hook ? m_hook(kind, call) : 0;
  }

  std::array<std::atomic<int>, kKindCount> m_calls{};
  std::function<int(Kind, int)> m_hook;
};

}  // namespace zuv::platform::testing
