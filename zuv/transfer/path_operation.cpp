#include "zuv/transfer/path_operation.h"

#include <cerrno>
#include <string>
#include <utility>

#include "zuv/files/internal/file_text.h"
#include "zuv/platform/machine_facts.h"
#include "zuv/platform/replaceable.h"
#include "zuv/platform/tree_transfer.h"

namespace {

using zuv::files_internal::Utf8Of;
using zuv::platform::Replaceable;
using zuv::platform::TreeNotice;
using zuv::platform::TreeTransfer;

// The system versions on which the copy reports each item it makes.
bool CopyReportsItems() {
  const uint32_t version = Replaceable<zuv::platform::MachineFacts>::Current().SystemVersion();
  return version - 0x1060u <= 0xFu;
}

// The notice shared by both operations: `path` is reported unless it is to be passed over; a false
// answer is remembered as the canceled path.
bool Report(const std::string& path, bool passOver, ZuvProgressProc progress, void* data,
            std::string* canceledPath) {
  if (progress == nullptr || passOver || progress(data)) return true;
  *canceledPath = path;
  return false;
}

// The end shared by both operations. The walk stops at the canceled path before making anything
// there, so nothing is left to remove.
ZuvResult Finish(ZuvResult result, ZuvProgressProc progress, void* data,
                 std::string* canceledPath) {
  if (!canceledPath->empty()) {
    canceledPath->clear();
    return kZuvErrCanceled;
  }
  if (progress != nullptr) progress(data);
  return result;
}

}  // namespace

ZuvCopyPath::ZuvCopyPath(std::string source, std::string destination)
    : m_source(std::move(source)), m_destination(std::move(destination)) {}

std::unique_ptr<ZuvCopyPath> ZuvCopyPath::Create(const CZuvStringData& source,
                                                 const CZuvStringData& destination) {
  if (source.IsEmpty() || destination.IsEmpty()) return nullptr;
  return std::unique_ptr<ZuvCopyPath>(new ZuvCopyPath(Utf8Of(source), Utf8Of(destination)));
}

void ZuvCopyPath::setProgress(ZuvProgressProc progress, void* data) {
  m_progress = progress;
  m_progressData = data;
}

ZuvResult ZuvCopyPath::perform() {
  const bool reports = CopyReportsItems();
  TreeNotice notice;
  if (reports) notice = [this](const std::string& path) { return Notice(path); };
  const int error = Replaceable<TreeTransfer>::Current().Copy(m_source, m_destination, notice);
  ZuvResult result = kZuvSuccess;
  if (error != 0) {
    result = reports ? kZuvErrAccessDenied : ConvertCocoaError(NSPOSIXErrorDomain, error);
  }
  return Finish(result, m_progress, m_progressData, &m_canceledPath);
}

bool ZuvCopyPath::willProcessPath(const CZuvStringData& path) { return Notice(Utf8Of(path)); }

bool ZuvCopyPath::shouldProceedAfterError() const { return false; }

bool ZuvCopyPath::Notice(const std::string& path) {
  return Report(path, path == m_destination, m_progress, m_progressData, &m_canceledPath);
}

ZuvMovePath::ZuvMovePath(std::string source, std::string destination)
    : m_source(std::move(source)), m_destination(std::move(destination)) {}

std::unique_ptr<ZuvMovePath> ZuvMovePath::Create(const CZuvStringData& source,
                                                 const CZuvStringData& destination) {
  if (source.IsEmpty() || destination.IsEmpty()) return nullptr;
  return std::unique_ptr<ZuvMovePath>(new ZuvMovePath(Utf8Of(source), Utf8Of(destination)));
}

void ZuvMovePath::setProgress(ZuvProgressProc progress, void* data) {
  m_progress = progress;
  m_progressData = data;
}

ZuvResult ZuvMovePath::perform() {
  const TreeNotice notice = [this](const std::string& path) { return Notice(path); };
  const int error = Replaceable<TreeTransfer>::Current().Move(m_source, m_destination, notice);
  const ZuvResult result = error == 0 ? kZuvSuccess : kZuvErrAccessDenied;
  return Finish(result, m_progress, m_progressData, &m_canceledPath);
}

bool ZuvMovePath::willProcessPath(const CZuvStringData& path) { return Notice(Utf8Of(path)); }

bool ZuvMovePath::shouldProceedAfterError() const { return false; }

// A path under the source is passed over as the source's text begins it, as a plain prefix.
bool ZuvMovePath::Notice(const std::string& path) {
  const bool passOver = path.rfind(m_source, 0) == 0 || path == m_destination;
  return Report(path, passOver, m_progress, m_progressData, &m_canceledPath);
}
