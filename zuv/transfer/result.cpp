#include "zuv/transfer/result.h"

#include <cstring>

const char* const NSOSStatusErrorDomain = "NSOSStatusErrorDomain";
const char* const NSCocoaErrorDomain = "NSCocoaErrorDomain";
const char* const NSURLErrorDomain = "NSURLErrorDomain";
const char* const NSMachErrorDomain = "NSMachErrorDomain";
const char* const NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

namespace {

// Each code with its name and its plain reason. kZuvErrAccessDenied is also what several
// operations answer for a missing item, and its reason says so.
struct NamedResult {
  ZuvResult code;
  const char* name;
  const char* reason;
};

#define ZUV_NAMED_RESULT(code, reason) \
  { code, #code, reason }
constexpr NamedResult kNamedResults[] = {
    ZUV_NAMED_RESULT(kZuvSuccess, "success"),
    ZUV_NAMED_RESULT(kZuvErrCanceled, "canceled"),
    ZUV_NAMED_RESULT(kZuvErrNoMemory, "out of memory"),
    ZUV_NAMED_RESULT(kZuvErrEmptyPath, "the path is empty"),
    ZUV_NAMED_RESULT(kZuvErrDiskFull, "the volume is full"),
    ZUV_NAMED_RESULT(kZuvErrFailed, "the operation failed"),
    ZUV_NAMED_RESULT(kZuvErrNotFound, "no such item"),
    ZUV_NAMED_RESULT(kZuvErrPathTooLong, "the path is too long"),
    ZUV_NAMED_RESULT(kZuvErrNotSupported, "not supported"),
    ZUV_NAMED_RESULT(kZuvErrAlreadyExists, "the item already exists"),
    ZUV_NAMED_RESULT(kZuvErrFileSystem, "a file system error or no such item"),
    ZUV_NAMED_RESULT(kZuvErrInUse, "the file is open for writing elsewhere"),
    ZUV_NAMED_RESULT(kZuvErrAccessDenied, "permission denied or no such item"),
    ZUV_NAMED_RESULT(kZuvErrFolderExists, "an item of that name already exists"),
    ZUV_NAMED_RESULT(kZuvErrInvalidName, "the name is not valid"),
    ZUV_NAMED_RESULT(kZuvErrServiceRefused, "the service refused the request"),
    ZUV_NAMED_RESULT(kZuvErrNameTooLong, "the name is too long"),
    ZUV_NAMED_RESULT(kZuvErrSamePath, "source and destination are the same item"),
    ZUV_NAMED_RESULT(kZuvErrSubFolder, "the destination is inside the source folder"),
};
#undef ZUV_NAMED_RESULT

ZuvResult ConvertOSStatus(long code) {
  switch (code) {
    case -5000:  // afpAccessDenied
    case -61:    // wrPermErr
    case -46:    // vLckdErr
      return kZuvErrAccessDenied;
    case -1301:  // an existing item, not a lookup failure
      return kZuvErrAlreadyExists;
    case -35:  // nsvErr
      return kZuvErrNotFound;
    case -34:  // dskFulErr
    case -33:  // dirFulErr
      return kZuvErrDiskFull;
    default:
      return kZuvErrFailed;
  }
}

ZuvResult ConvertCocoaCode(long code) {
  switch (code) {
    case 257:  // NSFileReadNoPermissionError
    case 513:  // NSFileWriteNoPermissionError
      return kZuvErrAccessDenied;
    case 260:  // NSFileReadNoSuchFileError
      return kZuvErrNotFound;
    case 640:  // NSFileWriteOutOfSpaceError
      return kZuvErrDiskFull;
    default:
      return kZuvErrFailed;
  }
}

ZuvResult ConvertURLCode(long code) {
  switch (code) {
    case -1100:  // NSURLErrorFileDoesNotExist
    case -1000:  // NSURLErrorBadURL
      return kZuvErrNotFound;
    case -1102:  // NSURLErrorNoPermissionsToReadFile
      return kZuvErrAccessDenied;
    default:
      return kZuvErrFailed;
  }
}

// Only errno values 0 to 30 are known here; a file too large counts as a full disk.
ZuvResult ConvertPosixCode(long code) {
  switch (code) {
    case 1:   // EPERM
    case 13:  // EACCES
    case 30:  // EROFS
      return kZuvErrAccessDenied;
    case 2:  // ENOENT
      return kZuvErrNotFound;
    case 12:  // ENOMEM
      return kZuvErrNoMemory;
    case 17:  // EEXIST
      return kZuvErrAlreadyExists;
    case 27:  // EFBIG
    case 28:  // ENOSPC
      return kZuvErrDiskFull;
    default:
      return kZuvErrFailed;
  }
}

// Mach errors are recognised but deliberately left unmapped.
ZuvResult ConvertMachCode(long) { return kZuvErrFailed; }

struct DomainConverter {
  const char* const* domain;
  ZuvResult (*convert)(long code);
};

constexpr DomainConverter kDomainConverters[] = {
    {&NSOSStatusErrorDomain, ConvertOSStatus}, {&NSCocoaErrorDomain, ConvertCocoaCode},
    {&NSURLErrorDomain, ConvertURLCode},       {&NSMachErrorDomain, ConvertMachCode},
    {&NSPOSIXErrorDomain, ConvertPosixCode},
};

const NamedResult* FindNamedResult(ZuvResult result) {
  for (const NamedResult& named : kNamedResults) {
    if (named.code == result) return &named;
  }
  return nullptr;
}

}  // namespace

const char* ZuvResultName(ZuvResult result) {
  const NamedResult* named = FindNamedResult(result);
  return named != nullptr ? named->name : nullptr;
}

const char* ZuvResultReason(ZuvResult result) {
  const NamedResult* named = FindNamedResult(result);
  if (named != nullptr) return named->reason;
  return ZuvIsSuccess(result) ? "success" : "an unknown error";
}

ZuvResult ConvertCocoaError(const char* domain, long code) {
  if (domain == nullptr) return kZuvSuccess;
  for (const DomainConverter& converter : kDomainConverters) {
    if (std::strcmp(domain, *converter.domain) == 0) return converter.convert(code);
  }
  return kZuvErrFailed;
}

IAltusError::~IAltusError() = default;

ZuvResult ConvertAltusError(IAltusError* error) {
  if (error == nullptr) return kZuvSuccess;
  switch (error->GetErrorCode()) {
    case 0:
      return kZuvSuccess;
    case 1:
    case 1007:
      return kZuvErrFailed;
    case 1005:
      return kZuvErrNoMemory;
    case 1006:
    case 1008:
      return kZuvErrDiskFull;
    case 1100:
    case 1104:
    case 1105:
    case 1108:
      return kZuvErrFileSystem;
    case 1101:
    case 1102:
      return kZuvErrAccessDenied;
    case 1103:
      return kZuvErrNotSupported;
    case 1106:
    case 1107:
    case 1325:
      return kZuvErrServiceRefused;
    case 1324:
      return kZuvErrPathTooLong;
    default:
      return kZuvErrNotSupported;
  }
}
