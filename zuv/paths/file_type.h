// The application's file types and the tables that classify a file by its extension: still images,
// raw images, movies, sound, sidecar and log files. The extension-to-type table ignores case
// (".JPG" finds ".jpg"); the type-to-extensions table lists each type's extensions. Both are built
// once, on first use, and may then be read from any thread.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "zuv/export.h"
#include "zuv/strings/string_data.h"
#include "zuv/strings/string_ops.h"
#include "zuv/transfer/result.h"

class CZuvFilePath;

/// Kind of a file. Callers store these values. The upper bits group them: 0x011xxxxx main
/// still-image formats, 0x012xxxxx other still images, 0x020xxxxx movies, 0x080xxxxx other files.
enum eZuvFileType : uint32_t {
  kZuvFileTypeUnknown = 0,  // no extension, an unknown one, or a folder
  kZuvFileTypeJpeg = 0x1100001,
  kZuvFileTypeTiff = 0x1100002,
  kZuvFileTypeRaw = 0x1100003,
  kZuvFileTypeCompactRaw = 0x1100004,
  kZuvFileTypeMpo = 0x1100005,
  kZuvFileTypePict = 0x1200001,
  kZuvFileTypePng = 0x1200002,
  kZuvFileTypeBmp = 0x1200003,
  kZuvFileTypeCrw = 0x1200004,
  kZuvFileTypeCr2 = 0x1200005,
  kZuvFileTypeMov = 0x2000001,
  kZuvFileTypeMpeg = 0x2000002,
  kZuvFileTypeMp4 = 0x2000003,
  kZuvFileTypeWmv = 0x2000004,
  kZuvFileTypeAvi = 0x2000005,
  kZuvFileTypeWav = 0x8000001,
  kZuvFileTypeText = 0x8000002,
  kZuvFileTypeCsv = 0x8000003,
  kZuvFileTypeDustReference = 0x8000004,
  kZuvFileTypeXmp = 0x8000005,
  kZuvFileTypeEditSettings = 0x8000006,
  kZuvFileTypeLog = 0x8000007,
};

namespace ZuvPathUtility {

/// Extension with its dot (".jpg") to type, ordered and looked up without regard to case.
typedef std::map<CZuvStringData, eZuvFileType, ZuvFunctorUtility::CZuvLessStringDataNoCase>
    CZuvExtensionToTypeTable;
/// Type to its extensions, each list in the order of the extension-to-type table.
typedef std::map<eZuvFileType, std::vector<CZuvStringData>> CZuvTypeToExtensionTable;

/// The extension-to-type table, filled on first use; 26 lower-case extensions with their dots.
ZUV_EXPORT const CZuvExtensionToTypeTable& GetExtensionToTypeTable();
/// The type-to-extensions table, filled on first use from the extension-to-type table.
ZUV_EXPORT const CZuvTypeToExtensionTable& GetTypeToExtensionTable();

}  // namespace ZuvPathUtility

/// Type of the path's extension: the text from the last "." of the whole path, folder names
/// included (so "/p.jpg/file" is unknown). With checkFolder, an existing item whose attributes are
/// exactly kZuvAttributeFolder has no type. kZuvFileTypeUnknown when not found.
ZUV_EXPORT eZuvFileType ZuvPathFindExtensionType(const CZuvStringData& path, bool checkFolder);
/// The same on the object's full path; kZuvFileTypeUnknown when the full path cannot be had.
ZUV_EXPORT eZuvFileType ZuvPathFindExtensionType(const CZuvFilePath& path, bool checkFolder);
/// Type of an extension given with its dot (".TIFF" is found, "tiff" is not).
ZUV_EXPORT eZuvFileType ZuvPathConvertExtensionToType(const CZuvStringData& extension);
/// Replaces *out with the type's extensions and returns kZuvSuccess; kZuvErrNotFound (out
/// untouched) for a type without extensions.
ZUV_EXPORT ZuvResult ZuvPathFindTypeExtension(eZuvFileType type, std::vector<CZuvStringData>& out);

/// The enumerator's name ("kZuvFileTypeJpeg"), or null for a value that is not a file type.
ZUV_EXPORT const char* ZuvFileTypeName(eZuvFileType type);
