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

  ForkOutcome ReadFork(const FSRef& file, void* buffer, size_t count) override {
    return Real().ReadFork(file, buffer, count);
  }
  ForkOutcome WriteFork(const FSRef& file, const void* data, size_t count) override {
    return Real().WriteFork(file, data, count);
  }
  OSStatus CreateFile(const FSRef& parent, std::u16string_view name, FSRef* created) override {
    return Real().CreateFile(parent, name, created);
  }
  OSStatus CreateFolder(const FSRef& parent, std::u16string_view name, FSRef* created) override {
    return Real().CreateFolder(parent, name, created);
  }
  OSStatus CreateFolderAtPath(const std::string& path, uint32_t mode) override {
    return Real().CreateFolderAtPath(path, mode);
  }
  OSStatus Rename(const FSRef& item, std::u16string_view name, FSRef* renamed) override {
    if (const auto error = Failure(kRename)) return *error;
    return Real().Rename(item, name, renamed);
  }
  OSStatus Move(const FSRef& item, const FSRef& folder, FSRef* moved) override {
    if (const auto error = Failure(kMove)) return *error;
    return Real().Move(item, folder, moved);
  }
  OSStatus Delete(const FSRef& item) override {
    if (const auto error = Failure(kDelete)) return *error;
    return Real().Delete(item);
  }
  OSStatus Unlink(const std::string& path) override {
    if (const auto error = Failure(kUnlink)) return *error;
    return Real().Unlink(path);
  }
  bool RemoveTree(const std::string& path) override { return Real().RemoveTree(path); }
  OSStatus DeleteResourceFork(const FSRef& item) override {
    return Real().DeleteResourceFork(item);
  }
  bool Exists(const std::string& path) override { return Real().Exists(path); }
  bool CanExchange(const FSRef& item) override {
    std::unique_lock<std::mutex> hold(m_lock);
    if (m_canExchange) return *m_canExchange;
    hold.unlock();
    return Real().CanExchange(item);
  }
  OSStatus Exchange(const FSRef& a, const FSRef& b, FSRef* newA, FSRef* newB) override {
    if (const auto error = Failure(kExchange)) return *error;
    return Real().Exchange(a, b, newA, newB);
  }
  OSStatus SetCatalogInfo(const FSRef& item, FSCatalogInfoBitmap which,
                          const FSCatalogInfo& info) override {
    if (const auto error = Failure(kCatalogWrite)) return *error;
    return Real().SetCatalogInfo(item, which, info);
  }
  void Pause(std::chrono::milliseconds) override { Failure(kPause); }

 private:
  static FileSystem& Real() { return Replaceable<FileSystem>::Real(); }

  // Counts the call and gives its error when it was chosen to fail.
  std::optional<OSStatus> Failure(Kind kind) {
    const std::lock_guard<std::mutex> hold(m_lock);
    const auto found = m_failures.find({kind, ++m_calls[kind]});
    if (found == m_failures.end()) return std::nullopt;
    return found->second;
  }

  mutable std::mutex m_lock;
  std::array<int, kKindCount> m_calls = {};
  std::map<std::pair<Kind, int>, OSStatus> m_failures;
  std::optional<bool> m_canExchange;
};

}  // namespace zuv::platform::testing
