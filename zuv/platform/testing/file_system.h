// Test doubles for the replaceable file system: a scope that puts one in use for its own lifetime,
// and a wrapper around the real one that counts calls by kind, fails chosen calls, answers whether
// a volume can exchange, and counts pauses instead of sleeping. Header-only; compiled into the
// tests alone.
#pragma once

#include <array>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zuv/platform/file_system.h"

namespace zuv::platform::testing {

/// Puts `fileSystem` in use until the end of the scope, then brings back what was in use before.
class ScopedFileSystem {
 public:
  explicit ScopedFileSystem(FileSystem* fileSystem) : m_previous(InstallFileSystem(fileSystem)) {}
  ~ScopedFileSystem() { InstallFileSystem(m_previous); }
  ScopedFileSystem(const ScopedFileSystem&) = delete;
  ScopedFileSystem& operator=(const ScopedFileSystem&) = delete;

 private:
  FileSystem* m_previous;
};

/// Forwards to the real file system. Calls are numbered from 1 per kind; a call chosen to fail
/// answers its error and does nothing. Pauses are counted, not slept.
class FaultyFileSystem : public FileSystem {
 public:
  enum Kind { kRename, kMove, kDelete, kExchange, kCatalogWrite, kKindCount };

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
  int Pauses() const {
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_pauses;
  }
  /// The names given to Rename, in order, failed calls included.
  std::vector<std::u16string> RenamedTo() const {
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_renamedTo;
  }

  OSStatus Rename(const FSRef& item, std::u16string_view name, FSRef* renamed) override {
    {
      const std::lock_guard<std::mutex> hold(m_lock);
      m_renamedTo.emplace_back(name);
    }
    if (const auto error = Failure(kRename)) return *error;
    return RealFileSystem().Rename(item, name, renamed);
  }
  OSStatus Move(const FSRef& item, const FSRef& folder, FSRef* moved) override {
    if (const auto error = Failure(kMove)) return *error;
    return RealFileSystem().Move(item, folder, moved);
  }
  OSStatus Delete(const FSRef& item) override {
    if (const auto error = Failure(kDelete)) return *error;
    return RealFileSystem().Delete(item);
  }
  bool CanExchange(const FSRef& item) override {
    std::optional<bool> answer;
    {
      const std::lock_guard<std::mutex> hold(m_lock);
      answer = m_canExchange;
    }
    return answer ? *answer : RealFileSystem().CanExchange(item);
  }
  OSStatus Exchange(const FSRef& a, const FSRef& b, FSRef* newA, FSRef* newB) override {
    if (const auto error = Failure(kExchange)) return *error;
    return RealFileSystem().Exchange(a, b, newA, newB);
  }
  OSStatus SetCatalogInfo(const FSRef& item, FSCatalogInfoBitmap which,
                          const FSCatalogInfo& info) override {
    if (const auto error = Failure(kCatalogWrite)) return *error;
    return RealFileSystem().SetCatalogInfo(item, which, info);
  }
  void Pause(std::chrono::milliseconds) override {
    const std::lock_guard<std::mutex> hold(m_lock);
    ++m_pauses;
  }

 private:
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
  std::vector<std::u16string> m_renamedTo;
  int m_pauses = 0;
};

}  // namespace zuv::platform::testing
