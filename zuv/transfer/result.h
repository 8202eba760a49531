// The one table of result codes that every file, path and lock operation returns, and the two
// converters that turn errors of outside origin (platform error objects, IAltusError) into codes.
#pragma once

#include <cstdint>

#include "zuv/export.h"

/// Unsigned 32-bit outcome of an operation. A value below 0x1000 is success, 0x1000 and above is
/// failure; test with ZuvIsSuccess()/ZuvIsFailure(), never against 0.
typedef uint32_t ZuvResult;

enum : ZuvResult {
  kZuvSuccess = 0,
  kZuvErrCanceled = 4098,
  kZuvErrNoMemory = 4099,
  kZuvErrEmptyPath = 4100,
  kZuvErrDiskFull = 4101,
  kZuvErrFailed = 4104,
  kZuvErrNotFound = 4353,
  kZuvErrPathTooLong = 4354,
  kZuvErrNotSupported = 4355,
  kZuvErrAlreadyExists = 4357,
  kZuvErrFileSystem = 4608,
  kZuvErrInUse = 4609,
  kZuvErrAccessDenied = 4610,
  kZuvErrFolderExists = 4611,
  kZuvErrInvalidName = 4612,
  kZuvErrServiceRefused = 4613,
  kZuvErrNameTooLong = 4614,
  kZuvErrSamePath = 4880,
  kZuvErrSubFolder = 4881,
};

/// The boundary between success and failure codes.
inline constexpr ZuvResult kZuvResultFailureBoundary = 0x1000;

/// Whether the code means success or failure.
/// @{
constexpr bool ZuvIsSuccess(ZuvResult result) { return result < kZuvResultFailureBoundary; }
constexpr bool ZuvIsFailure(ZuvResult result) { return result >= kZuvResultFailureBoundary; }
/// @}

/// The name of a code ("kZuvErrNotFound"), or null for a value that is not in the table.
ZUV_EXPORT const char* ZuvResultName(ZuvResult result);
/// What a code means, in plain lower-case words for a person ("the volume is full"); never null. A
/// value that is not in the table reads "success" below the failure boundary and "an unknown
/// error" from it on. The text is static and the same on every call.
ZUV_EXPORT const char* ZuvResultReason(ZuvResult result);

/// Error domain names of the platform's error objects, as ConvertCocoaError recognises them.
/// @{
ZUV_EXPORT extern const char* const NSOSStatusErrorDomain;
ZUV_EXPORT extern const char* const NSCocoaErrorDomain;
ZUV_EXPORT extern const char* const NSURLErrorDomain;
ZUV_EXPORT extern const char* const NSMachErrorDomain;
ZUV_EXPORT extern const char* const NSPOSIXErrorDomain;
/// @}

/// Converts a platform error, given as its domain name and code, into a result code. A null domain
/// means no error and gives kZuvSuccess; a domain or code without a mapping gives kZuvErrFailed.
ZUV_EXPORT ZuvResult ConvertCocoaError(const char* domain, long code);

/// The error interface of the application's imaging library. Only the code is read here.
class ZUV_EXPORT IAltusError {
 public:
  virtual ~IAltusError();
  /// The error's code; 0 means no error.
  virtual int32_t GetErrorCode() const = 0;
};

/// Converts an IAltusError into a result code. Null, or code 0, gives kZuvSuccess; a code without a
/// mapping gives kZuvErrNotSupported.
ZUV_EXPORT ZuvResult ConvertAltusError(IAltusError* error);
