// A fault-injecting wrapper around the real steps of a tree walk: it counts calls by kind, fails
// chosen calls, and runs a hook before each call (to kill the process at a chosen point, or to
// change the disk under the walk). ScopedReplacement<TransferSteps> puts it in use. Header-only;
// compiled into the tests alone.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>

#include "zuv/platform/tree_transfer.h"

namespace zuv::platform::testing {

/// Forwards to the real steps. Calls are numbered from 1 per kind; a call chosen to fail does
/// nothing and answers its error, except a close, which still closes.
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

  /// Makes call `call` of `kind` answer `error`.
  void Fail(Kind kind, int call, int error) {
    const std::lock_guard<std::mutex> hold(m_lock);
    m_failures[{kind, call}] = error;
  }
  /// Runs `hook` with the kind and number of each call, before the call.
  void BeforeEach(std::function<void(Kind, int)> hook) { m_hook = std::move(hook); }
  int Calls(Kind kind) const {
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_calls[kind];
  }

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
    const std::optional<int> error = Failure(kClose);
    const int closed = Real().Close(fd);
    return error ? *error : closed;
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
    const std::optional<int> error = Failure(kind);
    return error ? *error : call();
  }

  std::optional<int> Failure(Kind kind) {
    int call = 0;
    std::optional<int> error;
    {
      const std::lock_guard<std::mutex> hold(m_lock);
      call = ++m_calls[kind];
      const auto found = m_failures.find({kind, call});
      if (found != m_failures.end()) error = found->second;
    }
    if (m_hook) m_hook(kind, call);
    return error;
  }

  mutable std::mutex m_lock;
  std::array<int, kKindCount> m_calls{};
  std::map<std::pair<Kind, int>, int> m_failures;
  std::function<void(Kind, int)> m_hook;
};

}  // namespace zuv::platform::testing
