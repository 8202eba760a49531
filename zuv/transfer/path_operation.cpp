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

// An operation of type Operation on two paths, or null when either is empty.
template <class Operation>
std::unique_ptr<Operation> Make(const CZuvStringData& source, const CZuvStringData& destination) {
  if (source.IsEmpty() || destination.IsEmpty()) return nullptr;
  struct Made : Operation {
    Made(std::string from, std::string to) : Operation(std::move(from), std::move(to)) {}
  };
  return std::make_unique<Made>(Utf8Of(source), Utf8Of(destination));
}

}  // namespace

ZuvPathOperation::ZuvPathOperation(std::string source, std::string destination)
    : m_source(std::move(source)), m_destination(std::move(destination)) {}

ZuvPathOperation::~ZuvPathOperation() = default;

void ZuvPathOperation::setProgress(ZuvProgressProc progress, void* data) {
  m_progress = progress;
  m_progressData = data;
}

bool ZuvPathOperation::willProcessPath(const CZuvStringData& path) { return Notice(Utf8Of(path)); }

bool ZuvPathOperation::shouldProceedAfterError() const { return false; }

void ZuvPathOperation::setVerify(bool verify) { m_verify = verify; }

const std::vector<std::string>& ZuvPathOperation::verifyMismatches() const { return m_mismatches; }

bool ZuvPathOperation::PassesOver(const std::string& path) const { return path == m_destination; }

bool ZuvPathOperation::Notice(const std::string& path) {
  if (m_progress == nullptr || PassesOver(path) || m_progress(m_progressData)) return true;
  m_canceled = true;
  return false;
}

// The walk stops at the canceled path before making anything there, so nothing is left to remove.
ZuvResult ZuvPathOperation::Finish(ZuvResult result) {
  if (m_canceled) {
    m_canceled = false;
    return kZuvErrCanceled;
  }
  if (m_progress != nullptr) m_progress(m_progressData);
  return result;
}

std::unique_ptr<ZuvCopyPath> ZuvCopyPath::Create(const CZuvStringData& source,
                                                 const CZuvStringData& destination) {
  return Make<ZuvCopyPath>(source, destination);
}

ZuvResult ZuvCopyPath::perform() {
  const bool reports = CopyReportsItems();
  TreeNotice notice;
  if (reports) notice = [this](const std::string& path) { return Notice(path); };
  m_mismatches.clear();
  const int error = Replaceable<TreeTransfer>::Current().Copy(m_source, m_destination, notice,
                                                              {m_verify, &m_mismatches});
  ZuvResult result = kZuvSuccess;
  if (!m_mismatches.empty()) {
    result = kZuvErrFileSystem;
  } else if (error != 0) {
    result = reports ? kZuvErrAccessDenied : ConvertCocoaError(NSPOSIXErrorDomain, error);
  }
  return Finish(result);
}

std::unique_ptr<ZuvMovePath> ZuvMovePath::Create(const CZuvStringData& source,
                                                 const CZuvStringData& destination) {
  return Make<ZuvMovePath>(source, destination);
}

ZuvResult ZuvMovePath::perform() {
  const TreeNotice notice = [this](const std::string& path) { return Notice(path); };
  m_mismatches.clear();
  const int error = Replaceable<TreeTransfer>::Current().Move(m_source, m_destination, notice,
                                                              {m_verify, &m_mismatches});
  if (!m_mismatches.empty()) return Finish(kZuvErrFileSystem);
  return Finish(error == 0 ? kZuvSuccess : kZuvErrAccessDenied);
}

// A path under the source is passed over as the source's text begins it, as a plain prefix.
bool ZuvMovePath::PassesOver(const std::string& path) const {
  return path.rfind(m_source, 0) == 0 || ZuvPathOperation::PassesOver(path);
}
