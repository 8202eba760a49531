#include "zuv/platform/linux/status.h"

#include <cerrno>

namespace zuv::platform::detail {

OSStatus StatusFromErrno(int error) {
  switch (error) {
    case 0:
      return kNoErr;
    case ENOENT:
    case ENOTDIR:
    case ELOOP:
      return kErrFileNotFound;
    case EBUSY:
    case ETXTBSY:
    case ENOTEMPTY:  // a folder that still holds items is busy
      return kErrFileBusy;
    case EEXIST:
      return kErrDuplicateName;
    case ENOSPC:
    case EDQUOT:
      return kErrDiskFull;
    case EACCES:
    case EPERM:
      return kErrAccessDenied;
    case EROFS:
      return kErrVolumeLocked;
    case ENAMETOOLONG:
      return kErrBadName;
    case EXDEV:
      return kErrDifferentVolume;
    case EINVAL:
    case EISDIR:
      return kErrParam;
    case ENOMEM:
      return kErrNoMemory;
    case ENODEV:
    case ENXIO:
      return kErrNoSuchVolume;
    default:
      return kErrIO;
  }
}

}  // namespace zuv::platform::detail
