// One copy or one move of a file or folder tree, with the caller's progress callback called before
// each item the walk makes, and a false answer of the callback stopping the walk there.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zuv/export.h"
#include "zuv/strings/string_data.h"
#include "zuv/transfer/copy_move.h"
#include "zuv/transfer/result.h"

/// What a copy and a move of a tree share: the paths, the caller's callback, the walk's notice and
/// the end of the operation. One object runs one operation: create it, set the callback, call
/// perform once, then release it. Used by one thread at a time; the callback is called on the
/// thread that calls perform.
class ZUV_EXPORT ZuvPathOperation {
 public:
  virtual ~ZuvPathOperation();
  ZuvPathOperation(const ZuvPathOperation&) = delete;
  ZuvPathOperation& operator=(const ZuvPathOperation&) = delete;

  /// Sets the callback and the datum passed to each of its calls; a null callback reports nothing
  /// and cannot cancel.
  void setProgress(ZuvProgressProc progress, void* data);
  /// Runs the operation; see ZuvCopyPath and ZuvMovePath.
  virtual ZuvResult perform() = 0;
  /// The walk's notice before it makes `path`: calls the callback, unless none is set or the
  /// operation passes `path` over. False, when the callback answered false, stops the walk at
  /// `path`.
  bool willProcessPath(const CZuvStringData& path);
  /// Whether the walk goes on after an error: never.
  bool shouldProceedAfterError() const;
  /// With `verify`, a copy (a move across volumes) is checked once it is made durable: every file
  /// is read back from the device and compared with what was read from its source during the copy.
  /// A file that differs makes perform fail with kZuvErrFileSystem and is listed by
  /// verifyMismatches; a verified move keeps that file's source and removes the others. Off by
  /// default.
  void setVerify(bool verify);
  /// The destination paths of the files that failed the check of the last perform, in walk order.
  const std::vector<std::string>& verifyMismatches() const;

 protected:
  /// An operation from `source` to `destination` (full paths, UTF-8).
  ZuvPathOperation(std::string source, std::string destination);
  /// Whether the notice of `path` is passed over without calling the callback: the destination
  /// itself.
  virtual bool PassesOver(const std::string& path) const;
  /// willProcessPath on the UTF-8 path the walk names.
  bool Notice(const std::string& path);
  /// The end of perform: kZuvErrCanceled after a false answer (the walk made nothing at the
  /// canceled path); else one last call of the callback, its answer ignored, and `result`.
  ZuvResult Finish(ZuvResult result);

  /// The source's full path.
  const std::string m_source;
  /// The destination's full path.
  const std::string m_destination;
  /// Whether the copy is checked (setVerify).
  bool m_verify = false;
  /// The files that failed the check of the last perform.
  std::vector<std::string> m_mismatches;

 private:
  ZuvProgressProc m_progress = nullptr;
  void* m_progressData = nullptr;
  bool m_canceled = false;
};

/// Copies the item at a source path, with everything in it, to a destination path where nothing
/// is yet.
class ZUV_EXPORT ZuvCopyPath : public ZuvPathOperation {
 public:
  /// An object for copying `source` to `destination` (full paths); null when either is empty.
  static std::unique_ptr<ZuvCopyPath> Create(const CZuvStringData& source,
                                             const CZuvStringData& destination);
  /// Runs the copy. On system versions 0x1060 to 0x106F the callback is called before each item
  /// is made, except the destination itself, and a failure gives kZuvErrAccessDenied; on any other
  /// version it is not called during the copy and a failure gives the converted system error
  /// (ConvertCocoaError). A false answer stops the copy and gives kZuvErrCanceled, with nothing at
  /// the path it was asked about; what was copied before stays. Otherwise the callback, when set,
  /// is called once more at the end, its answer ignored.
  ZuvResult perform() override;

 private:
  using ZuvPathOperation::ZuvPathOperation;
};

/// Moves the item at a source path, with everything in it, to a destination path where nothing is
/// yet: renamed in place on one volume, else copied, made durable, and only then removed from the
/// source.
class ZUV_EXPORT ZuvMovePath : public ZuvPathOperation {
 public:
  /// An object for moving `source` to `destination` (full paths); null when either is empty.
  static std::unique_ptr<ZuvMovePath> Create(const CZuvStringData& source,
                                             const CZuvStringData& destination);
  /// Runs the move; a failure gives kZuvErrAccessDenied. The callback is called before each item
  /// the move makes across volumes, except the destination itself; a rename on one volume makes
  /// only the destination and so calls it during the move not at all. A false answer stops the
  /// move and gives kZuvErrCanceled: the partial destination is removed and the source stays
  /// whole. Otherwise the callback, when set, is called once more at the end, its answer ignored.
  ZuvResult perform() override;

 protected:
  /// Passes over the destination and every path that begins with the source's text.
  bool PassesOver(const std::string& path) const override;

 private:
  using ZuvPathOperation::ZuvPathOperation;
};
