#include "zuv/transfer/result.h"

#include <cstring>

const char* const NSOSStatusErrorDomain = "NSOSStatusErrorDomain";
const char* const NSCocoaErrorDomain = "NSCocoaErrorDomain";
const char* const NSURLErrorDomain = "NSURLErrorDomain";
const char* const NSMachErrorDomain = "NSMachErrorDomain";
const char* const NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

namespace {

struct NamedResult {
  ZuvResult code;
  const char* name;
};

#define ZUV_NAMED_RESULT(code) \
  { code, #code }
constexpr NamedResult kNamedResults[] = {
    ZUV_NAMED_RESULT(kZuvSuccess),         ZUV_NAMED_RESULT(kZuvErrCanceled),
    ZUV_NAMED_RESULT(kZuvErrNoMemory),     ZUV_NAMED_RESULT(kZuvErrEmptyPath),
    ZUV_NAMED_RESULT(kZuvErrDiskFull),     ZUV_NAMED_RESULT(kZuvErrFailed),
    ZUV_NAMED_RESULT(kZuvErrNotFound),     ZUV_NAMED_RESULT(kZuvErrPathTooLong),
    ZUV_NAMED_RESULT(kZuvErrNotSupported), ZUV_NAMED_RESULT(kZuvErrAlreadyExists),
    ZUV_NAMED_RESULT(kZuvErrFileSystem),   ZUV_NAMED_RESULT(kZuvErrInUse),
    ZUV_NAMED_RESULT(kZuvErrAccessDenied), ZUV_NAMED_RESULT(kZuvErrFolderExists),
    ZUV_NAMED_RESULT(kZuvErrInvalidName),  ZUV_NAMED_RESULT(kZuvErrServiceRefused),
    ZUV_NAMED_RESULT(kZuvErrNameTooLong),  ZUV_NAMED_RESULT(kZuvErrSamePath),
    ZUV_NAMED_RESULT(kZuvErrSubFolder),
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

}  // namespace

const char* ZuvResultName(ZuvResult result) {
  for (const NamedResult& named : kNamedResults) {
    if (named.code == result) return named.name;
  }
  return nullptr;
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
