// A fault-injecting wrapper around the real file system: it counts calls by kind, fails chosen
// calls, answers whether a volume can exchange, and counts pauses instead of sleeping.
// ScopedReplacement<FileSystem> puts it in use. Header-only; tests alone.
#pragma once

#include <array>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "zuv/platform/file_system.h"

namespace zuv::platform::testing {

/// Forwards to the real file system. Calls of the kinds below are numbered from 1 per kind; a call
/// chosen to fail does nothing and answers its error. Pauses are counted, not slept.
class FaultyFileSystem : public FileSystem {
 public:
  enum Kind { kRename, kMove, kDelete, kUnlink, kExchange, kCatalogWrite, kPause, kKindCount };

  /// Makes calls `first` to `first + count - 1` of `kind` answer `error`.
  void Fail(Kind kind, int first, OSStatus error, int count = 1) {
    const std::lock_guard<std::mutex> hold(m_lock);
    for (int call = first; call < first + count; ++call) m_failures[{kind, call}] = error;
  }
  /// The answer to CanExchange; unset, the real one.
  void AnswerCanExchange(std::optional<bool> answer) {
    const std::lock_guard<std::mutex> hold(m_lock);
    m_canExchange = answer;
  }
  int Calls(Kind kind) const {
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_calls[kind];
  }

  ForkOutcome ReadFork(const FSRef& f, void* to, size_t n) override {
    return Real().ReadFork(f, to, n);
  }
  ForkOutcome WriteFork(const FSRef& f, const void* from, size_t n) override {
    return Real().WriteFork(f, from, n);
  }
  OSStatus CreateFile(const FSRef& p, std::u16string_view n, FSRef* out) override {
    return Real().CreateFile(p, n, out);
  }
  OSStatus CreateFolder(const FSRef& p, std::u16string_view n, FSRef* out) override {
    return Real().CreateFolder(p, n, out);
  }
  OSStatus CreateFolderAtPath(const std::string& p, uint32_t mode) override {
    return Real().CreateFolderAtPath(p, mode);
  }
  OSStatus Rename(const FSRef& i, std::u16string_view n, FSRef* out) override {
    return Faulty(kRename, [&] { return Real().Rename(i, n, out); });
  }
  OSStatus Move(const FSRef& i, const FSRef& to, FSRef* out) override {
    return Faulty(kMove, [&] { return Real().Move(i, to, out); });
  }
  OSStatus Delete(const FSRef& i) override {
    return Faulty(kDelete, [&] { return Real().Delete(i); });
  }
  OSStatus Unlink(const std::string& p) override {
    return Faulty(kUnlink, [&] { return Real().Unlink(p); });
  }
  bool RemoveTree(const std::string& p) override { return Real().RemoveTree(p); }
  OSStatus DeleteResourceFork(const FSRef& i) override { return Real().DeleteResourceFork(i); }
  bool Exists(const std::string& p) override { return Real().Exists(p); }
  bool CanExchange(const FSRef& item) override {
    std::unique_lock<std::mutex> hold(m_lock);
    if (m_canExchange) return *m_canExchange;
    hold.unlock();
    return Real().CanExchange(item);
  }
  OSStatus Exchange(const FSRef& a, const FSRef& b, FSRef* newA, FSRef* newB) override {
    return Faulty(kExchange, [&] { return Real().Exchange(a, b, newA, newB); });
  }
  OSStatus SetCatalogInfo(const FSRef& i, FSCatalogInfoBitmap which,
                          const FSCatalogInfo& info) override {
    return Faulty(kCatalogWrite, [&] { return Real().SetCatalogInfo(i, which, info); });
  }
  void Pause(std::chrono::milliseconds) override {
    Faulty(kPause, [] { return kNoErr; });
  }

 private:
  static FileSystem& Real() { return Replaceable<FileSystem>::Real(); }

  // Counts the call, and answers its chosen error or else makes it.
  template <class Call>
  OSStatus Faulty(Kind kind, Call call) {
    std::unique_lock<std::mutex> hold(m_lock);
    const auto found = m_failures.find({kind, ++m_calls[kind]});
    if (found != m_failures.end()) return found->second;
    hold.unlock();
    return call();
  }

  mutable std::mutex m_lock;
  std::array<int, kKindCount> m_calls = {};
  std::map<std::pair<Kind, int>, OSStatus> m_failures;
  std::optional<bool> m_canExchange;
};

}  // namespace zuv::platform::testing
