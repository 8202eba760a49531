#include "zuv/transfer/copy_move.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zuv/files/file_handle.h"
#include "zuv/files/file_ops.h"
#include "zuv/files/internal/file_text.h"
#include "zuv/files/volume.h"
#include "zuv/platform/catalog.h"
#include "zuv/platform/file_stream.h"
#include "zuv/platform/machine_facts.h"
#include "zuv/platform/text.h"
#include "zuv/strings/string_ops.h"
#include "zuv/transfer/path_operation.h"

namespace {

using zuv::files_internal::FullPathOf;
using zuv::files_internal::HasNoOwnName;
using zuv::files_internal::Utf16Of;
using zuv::files_internal::Utf8Of;
using zuv::platform::FileStream;
using zuv::platform::IsWellFormedUtf8;
using zuv::platform::kNoErr;
using zuv::platform::MachineFacts;
using zuv::platform::Replaceable;

// Systems from 10.4 on (0x1040) carry times and the locked flag over in a copy by themselves.
constexpr uint32_t kFirstSystemThatCarriesOver = 0x1040;
// ZuvMakeFilePath's limits: UTF-8 bytes of folder, separator and name; UTF-16 units of the name.
constexpr size_t kLongestJoinedPath = 1023;
constexpr size_t kLongestName = 255;
// The stream and fork copies move data through one buffer of this size.
constexpr size_t kChunkSize = 65536;

CZuvStringData TextOf(const std::string& utf8) {
  CZuvStringData text;
  text.InitWithUtf8(utf8.c_str());
  return text;
}

CZuvFilePath PathObjectOf(const CZuvStringData& text) {
  CZuvFilePath path;
  path.Initialize(&text);
  return path;
}

bool CarriesOverByHand() {
  return Replaceable<MachineFacts>::Current().SystemVersion() < kFirstSystemThatCarriesOver;
}

// A path the variants may create or remove: well-formed UTF-8 (a platform string) that names an
// item of its own.
bool IsUsableItemPath(const std::string& path) {
  return !path.empty() && IsWellFormedUtf8(path) && !HasNoOwnName(path);
}

// folder + "/" + name with no doubled and no trailing "/"; an empty folder gives the name alone.
// None when the name holds nothing but "/" or the result is not a usable item path: joining such a
// name would name the folder itself, or one above it.
std::optional<std::string> Join(std::string_view folder, std::string_view name) {
  if (name.find_first_not_of('/') == std::string_view::npos) return std::nullopt;
  std::string raw(folder);
  if (!raw.empty()) raw += '/';
  raw += name;
  std::string joined;
  joined.reserve(raw.size());
  for (const char c : raw) {
    if (c != '/' || joined.empty() || joined.back() != '/') joined += c;
  }
  while (joined.size() > 1 && joined.back() == '/') joined.pop_back();
  if (!IsUsableItemPath(joined) || !IsWellFormedUtf8(folder)) return std::nullopt;
  return joined;
}

// fileExistsAtPath: an item is there, a symbolic link counting as one.
bool ItemExists(const std::string& path) {
  FSRef ref;
  return zuv::platform::MakeRef(path, &ref) == kNoErr;
}

// Whether `inner` is `outer` or lies inside it, by the paths as given and by their canonical
// forms, so that a source reached through a symbolic link is found inside too.
bool LiesInside(const std::string& outer, const std::string& inner) {
  if (ZuvIsSubFolder(TextOf(outer), TextOf(inner))) return true;
  FSRef outerRef;
  FSRef innerRef;
  return zuv::platform::MakeRef(outer, &outerRef) == kNoErr &&
         zuv::platform::MakeRef(inner, &innerRef) == kNoErr &&
         ZuvIsSubFolder(TextOf(outerRef.path), TextOf(innerRef.path));
}

// One copy or move: the source's path, the new item's, and whether the work ran and succeeded.
struct Request {
  std::string source;
  std::string target;
  bool done = false;
};

// What a null name means: the destination is the new item's own path, or the folder that receives
// the item under the source's own name.
enum class NullName { kDestinationIsItem, kSourceName };

// The steps before the work. With `folderChecks`: a source path that makes no platform string is
// kZuvErrAccessDenied, then ValidFolderPathForCopyMove. Then the new item's path is formed; when
// it cannot be, the call ends with kZuvSuccess. A result ends the call; none goes on with *request.
std::optional<ZuvResult> Prepare(const CZuvFilePath& source, const CZuvFilePath& destination,
                                 const CZuvStringData* name, NullName nullName, bool folderChecks,
                                 Request* request) {
  request->source = FullPathOf(source);
  const std::string folder = FullPathOf(destination);
  if (folderChecks) {
    if (!IsWellFormedUtf8(request->source)) return kZuvErrAccessDenied;
    const ZuvResult valid = ValidFolderPathForCopyMove(TextOf(request->source), TextOf(folder));
    if (ZuvIsFailure(valid)) return valid;
  }
  std::optional<std::string> target;
  if (name != nullptr) {
    target = Join(folder, Utf8Of(*name));
  } else if (nullName == NullName::kDestinationIsItem) {
    if (IsUsableItemPath(folder)) target = folder;
  } else {
    CZuvStringData ownName;
    ZuvGetFileNameFromPath(source, &ownName);
    target = Join(folder, Utf8Of(ownName));
  }
  if (!target) return kZuvSuccess;
  request->target = std::move(*target);
  return std::nullopt;
}

// Makes room at the new path: nothing to do when it is free; kZuvErrSubFolder when the source lies
// inside the item there, whose removal would take the source along; else the item is removed, and
// `whenKept` ends the call if it could not be.
std::optional<ZuvResult> MakeRoom(const Request& request, ZuvResult whenKept) {
  if (!ItemExists(request.target)) return std::nullopt;
  if (LiesInside(request.target, request.source)) return kZuvErrSubFolder;
  if (ZuvIsFailure(ZuvRemoveFileRecursive(PathObjectOf(TextOf(request.target))))) return whenKept;
  return std::nullopt;
}

// Runs a ZuvCopyPath or ZuvMovePath with the callback (may be null) and gives its result; none
// when the operation could not be made (an empty path).
template <class Operation>
std::optional<ZuvResult> Run(const std::string& from, const std::string& to,
                             ZuvProgressProc progress, void* data) {
  const std::unique_ptr<Operation> operation = Operation::Create(TextOf(from), TextOf(to));
  if (!operation) return std::nullopt;
  operation->setProgress(progress, data);
  return operation->perform();
}

// The file manager's copy or move without a handler, which only says yes or no.
template <class Operation>
ZuvResult RunWithoutHandler(const std::string& from, const std::string& to) {
  const std::optional<ZuvResult> result = Run<Operation>(from, to, nullptr, nullptr);
  return result && ZuvIsSuccess(*result) ? kZuvSuccess : kZuvErrAccessDenied;
}

// The result of the work as the caller sees it. A failure becomes kZuvErrDiskFull when
// `checkDiskFull` and IsDiskFullError(destination) hold; a cancel stays a cancel.
ZuvResult Reported(ZuvResult work, const CZuvFilePath& destination, bool checkDiskFull) {
  if (ZuvIsSuccess(work)) return kZuvSuccess;
  if (checkDiskFull && work != kZuvErrCanceled && IsDiskFullError(destination)) {
    return kZuvErrDiskFull;
  }
  return work;
}

ZuvResult SetOut(const Request& request, CZuvFilePath* out) {
  if (out != nullptr) {
    const CZuvStringData target = TextOf(request.target);
    out->Initialize(&target);
  }
  return kZuvSuccess;
}

bool IsReadableOrWritable(const CZuvFilePath& path) {
  return (CZuvFileHandle(path).GetAttribute() & (kZuvAttributeReadable | kZuvAttributeWritable)) !=
         0;
}

// The tree copies and moves with a progress callback: the preparation, making room (a kept item
// ends the call with `whenKept`), the work and its report. `whenNotMade` is the result when the
// operation cannot be made.
struct ProgressRun {
  NullName nullName;
  bool folderChecks;
  ZuvResult whenKept;
  ZuvResult whenNotMade;
  bool checkDiskFull;
};

template <class Operation>
ZuvResult RunWithProgress(const ProgressRun& how, const CZuvFilePath& source,
                          const CZuvFilePath& destination, const CZuvStringData* name,
                          ZuvProgressProc progress, void* data, Request* request) {
  if (const auto ended =
          Prepare(source, destination, name, how.nullName, how.folderChecks, request)) {
    return *ended;
  }
  if (const auto ended = MakeRoom(*request, how.whenKept)) return *ended;
  const std::optional<ZuvResult> work =
      Run<Operation>(request->source, request->target, progress, data);
  if (!work) return how.whenNotMade;
  request->done = ZuvIsSuccess(*work);
  return Reported(*work, destination, how.checkDiskFull);
}

// Reads and writes `size` bytes through `buffer` in chunks of at most kChunkSize, calling progress
// (may be null) after each chunk. The counts read and written are not looked at. False when
// progress answered false.
bool CopyChunks(FileStream& from, FileStream& to, uint64_t size, char* buffer,
                ZuvProgressProc progress, void* data) {
  for (uint64_t remaining = size; remaining > 0;) {
    const size_t chunk = static_cast<size_t>(std::min<uint64_t>(remaining, kChunkSize));
    from.Read(buffer, chunk);
    to.Write(buffer, chunk);
    remaining -= chunk;
    if (progress != nullptr && !progress(data)) return false;
  }
  return true;
}

}  // namespace

ZuvResult ZuvMakeFilePath(const CZuvStringData& folder, const CZuvStringData& name,
                          CZuvStringData* out) {
  if (out == nullptr) return kZuvErrNotFound;
  const std::optional<std::string> joined = Join(Utf8Of(folder), Utf8Of(name));
  if (!joined) return kZuvErrInvalidName;
  *out = TextOf(*joined);
  return kZuvSuccess;
}

ZuvResult ZuvMakeFilePath(const CZuvFilePath& folder, const CZuvStringData& name,
                          CZuvFilePath* out) {
  const std::string folderPath = FullPathOf(folder);
  if (folderPath.size() + name.GetLengthByteUtf8() + 1 > kLongestJoinedPath) {
    return kZuvErrPathTooLong;
  }
  if (Utf16Of(name).size() > kLongestName) return kZuvErrNameTooLong;
  CZuvStringData joined;
  if (const ZuvResult result = ZuvMakeFilePath(TextOf(folderPath), name, &joined);
      ZuvIsFailure(result)) {
    return result;
  }
  if (out == nullptr) return kZuvErrNotFound;
  if (const ZuvResult result = out->Initialize(&joined); ZuvIsFailure(result)) return result;
  FSRef ref;
  if (const ZuvResult result = out->GetFSRef(&ref); ZuvIsFailure(result)) return result;
  return out->Initialize(&ref);
}

ZuvResult ValidFolderPathForCopyMove(const CZuvStringData& source,
                                     const CZuvStringData& destination) {
  if (ZuvStringDataCmp(source, destination) == 0) return kZuvErrSamePath;
  if (ZuvIsSubFolder(source, destination)) return kZuvErrSubFolder;
  return kZuvSuccess;
}

bool IsDiskFullError(const CZuvFilePath& destination) {
  return (CZuvFileHandle(destination).GetAttribute() & kZuvAttributeWritable) != 0 &&
         ZuvIsDiskFull(destination);
}

ZuvResult ZuvRemoveFileRecursive(const CZuvFilePath& path) {
  return ZuvIsSuccess(ZuvDeleteFolder(path)) ? kZuvSuccess : kZuvErrAccessDenied;
}

ZuvResult ZuvCopyFile(const CZuvStringData& destination, const CZuvStringData& source) {
  const std::string from = Utf8Of(source);
  if (!ItemExists(from)) return kZuvErrFileSystem;
  return RunWithoutHandler<ZuvCopyPath>(from, Utf8Of(destination));
}

ZuvResult ZuvCopyFile(const CZuvFilePath& source, const CZuvFilePath& destination,
                      const CZuvStringData& name, CZuvFilePath* out) {
  if (!ItemExists(FullPathOf(source))) return kZuvErrFileSystem;
  Request request;
  if (const auto ended =
          Prepare(source, destination, &name, NullName::kSourceName, false, &request)) {
    return *ended;
  }
  const bool byHand = CarriesOverByHand();
  CZuvTime updated;
  CZuvTime created;
  if (byHand) {
    const CZuvFileHandle original(source);
    original.GetUpdateTime(&updated);
    original.GetCreateTime(&created);
  }
  const ZuvResult work = RunWithoutHandler<ZuvCopyPath>(request.source, request.target);
  if (ZuvIsFailure(work)) return Reported(work, destination, true);
  if (byHand) {
    CZuvFileHandle copy(PathObjectOf(TextOf(request.target)));
    copy.SetUpdateTime(updated);
    copy.SetCreateTime(created);
  }
  return SetOut(request, out);
}

// The stream copy appends on purpose: callers collect the data of several files in one. The
// destination is deleted on a cancel whatever it held before.
ZuvResult ZuvCopyFileEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                        const CZuvStringData& name, ZuvProgressProc progress, void* data) {
  CZuvStringData target;
  if (const ZuvResult result = ZuvMakeFilePath(TextOf(FullPathOf(destination)), name, &target);
      ZuvIsFailure(result)) {
    return result;
  }
  FileStream input;
  FileStream output;
  input.Open(FullPathOf(source), FileStream::Access::kRead);
  output.Open(Utf8Of(target), FileStream::Access::kAppend);
  std::vector<char> buffer(kChunkSize);
  bool canceled = false;
  while (!canceled && input.HasBytesAvailable()) {
    output.Write(buffer.data(), input.Read(buffer.data(), kChunkSize));
    canceled = progress != nullptr && !progress(data);
  }
  input.Close();
  output.Close();
  if (!canceled) return kZuvSuccess;
  ZuvDeleteFile(PathObjectOf(target));
  return kZuvErrCanceled;
}

// Writes over the destination without truncating it: a longer destination keeps its tail. This
// system's files have no resource fork, and a file without one counts as fully copied once its
// data is, so the copy ends there and carries no catalog dates over.
ZuvResult ZuvCopyFileEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                        ZuvProgressProc progress, void* data) {
  FSRef from;
  FSRef to;
  if (const ZuvResult result = source.GetFSRef(&from); ZuvIsFailure(result)) return result;
  if (const ZuvResult result = destination.GetFSRef(&to); ZuvIsFailure(result)) return result;
  FSCatalogInfo info;
  if (zuv::platform::GetCatalogInfo(from, kFSCatInfoDataSizes, &info, nullptr) != kNoErr) {
    return kZuvErrFileSystem;
  }
  FileStream input;
  FileStream output;
  if (input.Open(from.path, FileStream::Access::kRead) != kNoErr ||
      output.Open(to.path, FileStream::Access::kWriteOver) != kNoErr) {
    return kZuvErrAccessDenied;
  }
  std::vector<char> buffer(kChunkSize);
  const bool finished =
      CopyChunks(input, output, info.dataLogicalSize, buffer.data(), progress, data);
  input.Close();
  output.Close();
  if (finished) return kZuvSuccess;
  ZuvDeleteFile(destination);
  return kZuvErrCanceled;
}

ZuvResult ZuvCopyFileOverwrite(const CZuvFilePath& source, const CZuvFilePath& destination) {
  const Request request{FullPathOf(source), FullPathOf(destination)};
  if (request.source == request.target) return kZuvErrAccessDenied;
  if (const auto ended = MakeRoom(request, kZuvErrAccessDenied)) return *ended;
  return RunWithoutHandler<ZuvCopyPath>(request.source, request.target);
}

ZuvResult ZuvCopyFileOverwrite(const CZuvFilePath& source, const CZuvFilePath& destination,
                               const CZuvStringData* name, CZuvFilePath* out) {
  Request request;
  if (const auto ended =
          Prepare(source, destination, name, NullName::kSourceName, false, &request)) {
    return *ended;
  }
  if (const auto ended = MakeRoom(request, kZuvErrAccessDenied)) return *ended;
  const ZuvResult work = RunWithoutHandler<ZuvCopyPath>(request.source, request.target);
  if (ZuvIsFailure(work)) return Reported(work, destination, true);
  return SetOut(request, out);
}

ZuvResult ZuvCopyFileOverwriteEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                                 const CZuvStringData* name, ZuvProgressProc progress, void* data) {
  if (!IsReadableOrWritable(source)) return kZuvErrAccessDenied;
  Request request;
  const ZuvResult result = RunWithProgress<ZuvCopyPath>(
      {NullName::kDestinationIsItem, false, kZuvErrAccessDenied, kZuvErrAccessDenied, true}, source,
      destination, name, progress, data, &request);
  if (request.done && CarriesOverByHand() &&
      (CZuvFileHandle(source).GetAttribute() & kZuvAttributeLocked) != 0) {
    CZuvFileHandle(PathObjectOf(TextOf(request.target))).SetAttribute(kZuvAttributeLocked);
  }
  return result;
}

ZuvResult ZuvCopyFolder(CZuvFilePath source, CZuvFilePath destination, const CZuvStringData& name,
                        CZuvFilePath* out) {
  Request request;
  if (const auto ended =
          Prepare(source, destination, &name, NullName::kSourceName, true, &request)) {
    return *ended;
  }
  const ZuvResult work = RunWithoutHandler<ZuvCopyPath>(request.source, request.target);
  return ZuvIsFailure(work) ? work : SetOut(request, out);
}

// A kept item ends the folder and move variants with kZuvSuccess and nothing done: that is their
// established contract, on which callers rely.
ZuvResult ZuvCopyFolderEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                          const CZuvStringData& name, ZuvProgressProc progress, void* data) {
  if (!IsReadableOrWritable(source)) return kZuvErrAccessDenied;
  Request request;
  return RunWithProgress<ZuvCopyPath>(
      {NullName::kSourceName, true, kZuvSuccess, kZuvErrAccessDenied, false}, source, destination,
      &name, progress, data, &request);
}

ZuvResult ZuvCopyFolderOverwriteEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                                   const CZuvStringData* name, ZuvProgressProc progress,
                                   void* data) {
  Request request;
  return RunWithProgress<ZuvCopyPath>(
      {NullName::kDestinationIsItem, true, kZuvSuccess, kZuvErrAccessDenied, true}, source,
      destination, name, progress, data, &request);
}

ZuvResult ZuvMoveFile(const CZuvFilePath& source, const CZuvFilePath& destination) {
  return RunWithoutHandler<ZuvMovePath>(FullPathOf(source), FullPathOf(destination));
}

ZuvResult ZuvMoveFile(const CZuvStringData& source, const CZuvStringData& destination) {
  if (const ZuvResult valid = ValidFolderPathForCopyMove(source, destination);
      ZuvIsFailure(valid)) {
    return valid;
  }
  const std::string target = Utf8Of(destination);
  if (ItemExists(target)) return kZuvErrAccessDenied;
  return RunWithoutHandler<ZuvMovePath>(Utf8Of(source), target);
}

// A "/" cannot be part of a name on disk; ":" takes its place, as the Finder shows it.
ZuvResult ZuvMoveFile(const CZuvFilePath& source, const CZuvFilePath& destination,
                      const CZuvStringData& name, CZuvFilePath* out) {
  std::string leaf = Utf8Of(name);
  std::replace(leaf.begin(), leaf.end(), '/', ':');
  const CZuvStringData fileName = TextOf(leaf);
  Request request;
  if (const auto ended =
          Prepare(source, destination, &fileName, NullName::kSourceName, true, &request)) {
    return *ended;
  }
  const ZuvResult work = RunWithoutHandler<ZuvMovePath>(request.source, request.target);
  return ZuvIsFailure(work) ? work : SetOut(request, out);
}

ZuvResult ZuvMoveFileEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                        const CZuvStringData& name, ZuvProgressProc progress, void* data) {
  Request request;
  return RunWithProgress<ZuvMovePath>({NullName::kSourceName, true, kZuvSuccess, kZuvSuccess, true},
                                      source, destination, &name, progress, data, &request);
}

ZuvResult ZuvMoveFileOverwrite(const CZuvFilePath& source, const CZuvFilePath& destination,
                               const CZuvStringData* name, CZuvFilePath* out) {
  Request request;
  const ZuvResult result = RunWithProgress<ZuvMovePath>(
      {NullName::kSourceName, true, kZuvSuccess, kZuvErrAccessDenied, true}, source, destination,
      name, nullptr, nullptr, &request);
  return request.done ? SetOut(request, out) : result;
}

ZuvResult ZuvMoveFileOverwriteEx(const CZuvFilePath& source, const CZuvFilePath& destination,
                                 const CZuvStringData* name, ZuvProgressProc progress, void* data) {
  Request request;
  return RunWithProgress<ZuvMovePath>(
      {NullName::kSourceName, true, kZuvSuccess, kZuvErrAccessDenied, true}, source, destination,
      name, progress, data, &request);
}
