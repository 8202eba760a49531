#include "zuv/paths/file_type.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

#include "zuv/files/file_handle.h"
#include "zuv/paths/file_path.h"
#include "zuv/platform/text.h"

namespace {

struct CZuvExtensionRow {
  const char* extension;  // lower case, with its dot
  eZuvFileType type;
};

// The rows of the extension-to-type table, in the order they are entered.
constexpr CZuvExtensionRow kExtensionRows[] = {
    {".avi", kZuvFileTypeAvi},           {".bmp", kZuvFileTypeBmp},
    {".crw", kZuvFileTypeCrw},           {".cr2", kZuvFileTypeCr2},
    {".csv", kZuvFileTypeCsv},           {".jpeg", kZuvFileTypeJpeg},
    {".jpg", kZuvFileTypeJpeg},          {".tif", kZuvFileTypeTiff},
    {".tiff", kZuvFileTypeTiff},         {".mov", kZuvFileTypeMov},
    {".mp4", kZuvFileTypeMp4},           {".mpeg", kZuvFileTypeMpeg},
    {".mpg", kZuvFileTypeMpeg},          {".qrw", kZuvFileTypeRaw},
    {".qdr", kZuvFileTypeDustReference}, {".qcw", kZuvFileTypeCompactRaw},
    {".pct", kZuvFileTypePict},          {".pict", kZuvFileTypePict},
    {".txt", kZuvFileTypeText},          {".png", kZuvFileTypePng},
    {".wav", kZuvFileTypeWav},           {".wmv", kZuvFileTypeWmv},
    {".xmp", kZuvFileTypeXmp},           {".qpj", kZuvFileTypeEditSettings},
    {".mpo", kZuvFileTypeMpo},           {".log", kZuvFileTypeLog},
};

// Every lookup of an ASCII extension is answered from a hash table of the same rows, each packed
// into one integer with its letters in lower case. For ASCII text, case-insensitive equality is
// equality after ASCII lower-casing, and folding keeps lengths, so this answers exactly as the
// case-insensitive map does, without building a string or converting to UTF-16.
constexpr size_t kMaxPackedLength = sizeof(uint64_t);

// The number of leading bytes of text below 0x80.
constexpr size_t AsciiPrefixLength(std::string_view text) {
  size_t i = 0;
  if (!std::is_constant_evaluated()) {
    constexpr uint64_t kHighBits = 0x8080808080808080;
    for (uint64_t word; i + sizeof word <= text.size(); i += sizeof word) {
      std::memcpy(&word, text.data() + i, sizeof word);
      if ((word & kHighBits) != 0) break;
    }
  }
  while (i < text.size() && (static_cast<unsigned char>(text[i]) & 0x80) == 0) ++i;
  return i;
}

constexpr bool IsAscii(std::string_view text) { return AsciiPrefixLength(text) == text.size(); }

bool IsWellFormedUtf8(std::string_view text) {
  const size_t ascii = AsciiPrefixLength(text);
  return ascii == text.size() || zuv::platform::DecodeUtf8(text.substr(ascii), nullptr, 0) >= 0;
}

// An ASCII text of 1 to 8 bytes, lower-cased, one byte per octet. No byte is 0, so texts of
// different lengths never share a key.
constexpr uint64_t PackedKey(std::string_view ascii) {
  uint64_t key = 0;
  for (size_t i = 0; i < ascii.size(); ++i) {
    const auto c = static_cast<unsigned char>(ascii[i]);
    const bool upper = static_cast<unsigned char>(c - 'A') < 26;
    key |= static_cast<uint64_t>(c | (upper << 5)) << (8 * i);
  }
  return key;
}

static_assert(std::all_of(std::begin(kExtensionRows), std::end(kExtensionRows),
                          [](const CZuvExtensionRow& row) {
                            const std::string_view extension = row.extension;
                            return extension.size() <= kMaxPackedLength && IsAscii(extension);
                          }),
              "every extension is ASCII and fits a packed key");

struct CZuvPackedRow {
  uint64_t key;  // 0 in an empty slot: no extension packs to 0
  eZuvFileType type;
};

// The packed rows, placed in 128 slots by a multiplicative hash that the compiler chooses so that
// no two rows share a slot: a lookup reads one slot.
struct CZuvPackedTable {
  static constexpr int kSlotBits = 7;
  uint64_t multiplier;
  std::array<CZuvPackedRow, 1 << kSlotBits> slots;

  constexpr size_t SlotIndex(uint64_t key) const { return (key * multiplier) >> (64 - kSlotBits); }
};

constexpr CZuvPackedTable kPackedTable = [] {
  // Candidate multipliers are odd numbers drawn from a linear congruential sequence.
  for (uint64_t candidate = 0x9e3779b97f4a7c15;;
       candidate = candidate * 6364136223846793005 + 1442695040888963407) {
    CZuvPackedTable table{candidate | 1, {}};
    bool collided = false;
    for (const CZuvExtensionRow& row : kExtensionRows) {
      const uint64_t key = PackedKey(row.extension);
      CZuvPackedRow& slot = table.slots[table.SlotIndex(key)];
      collided = collided || slot.key != 0;
      slot = {key, row.type};
    }
    if (!collided) return table;
  }
}();

eZuvFileType LookUpExtension(std::string_view extension) {
  if (IsAscii(extension)) {
    if (extension.empty() || extension.size() > kMaxPackedLength) return kZuvFileTypeUnknown;
    const uint64_t key = PackedKey(extension);
    const CZuvPackedRow& slot = kPackedTable.slots[kPackedTable.SlotIndex(key)];
    return slot.key == key ? slot.type : kZuvFileTypeUnknown;
  }
  // Case folding takes some other characters to ASCII letters (U+017F LATIN SMALL LETTER LONG S
  // folds to "s"), and text that is not well-formed compares as empty: the map decides.
  const ZuvPathUtility::CZuvExtensionToTypeTable& table = ZuvPathUtility::GetExtensionToTypeTable();
  const auto found = table.find(CZuvStringData(ZuvCharUtf8(std::string(extension).c_str())));
  return found != table.end() ? found->second : kZuvFileTypeUnknown;
}

}  // namespace

namespace ZuvPathUtility {

// Each table is filled inside the initialiser of its function-local static, so that the first
// uses from several threads wait for one complete filling instead of racing on an unlocked one.
const CZuvExtensionToTypeTable& GetExtensionToTypeTable() {
  static const CZuvExtensionToTypeTable table = [] {
    CZuvExtensionToTypeTable rows;
    for (const CZuvExtensionRow& row : kExtensionRows) {
      rows[CZuvStringData(ZuvCharUtf8(row.extension))] = row.type;
    }
    return rows;
  }();
  return table;
}

const CZuvTypeToExtensionTable& GetTypeToExtensionTable() {
  static const CZuvTypeToExtensionTable table = [] {
    CZuvTypeToExtensionTable types;
    for (const auto& [extension, type] : GetExtensionToTypeTable()) {
      types[type].push_back(extension);
    }
    return types;
  }();
  return table;
}

}  // namespace ZuvPathUtility

eZuvFileType ZuvPathFindExtensionType(const CZuvStringData& path, bool checkFolder) {
  // The extension is the tail from the last "." as the platform finds it in UTF-16 units: for
  // well-formed UTF-8 the same bytes as from the last "." byte. Text that is not well-formed UTF-8
  // reads as empty to the platform, and so has no extension.
  const std::string_view text = path.GetPtrUtf8();
  const size_t dot = text.rfind('.');
  if (dot == std::string_view::npos || !IsWellFormedUtf8(text)) return kZuvFileTypeUnknown;
  if (checkFolder) {
    // Only attributes of exactly kZuvAttributeFolder mean a folder here: a folder that also has
    // the readable, deletable or writable bit is typed by its name like a file.
    CZuvFileHandle item;
    item.Initialize(&path);
    if (item.IsExist() && item.GetAttribute() == kZuvAttributeFolder) return kZuvFileTypeUnknown;
  }
  return LookUpExtension(text.substr(dot));
}

eZuvFileType ZuvPathFindExtensionType(const CZuvFilePath& path, bool checkFolder) {
  CZuvStringData full;
  if (ZuvIsFailure(path.GetFullPath(&full))) return kZuvFileTypeUnknown;
  return ZuvPathFindExtensionType(full, checkFolder);
}

eZuvFileType ZuvPathConvertExtensionToType(const CZuvStringData& extension) {
  return LookUpExtension(extension.GetPtrUtf8());
}

ZuvResult ZuvPathFindTypeExtension(eZuvFileType type, std::vector<CZuvStringData>& out) {
  const ZuvPathUtility::CZuvTypeToExtensionTable& table = ZuvPathUtility::GetTypeToExtensionTable();
  const auto found = table.find(type);
  if (found == table.end()) return kZuvErrNotFound;
  out = found->second;
  return kZuvSuccess;
}

const char* ZuvFileTypeName(eZuvFileType type) {
  switch (type) {
    case kZuvFileTypeUnknown:
      return "kZuvFileTypeUnknown";
    case kZuvFileTypeJpeg:
      return "kZuvFileTypeJpeg";
    case kZuvFileTypeTiff:
      return "kZuvFileTypeTiff";
    case kZuvFileTypeRaw:
      return "kZuvFileTypeRaw";
    case kZuvFileTypeCompactRaw:
      return "kZuvFileTypeCompactRaw";
    case kZuvFileTypeMpo:
      return "kZuvFileTypeMpo";
    case kZuvFileTypePict:
      return "kZuvFileTypePict";
    case kZuvFileTypePng:
      return "kZuvFileTypePng";
    case kZuvFileTypeBmp:
      return "kZuvFileTypeBmp";
    case kZuvFileTypeCrw:
      return "kZuvFileTypeCrw";
    case kZuvFileTypeCr2:
      return "kZuvFileTypeCr2";
    case kZuvFileTypeMov:
      return "kZuvFileTypeMov";
    case kZuvFileTypeMpeg:
      return "kZuvFileTypeMpeg";
    case kZuvFileTypeMp4:
      return "kZuvFileTypeMp4";
    case kZuvFileTypeWmv:
      return "kZuvFileTypeWmv";
    case kZuvFileTypeAvi:
      return "kZuvFileTypeAvi";
    case kZuvFileTypeWav:
      return "kZuvFileTypeWav";
    case kZuvFileTypeText:
      return "kZuvFileTypeText";
    case kZuvFileTypeCsv:
      return "kZuvFileTypeCsv";
    case kZuvFileTypeDustReference:
      return "kZuvFileTypeDustReference";
    case kZuvFileTypeXmp:
      return "kZuvFileTypeXmp";
    case kZuvFileTypeEditSettings:
      return "kZuvFileTypeEditSettings";
    case kZuvFileTypeLog:
      return "kZuvFileTypeLog";
  }
  return nullptr;
}
