// The catalog questions the file code asks: make a reference to an item from its path and a path
// from a reference, compare references, read and write an item's catalog record, and tell an
// application bundle, a display name and an alias from the item itself. Answers are the raw
// outcomes the file code maps to result codes: 0, or one of the kErr* numbers below.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "zuv/platform/catalog_types.h"

namespace zuv::platform {

/// Outcome of a platform operation: 0 for success, else a negative error number.
typedef int32_t OSStatus;

enum : OSStatus {
  kNoErr = 0,
  kErrDiskFull = -34,
  kErrNoSuchVolume = -35,
  kErrIO = -36,
  kErrBadName = -37,
  kErrFileNotFound = -43,
  kErrVolumeLocked = -46,
  kErrFileBusy = -47,
  kErrDuplicateName = -48,
  kErrParam = -50,
  kErrNoMemory = -108,
  kErrDifferentVolume = -1303,
  kErrPathTooLong = -2110,
  kErrAccessDenied = -5000,
};

/// Makes a reference to the item at `path` without following a symbolic link in the last
/// component. kErrFileNotFound when there is no such item.
OSStatus MakeRef(const std::string& path, FSRef* ref);
/// Writes the reference's absolute path with its terminator into `buffer`. kErrPathTooLong when it
/// needs more than `size` bytes.
OSStatus RefMakePath(const FSRef& ref, char* buffer, size_t size);
/// True when both references name the same item.
bool CompareRefs(const FSRef& a, const FSRef& b);

/// Reads the fields of the item's catalog record that `which` names into *info (other fields are
/// left alone) and, when `name` is not null, its stored name. kErrFileNotFound when the item is no
/// longer there.
OSStatus GetCatalogInfo(const FSRef& ref, FSCatalogInfoBitmap which, FSCatalogInfo* info,
                        HFSUniStr255* name);
/// What a file handle learns of an item beside its catalog record.
struct ItemFacts {
  bool alias = false;              // as IsAliasFile tells
  bool applicationBundle = false;  // as IsApplicationBundle tells
  std::u16string displayName;      // as DisplayName tells
};

/// Reads the catalog record of the item at `path` as GetCatalogInfo does on a reference made from
/// the path, and its item facts, without making the reference. kErrFileNotFound when there is no
/// such item.
OSStatus GetCatalogInfoAtPath(const char* path, FSCatalogInfoBitmap which, FSCatalogInfo* info,
                              HFSUniStr255* name, ItemFacts* facts);
/// Writes the fields that `which` names: the locked node flag, modification and access dates, and
/// Finder information (accepted and ignored). The creation date cannot be written: alone it is
/// kErrParam, beside other fields it is skipped. Changing the locked flag needs the privilege to
/// do so (kErrAccessDenied). Other fields: kErrParam, nothing written.
OSStatus SetCatalogInfo(const FSRef& ref, FSCatalogInfoBitmap which, const FSCatalogInfo& info);

/// True when the item is an application bundle: a folder named "*.app" holding Contents/, or an
/// AppDir holding an executable regular file AppRun.
bool IsApplicationBundle(const FSRef& ref);
/// True when the item is an alias: a symbolic link.
bool IsAliasFile(const FSRef& ref);
/// The item's name as the user sees it: its last path component, each byte that is not part of
/// well-formed UTF-8 shown as U+FFFD.
std::u16string DisplayName(const FSRef& ref);

}  // namespace zuv::platform
