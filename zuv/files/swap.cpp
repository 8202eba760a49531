#include "zuv/files/swap.h"

#include <string>

#include "zuv/files/file_handle.h"
#include "zuv/files/internal/file_text.h"
#include "zuv/platform/file_system.h"

namespace {

using zuv::files_internal::HasNoOwnName;
using zuv::platform::FileSystem;
using zuv::platform::kNoErr;
using zuv::platform::OSStatus;
using zuv::platform::Replaceable;

// Where the counter of temporary names starts at each exchange.
constexpr uint32_t kTemporaryNameSeed = 0x2E5A0C41;

// One of the two files of an exchange by renames: where it was and under what name, its catalog
// record then, the reference to it wherever it is now, and which changes were tried on it.
struct Side {
  FSRef now;
  FSRef folder;
  std::u16string name;
  std::u16string temporaryName;
  FSCatalogInfo info = {};
  bool moved = false;
  bool written = false;
};

OSStatus ReadSide(const FSRef& item, Side* side) {
  side->now = item;
  const FSCatalogInfoBitmap fields =
      zuv::platform::ExchangedCatalogFields() | kFSCatInfoNodeFlags | kFSCatInfoVolume;
  const OSStatus status = zuv::platform::GetCatalogInfo(item, fields, &side->info, nullptr);
  return status != kNoErr ? status
                          : zuv::platform::GetParentAndName(item, &side->folder, &side->name);
}

// Eight upper-case hexadecimal digits.
std::u16string HexName(uint32_t number) {
  std::u16string name(8, u'0');
  for (int i = 7; i >= 0; --i, number >>= 4) name[i] = u"0123456789ABCDEF"[number & 0xF];
  return name;
}

// The first name from *counter on that is free in both folders; *counter is left on it.
OSStatus PickTemporaryName(const Side& a, const Side& b, uint32_t* counter, std::u16string* name) {
  for (;; ++*counter) {
    const std::u16string candidate = HexName(*counter);
    FSRef found;
    OSStatus status = zuv::platform::FindChild(a.folder, candidate, &found);
    if (status == zuv::platform::kErrFileNotFound) {
      status = zuv::platform::FindChild(b.folder, candidate, &found);
    }
    if (status == zuv::platform::kErrFileNotFound) {
      *name = candidate;
      return kNoErr;
    }
    if (status != kNoErr) return status;
  }
}

OSStatus RenameSide(FileSystem& fileSystem, Side& side, const std::u16string& name) {
  FSRef renamed;
  const OSStatus status = fileSystem.Rename(side.now, name, &renamed);
  if (status == kNoErr) side.now = renamed;
  return status;
}

OSStatus MoveSide(FileSystem& fileSystem, Side& side, const FSRef& folder) {
  FSRef moved;
  const OSStatus status = fileSystem.Move(side.now, folder, &moved);
  if (status == kNoErr) side.now = moved;
  return status;
}

OSStatus WriteInfo(FileSystem& fileSystem, Side& side, const FSCatalogInfo& info) {
  return fileSystem.SetCatalogInfo(side.now, zuv::platform::ExchangedCatalogFields(), info);
}

// Puts both files back as they were: their own catalog records, their own folders, their own
// names. Each step is tried whatever became of the others.
void Undo(FileSystem& fileSystem, Side& source, Side& dest) {
  if (dest.written) WriteInfo(fileSystem, dest, dest.info);
  if (source.written) WriteInfo(fileSystem, source, source.info);
  if (dest.moved) MoveSide(fileSystem, dest, dest.folder);
  if (source.moved) MoveSide(fileSystem, source, source.folder);
  RenameSide(fileSystem, source, source.name);
  RenameSide(fileSystem, dest, dest.name);
}

// Both files first take free temporary names, then change folders, then each takes the other's
// catalog record and name. Up to the first rename nothing has changed; after it, any failure is
// undone, so both files always end under a name of their own.
OSStatus ExchangeByRenames(const FSRef& sourceRef, const FSRef& destRef, FSRef* newSource,
                           FSRef* newDest) {
  Side source;
  Side dest;
  if (const OSStatus status = ReadSide(sourceRef, &source); status != kNoErr) return status;
  if (const OSStatus status = ReadSide(destRef, &dest); status != kNoErr) return status;
  if (source.info.volume != dest.info.volume) return zuv::platform::kErrDifferentVolume;
  if ((source.info.nodeFlags | dest.info.nodeFlags) & kFSNodeIsDirectoryMask) {
    return zuv::platform::kErrNotAFile;
  }
  uint32_t counter = kTemporaryNameSeed;
  if (const OSStatus status = PickTemporaryName(source, dest, &counter, &source.temporaryName);
      status != kNoErr) {
    return status;
  }
  ++counter;
  if (const OSStatus status = PickTemporaryName(source, dest, &counter, &dest.temporaryName);
      status != kNoErr) {
    return status;
  }

  FileSystem& fileSystem = Replaceable<FileSystem>::Current();
  if (const OSStatus status = RenameSide(fileSystem, source, source.temporaryName);
      status != kNoErr) {
    return status;
  }
  if (const OSStatus status = RenameSide(fileSystem, dest, dest.temporaryName); status != kNoErr) {
    RenameSide(fileSystem, source, source.name);
    return status;
  }

  OSStatus status = kNoErr;
  if (!zuv::platform::CompareRefs(source.folder, dest.folder)) {
    status = MoveSide(fileSystem, source, dest.folder);
    source.moved = status == kNoErr;
    if (source.moved) {
      status = MoveSide(fileSystem, dest, source.folder);
      dest.moved = status == kNoErr;
    }
  }
  // A catalog write that failed may have changed part of the record, so it is undone too.
  if (status == kNoErr) {
    source.written = true;
    status = WriteInfo(fileSystem, source, dest.info);
  }
  if (status == kNoErr) {
    dest.written = true;
    status = WriteInfo(fileSystem, dest, source.info);
  }
  if (status == kNoErr) status = RenameSide(fileSystem, source, dest.name);
  if (status == kNoErr) {
    status = RenameSide(fileSystem, dest, source.name);
    if (status != kNoErr) RenameSide(fileSystem, source, source.temporaryName);
  }
  if (status != kNoErr) {
    Undo(fileSystem, source, dest);
    return status;
  }
  *newSource = dest.now;
  *newDest = source.now;
  return kNoErr;
}

ZuvResult SwapResult(OSStatus status) {
  switch (status) {
    case zuv::platform::kErrAccessDenied:
    case zuv::platform::kErrFileBusy:
    case zuv::platform::kErrFileNotOpen:
    case zuv::platform::kErrDiskFull:
      return kZuvErrAccessDenied;
    case zuv::platform::kErrBadRef:
    case zuv::platform::kErrRefUnusable:
      return kZuvErrFileSystem;
    default:
      return kZuvErrFailed;
  }
}

// Clears the item's locked flag; true when it had one.
bool Unlock(CZuvFileHandle& handle) {
  if (!(handle.GetAttribute() & kZuvAttributeLocked)) return false;
  handle.SetAttribute(0);
  return true;
}

}  // namespace

ZuvResult ZuvSwapFile(const CZuvFilePath& a, const CZuvFilePath& b) {
  if (HasNoOwnName(a) || HasNoOwnName(b)) return kZuvErrInvalidName;
  CZuvFileHandle first(a);
  if (first.IsEmpty()) return kZuvErrFileSystem;
  if (!(first.GetAttribute() & kZuvAttributeWritable)) return kZuvErrAccessDenied;
  const bool firstLocked = Unlock(first);
  // The emptiness test looks at the first file again, so an empty second path is caught by the
  // write test alone. An item unlocked above stays unlocked on the early returns.
  CZuvFileHandle second(b);
  if (first.IsEmpty()) return kZuvErrFileSystem;
  if (!(second.GetAttribute() & kZuvAttributeWritable)) return kZuvErrAccessDenied;
  const bool secondLocked = Unlock(second);

  FSRef refA;
  FSRef refB;
  first.GetFSRef(&refA);
  second.GetFSRef(&refB);
  FSCatalogInfo finderInfo = {};
  const bool haveFinderInfo =
      zuv::platform::GetCatalogInfo(refB, kFSCatInfoFinderInfo, &finderInfo, nullptr) == kNoErr;
  FSRef newA;
  FSRef newB;
  const OSStatus status = FSExchangeObjectsCompat(&refA, &refB, &newA, &newB);
  if (status != kNoErr) return SwapResult(status);

  if (firstLocked) first.SetAttribute(kZuvAttributeLocked);
  if (secondLocked) second.SetAttribute(kZuvAttributeLocked);
  if (haveFinderInfo) {
    Replaceable<FileSystem>::Current().SetCatalogInfo(newB, kFSCatInfoFinderInfo, finderInfo);
  }
  return kZuvSuccess;
}

int32_t FSExchangeObjectsCompat(const FSRef* source, const FSRef* dest, FSRef* newSource,
                                FSRef* newDest) {
  if (source == nullptr || dest == nullptr || newSource == nullptr || newDest == nullptr) {
    return zuv::platform::kErrParam;
  }
  const FSRef sourceRef = *source;  // the outputs may be the inputs
  const FSRef destRef = *dest;
  *newSource = sourceRef;
  *newDest = destRef;
  FSCatalogInfo info = {};
  if (const OSStatus status =
          zuv::platform::GetCatalogInfo(sourceRef, kFSCatInfoVolume, &info, nullptr);
      status != kNoErr) {
    return status;
  }
  if (const OSStatus status =
          zuv::platform::GetCatalogInfo(destRef, kFSCatInfoVolume, &info, nullptr);
      status != kNoErr) {
    return status;
  }
  FileSystem& fileSystem = Replaceable<FileSystem>::Current();
  if (fileSystem.CanExchange(sourceRef)) {
    return fileSystem.Exchange(sourceRef, destRef, newSource, newDest);
  }
  return ExchangeByRenames(sourceRef, destRef, newSource, newDest);
}
