// zuv copy and zuv move: copy or move files and folders with the library's progress variants,
// showing a progress bar on a terminal, and canceling cleanly on Ctrl-C. The callback carries only
// the tool's datum, so the bar counts items: the library calls it before each item it makes, and
// a quick walk of the sources first gives the total (a move within one volume, a rename, counts
// as one item and walks nothing). Bytes are not shown, as the tool cannot know how far into an
// item the library is. With --verify every copied file is read back from the device and compared
// with its source before the command succeeds (and a move removes a source).
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "tools/zuv/command.h"
#include "zuv/files/file_ops.h"
#include "zuv/paths/internal/path_text.h"
#include "zuv/transfer/copy_move.h"
#include "zuv/transfer/path_operation.h"
#include "zuv/transfer/result.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void NoteInterrupt(int) { g_interrupted = 1; }

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);

struct Operation {
  const char* command;  // "copy" or "move"
  const char* done;     // "copied" or "moved"
  bool moves;
  ZuvResult (*run)(const CZuvFilePath& source, const CZuvFilePath& folder,
                   const CZuvStringData* name, ZuvProgressProc progress, void* data);
};

// Both replace an item at the new path: without --replace, the tool refuses one first.
const Operation kCopy = {"copy", "copied", false, ZuvCopyFolderOverwriteEx};
const Operation kMove = {"move", "moved", true, ZuvMoveFileOverwriteEx};

// One source and where it goes.
struct Item {
  std::string argument;
  std::string source;
  std::string folder;  // of the new item
  std::string name;    // of the new item
  uint64_t items = 0;  // the source and everything in it
  std::string Target() const { return zuv::paths_internal::JoinPath(folder, name); }
};

bool Exists(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

bool IsFolder(const std::string& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

// Whether a move of `source` into `folder` will be a rename: both are on one device. A rename makes
// one item whatever the tree holds, so its sources are not walked for the count. Two mounts of one
// file system share a device yet refuse a rename: that move, a copy, then shows as one item.
bool MovesByRename(const std::string& source, const std::string& folder) {
  struct stat from;
  struct stat into;
  return lstat(source.c_str(), &from) == 0 && stat(folder.c_str(), &into) == 0 &&
         from.st_dev == into.st_dev;
}

// The source and every item in it, links not followed; unreadable folders count as one item.
uint64_t CountItems(const std::string& path) {
  uint64_t count = 1;
  std::error_code error;
  if (!fs::is_directory(fs::symlink_status(path, error))) return count;
  for (fs::recursive_directory_iterator
           it(path, fs::directory_options::skip_permission_denied, error),
       end;
       !error && it != end; it.increment(error)) {
    ++count;
  }
  return count;
}

std::string Duration(double seconds) {
  const long total = static_cast<long>(seconds + 0.5);
  char text[32];
  std::snprintf(text, sizeof text, "%ld:%02ld", total / 60, total % 60);
  return text;
}

// Items done of the total, the rate and the time left, and the name of the source at work, on one
// line of standard error redrawn at most ten times a second; nothing when it is off.
class ProgressBar {
 public:
  ProgressBar(bool on, uint64_t total) : m_on(on), m_total(total) {}

  void Start(const Item& item) {
    m_current = &item;
    m_inItem = 0;
    Draw();
  }
  // One call of the callback: an item begins, or the source's last call came.
  void Advance() {
    if (m_inItem < m_current->items) ++m_inItem;
    Draw();
  }
  void Finish(const Item& item) {
    m_done += item.items;
    m_inItem = 0;
    Draw();
  }
  void Clear() {
    if (m_on && m_drawn) std::cerr << "\r\x1b[K" << std::flush;
    m_drawn = false;
  }

 private:
  void Draw() {
    if (!m_on) return;
    const Clock::time_point time = Clock::now();
    if (m_drawn && time - m_lastDraw < kRedrawInterval) return;
    m_lastDraw = time;
    m_drawn = true;
    const uint64_t done = m_done + m_inItem;
    const double elapsed = std::chrono::duration<double>(time - m_start).count();
    const double rate = elapsed > 0 ? static_cast<double>(done) / elapsed : 0;
    constexpr int kWidth = 24;
    const int filled = m_total == 0 ? kWidth : static_cast<int>(kWidth * done / m_total);
    std::string line = "\r[" + std::string(filled, '#') + std::string(kWidth - filled, '.') + "] " +
                       std::to_string(done) + "/" + std::to_string(m_total) + " items";
    if (rate > 0) {
      char speed[32];
      std::snprintf(speed, sizeof speed, "  %.0f/s  ", rate);
      line += speed + Duration(static_cast<double>(m_total - done) / rate) + " left";
    }
    if (m_current != nullptr) line += "  " + m_current->argument;
    std::cerr << line << "\x1b[K" << std::flush;
  }

  bool m_on;
  uint64_t m_total;
  uint64_t m_done = 0;
  uint64_t m_inItem = 0;
  const Item* m_current = nullptr;
  bool m_drawn = false;
  Clock::time_point m_start = Clock::now();
  Clock::time_point m_lastDraw;
};

bool Progress(void* data) {
  static_cast<ProgressBar*>(data)->Advance();
  return g_interrupted == 0;
}

// The variant's work with the check of --verify: the path operation with its check on, after the
// checks and the making of room that the variant does. Each file that failed the check is named.
ZuvResult RunVerified(const Operation& operation, const Item& item, ProgressBar* bar) {
  const CZuvStringData source = ZuvToolUtf8(item.source);
  const CZuvStringData target = ZuvToolUtf8(item.Target());
  if (const ZuvResult valid = ValidFolderPathForCopyMove(source, ZuvToolUtf8(item.folder));
      ZuvIsFailure(valid)) {
    return valid;
  }
  if (Exists(item.Target())) {
    if (ZuvIsSubFolder(target, source)) return kZuvErrSubFolder;
    // As the variant: an item that cannot be removed is kept, and the caller finds it there.
    if (ZuvIsFailure(ZuvRemoveFileRecursive(ZuvToolPathObject(item.Target())))) return kZuvSuccess;
  }
  std::unique_ptr<ZuvPathOperation> work;
  if (operation.moves) {
    work = ZuvMovePath::Create(source, target);
  } else {
    work = ZuvCopyPath::Create(source, target);
  }
  work->setProgress(&Progress, bar);
  work->setVerify(true);
  const ZuvResult result = work->perform();
  if (!work->verifyMismatches().empty()) bar->Clear();
  for (const std::string& mismatch : work->verifyMismatches()) {
    ZuvToolFailure(operation.command, mismatch, result, "did not read back as it was copied");
  }
  if (ZuvIsFailure(result) && result != kZuvErrCanceled &&
      IsDiskFullError(ZuvToolPathObject(item.folder))) {
    return kZuvErrDiskFull;
  }
  return result;
}

// The item at a path, held open so that its inode cannot be handed to a new item while it is
// looked at: whether the item there later is still this one tells whether it was replaced.
class HeldItem {
 public:
  explicit HeldItem(const std::string& path)
      : m_fd(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {}
  ~HeldItem() {
    if (m_fd >= 0) close(m_fd);
  }
  HeldItem(const HeldItem&) = delete;
  HeldItem& operator=(const HeldItem&) = delete;

  bool IsStillAt(const std::string& path) const {
    struct stat held;
    struct stat now;
    return m_fd >= 0 && fstat(m_fd, &held) == 0 && lstat(path.c_str(), &now) == 0 &&
           held.st_dev == now.st_dev && held.st_ino == now.st_ino;
  }

 private:
  int m_fd;
};

std::string Names(const std::vector<Item>& items, size_t from, size_t to) {
  std::string names;
  for (size_t i = from; i < to; ++i) names += (names.empty() ? "" : ", ") + items[i].argument;
  return names.empty() ? "none" : names;
}

int Run(const Operation& operation, const std::vector<std::string>& arguments) {
  bool replace = false;
  bool quiet = false;
  bool verify = false;
  std::vector<std::string> paths;
  bool options = true;
  for (const std::string& argument : arguments) {
    if (options && argument == "--") {
      options = false;
    } else if (options && argument == "--replace") {
      replace = true;
    } else if (options && (argument == "--quiet" || argument == "-q")) {
      quiet = true;
    } else if (options && argument == "--verify") {
      verify = true;
    } else if (options && argument.size() > 1 && argument.front() == '-') {
      return ZuvToolUsageError(operation.command, "unknown option '" + argument + "'");
    } else {
      paths.push_back(argument);
    }
  }
  if (paths.size() < 2) return ZuvToolUsageError(operation.command, "give SOURCE... and DEST");

  const std::string& destinationArgument = paths.back();
  const std::optional<std::string> destination =
      ZuvToolPath(operation.command, destinationArgument);
  if (!destination) return kZuvToolFailure;
  const bool intoFolder = IsFolder(*destination);
  if (!intoFolder && paths.size() > 2) {
    return ZuvToolFailure(operation.command, destinationArgument, kZuvErrNotFound,
                          "not a folder, and several sources were given");
  }

  int status = kZuvToolSuccess;
  std::vector<Item> items;
  uint64_t total = 0;
  for (size_t i = 0; i + 1 < paths.size(); ++i) {
    const std::optional<std::string> source = ZuvToolItemPath(operation.command, paths[i]);
    if (!source) {
      status = kZuvToolFailure;
      continue;
    }
    Item item{paths[i], *source, "", "", 0};
    if (ZuvToolLastComponent(item.source).empty()) {
      status = ZuvToolFailure(operation.command, item.argument, kZuvErrAccessDenied,
                              "the root folder is never copied or moved");
      continue;
    }
    if (!Exists(item.source)) {
      status = ZuvToolFailure(operation.command, item.argument, kZuvErrNotFound, "no such item");
      continue;
    }
    if (intoFolder) {
      item.folder = zuv::paths_internal::WithoutTrailingSlashes(*destination);
      item.name = ZuvToolLastComponent(item.source);
    } else {
      const std::string_view last = ZuvToolLastComponent(*destination);
      if (last.empty() || last == "." || last == "..") {
        status = ZuvToolFailure(operation.command, destinationArgument, kZuvErrInvalidName,
                                "names no new item");
        continue;
      }
      item.folder =
          zuv::paths_internal::FolderOf(zuv::paths_internal::WithoutTrailingSlashes(*destination));
      item.name = last;
    }
    if (!replace && Exists(item.Target())) {
      status = ZuvToolFailure(operation.command, item.Target(), kZuvErrAlreadyExists,
                              "an item is already there (--replace replaces it)");
      continue;
    }
    item.items =
        operation.moves && MovesByRename(item.source, item.folder) ? 1 : CountItems(item.source);
    total += item.items;
    items.push_back(std::move(item));
  }

  ProgressBar bar(!quiet && isatty(STDERR_FILENO) == 1, total);
  g_interrupted = 0;
  const auto previous = std::signal(SIGINT, NoteInterrupt);
  size_t finished = 0;
  for (; finished < items.size() && g_interrupted == 0; ++finished) {
    const Item& item = items[finished];
    const HeldItem before(item.Target());
    bar.Start(item);
    const CZuvStringData name = ZuvToolUtf8(item.name);
    const ZuvResult result =
        verify ? RunVerified(operation, item, &bar)
               : operation.run(ZuvToolPathObject(item.source), ZuvToolPathObject(item.folder),
                               &name, &Progress, &bar);
    if (result == kZuvErrCanceled) {
      // A copy keeps what it made before the cancel: that partial item goes too.
      if (Exists(item.Target())) ZuvRemoveFileRecursive(ZuvToolPathObject(item.Target()));
      break;
    }
    bar.Finish(item);
    if (ZuvIsFailure(result)) {
      bar.Clear();
      status = ZuvToolFailure(operation.command, item.argument, result);
    } else if (before.IsStillAt(item.Target())) {
      // The library leaves an item it cannot remove in place and reports success.
      bar.Clear();
      status = ZuvToolFailure(operation.command, item.Target(), kZuvErrAccessDenied,
                              "the item already there could not be replaced");
    }
  }
  std::signal(SIGINT, previous);
  bar.Clear();
  if (g_interrupted == 0) return status;

  const size_t stopped = finished < items.size() ? finished : items.size();
  if (finished < items.size()) {
    ZuvToolFailure(operation.command, items[finished].argument, kZuvErrCanceled,
                   std::string("canceled; nothing is left at ") + items[finished].Target() +
                       (operation.moves ? " and the source is whole" : ""));
  }
  std::cerr << "zuv " << operation.command << ": " << operation.done << ": "
            << Names(items, 0, stopped) << "; not " << operation.done << ": "
            << Names(items, stopped, items.size()) << '\n';
  return kZuvToolCanceled;
}

}  // namespace

int RunCopyCommand(const std::vector<std::string>& arguments) { return Run(kCopy, arguments); }

int RunMoveCommand(const std::vector<std::string>& arguments) { return Run(kMove, arguments); }
