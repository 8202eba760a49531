// CZuvFilePath, the value that names a file or folder in every file operation of the library: one
// absolute path with "/" as separator, held as a string value and nothing else. A reference to the
// item is made from the path only when an operation needs one and is never kept, so a path object
// stays valid when its item moves or disappears. ZuvFSRefToFullPath turns a reference into a path.
#pragma once

#include "zuv/export.h"
#include "zuv/platform/catalog_types.h"
#include "zuv/strings/string_data.h"
#include "zuv/transfer/result.h"

/// An absolute path, "/" as separator. Copies are deep. Derived classes (CZuvFileHandle) override
/// assignment, Free and IsEmpty, and see every assignment through the virtual Initialize.
class ZUV_EXPORT CZuvFilePath {
 public:
  /// An empty path.
  CZuvFilePath();
  /// A copy of the other's path.
  CZuvFilePath(const CZuvFilePath& other);
  virtual ~CZuvFilePath();

  /// Takes the other's path through the virtual Initialize; self-assignment does nothing.
  virtual CZuvFilePath& operator=(const CZuvFilePath& other);
  /// Clears the path.
  virtual void Free();
  /// True when no path is held, and also when the path names no existing item.
  virtual bool IsEmpty() const;
  /// Frees, then keeps a copy of *path whether or not it names an item. kZuvSuccess when the item
  /// exists, kZuvErrFileSystem when not (the path is kept).
  virtual ZuvResult Initialize(const CZuvStringData* path);

  /// Frees, then takes the path of the reference. kZuvSuccess, or kZuvErrFileSystem with the path
  /// left empty when the reference has no path that fits.
  ZuvResult Initialize(const FSRef* ref);
  /// Assigns the path to *out. Always kZuvSuccess.
  ZuvResult GetFullPath(CZuvStringData* out) const;
  /// Makes a reference to the item. kZuvSuccess, or kZuvErrNotFound when it does not exist.
  ZuvResult GetFSRef(FSRef* out) const;
  /// Initialises *parent with the folder holding this path ("/a/b/" and "/a/b" give "/a", "/a"
  /// gives "/") and returns its Initialize result: kZuvErrFileSystem also when the parent folder
  /// does not exist. kZuvErrEmptyPath for an empty path, kZuvErrFileSystem for "/" and for a single
  /// name, kZuvErrNotFound when the path has no UTF-8 form (memory ran out making it); *parent is
  /// then untouched.
  ZuvResult GetParent(CZuvFilePath* parent) const;

 protected:
  /// The path held, for derived classes that read it without copying.
  const CZuvStringData& PathString() const { return m_strPath; }

 private:
  CZuvStringData m_strPath;
};

/// Converts a reference into its absolute path, at most 2048 bytes with the terminator.
/// kZuvSuccess, or kZuvErrFileSystem with *out untouched.
ZUV_EXPORT ZuvResult ZuvFSRefToFullPath(const FSRef& ref, CZuvStringData* out);
