#include "zuv/paths/file_path.h"

#include <string>
#include <string_view>

#include "zuv/paths/internal/path_text.h"
#include "zuv/platform/catalog.h"

namespace {

// Room for a path and its terminator when a reference is turned into one.
constexpr size_t kPathBufferSize = 2048;

bool Exists(const CZuvStringData& path) {
  FSRef ref;
  return zuv::platform::MakeRef(path.GetPtrUtf8(), &ref) == zuv::platform::kNoErr;
}

}  // namespace

CZuvFilePath::CZuvFilePath() = default;

CZuvFilePath::CZuvFilePath(const CZuvFilePath& other) : m_strPath(other.m_strPath) {}

CZuvFilePath::~CZuvFilePath() = default;

CZuvFilePath& CZuvFilePath::operator=(const CZuvFilePath& other) {
  if (this != &other) Initialize(&other.m_strPath);
  return *this;
}

void CZuvFilePath::Free() { m_strPath.Clear(); }

bool CZuvFilePath::IsEmpty() const {
  return m_strPath.GetLengthByteUtf8() == 0 || !Exists(m_strPath);
}

ZuvResult CZuvFilePath::Initialize(const CZuvStringData* path) {
  Free();
  m_strPath = *path;
  return Exists(m_strPath) ? kZuvSuccess : kZuvErrFileSystem;
}

ZuvResult CZuvFilePath::Initialize(const FSRef* ref) {
  Free();
  const ZuvResult result = ZuvFSRefToFullPath(*ref, &m_strPath);
  if (ZuvIsFailure(result)) Free();
  return result;
}

ZuvResult CZuvFilePath::GetFullPath(CZuvStringData* out) const {
  *out = m_strPath;
  return kZuvSuccess;
}

ZuvResult CZuvFilePath::GetFSRef(FSRef* out) const {
  return zuv::platform::MakeRef(m_strPath.GetPtrUtf8(), out) == zuv::platform::kNoErr
             ? kZuvSuccess
             : kZuvErrNotFound;
}

ZuvResult CZuvFilePath::GetParent(CZuvFilePath* parent) const {
  if (m_strPath.IsEmpty()) return kZuvErrEmptyPath;
  const char* utf8 = m_strPath.GetPtrUtf8();  // null when memory ran out making the form
  if (utf8 == nullptr || *utf8 == '\0') return kZuvErrNotFound;
  std::string_view path = utf8;
  if (path == "/") return kZuvErrFileSystem;
  if (path.back() == '/') path.remove_suffix(1);  // one "/" only: "/a//" has the parent "/a"
  const std::string folder(zuv::paths_internal::FolderOf(path));
  if (folder.empty()) return kZuvErrFileSystem;  // a single name
  const CZuvStringData parentPath(ZuvCharUtf8(folder.c_str()));
  return parent->Initialize(&parentPath);
}

ZuvResult ZuvFSRefToFullPath(const FSRef& ref, CZuvStringData* out) {
  char buffer[kPathBufferSize] = {};
  if (zuv::platform::RefMakePath(ref, buffer, sizeof buffer) != zuv::platform::kNoErr) {
    return kZuvErrFileSystem;
  }
  return out->InitWithUtf8(buffer);
}
