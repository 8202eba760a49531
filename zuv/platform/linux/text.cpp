#include "zuv/platform/text.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "zuv/platform/linux/system_encoding.h"

namespace zuv::platform {
namespace {

// ICU counts in int32_t; longer text is refused rather than cut.
constexpr size_t kMaxLength = std::numeric_limits<int32_t>::max();

struct SystemEncoding {
  std::string name;
  bool isUtf8;
};

const SystemEncoding& TheSystemEncoding() {
  static const SystemEncoding encoding = [] {
    std::string name = detail::FindSystemEncodingName();
    const bool isUtf8 = name == "UTF-8";
    return SystemEncoding{std::move(name), isUtf8};
  }();
  return encoding;
}

// An ICU converter keeps conversion state, so each thread opens its own on first use. Stop
// callbacks both ways make every conversion strict: bytes or characters that the system encoding
// refuses fail it.
class SystemConverter {
 public:
  SystemConverter() = default;
  SystemConverter(const SystemConverter&) = delete;
  SystemConverter& operator=(const SystemConverter&) = delete;
  ~SystemConverter() { ucnv_close(m_converter); }

  // Null when the converter cannot be opened (out of memory).
  UConverter* Get() {
    if (m_converter == nullptr) {
      UErrorCode status = U_ZERO_ERROR;
      UConverter* converter = ucnv_open(SystemEncodingName(), &status);
      ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
      ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                            &status);
      if (U_FAILURE(status)) {
        ucnv_close(converter);
        return nullptr;
      }
      m_converter = converter;
    }
    return m_converter;
  }

 private:
  UConverter* m_converter = nullptr;
};

UConverter* ThreadSystemConverter() {
  thread_local SystemConverter converter;
  return converter.Get();
}

// Runs an ICU function that fills a buffer and reports the length it needs when the buffer is too
// short (U_BUFFER_OVERFLOW_ERROR); starts with `guess` units and grows once. False on any other
// ICU failure, with `out` unchanged.
template <typename String, typename Fill>
bool FillFromIcu(int32_t guess, String* out, Fill fill) {
  String buffer(static_cast<size_t>(guess), typename String::value_type());
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = fill(buffer.data(), guess, &status);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    buffer.assign(static_cast<size_t>(length), typename String::value_type());
    status = U_ZERO_ERROR;
    length = fill(buffer.data(), length, &status);
  }
  if (U_FAILURE(status)) return false;
  buffer.resize(static_cast<size_t>(length));
  *out = std::move(buffer);
  return true;
}

// Units of the character at `i`: 2 for a surrogate pair, else 1 (a lone surrogate stands alone).
size_t CharLengthAt(std::u16string_view units, size_t i) {
  return U16_IS_LEAD(units[i]) && i + 1 < units.size() && U16_IS_TRAIL(units[i + 1]) ? 2 : 1;
}

// Appends `units` as UTF-8. A lone surrogate becomes U+FFFD, or with `strict` fails the call (the
// bytes before it are then already appended).
bool AppendUtf8(std::u16string_view units, bool strict, std::string* out) {
  for (size_t i = 0; i < units.size();) {
    const size_t length = CharLengthAt(units, i);
    UChar32 c = length == 2 ? U16_GET_SUPPLEMENTARY(units[i], units[i + 1]) : units[i];
    if (U_IS_SURROGATE(c)) {
      if (strict) return false;
      c = 0xFFFD;
    }
    char bytes[U8_MAX_LENGTH];
    int32_t count = 0;
    U8_APPEND_UNSAFE(bytes, count, c);
    out->append(bytes, static_cast<size_t>(count));
    i += length;
  }
  return true;
}

int32_t ScaledLength(int32_t units, int32_t bytesPerUnit) {
  const int64_t bytes = static_cast<int64_t>(units) * bytesPerUnit;
  return units < 0 || bytes > std::numeric_limits<int32_t>::max() ? -1
                                                                  : static_cast<int32_t>(bytes);
}

using CaseMapping = int32_t (*)(UChar*, int32_t, const UChar*, int32_t, const char*, UErrorCode*);

// Full case mapping with the root locale: the same answer whatever the user's language.
std::u16string MapCase(std::u16string_view units, CaseMapping mapping) {
  std::u16string mapped;
  if (units.empty() || units.size() > kMaxLength) return mapped;
  const auto length = static_cast<int32_t>(units.size());
  FillFromIcu(length, &mapped, [&](char16_t* dest, int32_t capacity, UErrorCode* status) {
    return mapping(dest, capacity, units.data(), length, "", status);
  });
  return mapped;
}

}  // namespace

// Well-formed UTF-8 as the Unicode standard defines it: the second byte's range depends on the
// lead byte, which rules out overlong forms (E0, F0), encoded surrogates (ED) and values above
// U+10FFFF (F4); C0, C1 and F5..FF never lead.
int32_t DecodeUtf8(std::string_view utf8, char16_t* dest, int32_t capacity) {
  if (utf8.size() > kMaxLength) return -1;  // each unit takes at least one byte, so counts fit
  if (dest == nullptr || capacity < 0) capacity = 0;
  if (static_cast<size_t>(capacity) >= utf8.size() && !utf8.empty()) {
    // Room for any outcome: ICU's converter, which refuses exactly the same bytes, is faster on
    // long text.
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF8(dest, capacity, &length, utf8.data(), static_cast<int32_t>(utf8.size()), &status);
    return U_SUCCESS(status) || status == U_STRING_NOT_TERMINATED_WARNING ? length : -1;
  }
  const auto* p = reinterpret_cast<const unsigned char*>(utf8.data());
  const auto* const end = p + utf8.size();
  int32_t count = 0;
  auto put = [&](char16_t unit) {
    if (count < capacity) dest[count] = unit;
    ++count;
  };
  while (p < end) {
    // Runs of ASCII, eight bytes at a time.
    uint64_t word;
    while (end - p >= 8 && (std::memcpy(&word, p, 8), (word & 0x8080808080808080ull) == 0)) {
      if (capacity - count >= 8) {
        for (int k = 0; k < 8; ++k) dest[count + k] = p[k];
        count += 8;
      } else {
        for (int k = 0; k < 8; ++k) put(p[k]);
      }
      p += 8;
    }
    if (p == end) break;
    const unsigned lead = *p++;
    if (lead < 0x80) {
      put(static_cast<char16_t>(lead));
      continue;
    }
    int trail;
    UChar32 c;
    unsigned low = 0x80;
    unsigned high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
      trail = 1;
      c = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      trail = 2;
      c = lead & 0x0F;
      if (lead == 0xE0) low = 0xA0;
      if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      trail = 3;
      c = lead & 0x07;
      if (lead == 0xF0) low = 0x90;
      if (lead == 0xF4) high = 0x8F;
    } else {
      return -1;
    }
    if (end - p < trail) return -1;
    for (int k = 0; k < trail; ++k, low = 0x80, high = 0xBF) {
      const unsigned byte = *p++;
      if (byte < low || byte > high) return -1;
      c = (c << 6) | static_cast<UChar32>(byte & 0x3F);
    }
    if (c > 0xFFFF) {
      put(U16_LEAD(c));
      put(U16_TRAIL(c));
    } else {
      put(static_cast<char16_t>(c));
    }
  }
  return count;
}

bool IsWellFormedUtf8(std::string_view utf8) { return DecodeUtf8(utf8, nullptr, 0) >= 0; }

bool DecodeUtf8(std::string_view utf8, std::u16string* out) {
  const int32_t length = out != nullptr ? DecodeUtf8(utf8, nullptr, 0) : -1;
  if (length < 0) return false;
  std::u16string units(static_cast<size_t>(length), u'\0');
  DecodeUtf8(utf8, units.data(), length);
  *out = std::move(units);
  return true;
}

std::string EncodeUtf8(std::u16string_view units) {
  std::string bytes;
  bytes.reserve(units.size());
  AppendUtf8(units, /*strict=*/false, &bytes);
  return bytes;
}

int32_t MaxUtf8Bytes(int32_t units) { return ScaledLength(units, 3); }

const char* SystemEncodingName() { return TheSystemEncoding().name.c_str(); }

bool SystemEncodingIsUtf8() { return TheSystemEncoding().isUtf8; }

bool DecodeSystem(std::string_view bytes, std::u16string* out) {
  if (out == nullptr || bytes.size() > kMaxLength) return false;
  if (SystemEncodingIsUtf8()) return DecodeUtf8(bytes, out);
  UConverter* converter = ThreadSystemConverter();
  if (converter == nullptr) return false;
  const auto length = static_cast<int32_t>(bytes.size());
  return FillFromIcu(length, out, [&](char16_t* dest, int32_t capacity, UErrorCode* status) {
    return ucnv_toUChars(converter, dest, capacity, bytes.data(), length, status);
  });
}

bool EncodeSystem(std::u16string_view units, std::string* out) {
  if (out == nullptr || units.size() > kMaxLength) return false;
  if (SystemEncodingIsUtf8()) {
    std::string bytes;
    if (!AppendUtf8(units, /*strict=*/true, &bytes)) return false;
    *out = std::move(bytes);
    return true;
  }
  UConverter* converter = ThreadSystemConverter();
  const auto length = static_cast<int32_t>(units.size());
  const int32_t guess = MaxSystemBytes(length);
  if (converter == nullptr || guess < 0) return false;
  return FillFromIcu(guess, out, [&](char* dest, int32_t capacity, UErrorCode* status) {
    return ucnv_fromUChars(converter, dest, capacity, units.data(), length, status);
  });
}

int32_t MaxSystemBytes(int32_t units) {
  if (SystemEncodingIsUtf8()) return MaxUtf8Bytes(units);
  UConverter* converter = ThreadSystemConverter();
  return converter != nullptr ? ScaledLength(units, ucnv_getMaxCharSize(converter)) : -1;
}

// Character by character, so that an unmappable character (a surrogate pair counts as one) costs
// one loss byte and a character that does not fit whole is left out whole.
int32_t EncodeSystemWithLossByte(std::u16string_view units, char* dest, int32_t capacity,
                                 char lossByte) {
  const size_t room = dest != nullptr && capacity > 0 ? static_cast<size_t>(capacity) : 0;
  size_t written = 0;
  std::string bytes;
  for (size_t i = 0; i < units.size();) {
    const size_t length = CharLengthAt(units, i);
    if (!EncodeSystem(units.substr(i, length), &bytes)) {
      if (lossByte == 0) break;
      bytes.assign(1, lossByte);
    }
    if (bytes.size() > room - written) break;
    std::memcpy(dest + written, bytes.data(), bytes.size());
    written += bytes.size();
    i += length;
  }
  return static_cast<int32_t>(written);
}

char16_t FoldCase(char16_t unit) {
  if (unit < 0x80) return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
  // No unit of the Basic Multilingual Plane folds outside it, and surrogates fold to themselves.
  return static_cast<char16_t>(u_foldCase(unit, U_FOLD_CASE_DEFAULT));
}

int CompareUnits(std::u16string_view a, std::u16string_view b, bool ignoreCase) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    char16_t x = a[i];
    char16_t y = b[i];
    if (x != y && ignoreCase) {
      x = FoldCase(x);
      y = FoldCase(y);
    }
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

int32_t FindUnits(std::u16string_view text, std::u16string_view find, bool ignoreCase,
                  bool backwards) {
  if (find.empty() || find.size() > text.size() || text.size() > kMaxLength) return -1;
  const size_t last = text.size() - find.size();
  const char16_t first = ignoreCase ? FoldCase(find[0]) : find[0];
  const std::u16string_view rest = find.substr(1);
  for (size_t step = 0; step <= last; ++step) {
    const size_t at = backwards ? last - step : step;
    const char16_t unit = text[at];
    if ((unit == first || (ignoreCase && FoldCase(unit) == first)) &&
        CompareUnits(text.substr(at + 1, rest.size()), rest, ignoreCase) == 0) {
      return static_cast<int32_t>(at);
    }
  }
  return -1;
}

std::u16string ToLowerCase(std::u16string_view units) { return MapCase(units, u_strToLower); }

std::u16string ToUpperCase(std::u16string_view units) { return MapCase(units, u_strToUpper); }

}  // namespace zuv::platform

namespace {

using Decoder = bool (*)(std::string_view, std::u16string*);

std::unique_ptr<CZuvPlatformString> CreateDecoded(const char* text, Decoder decode) {
  std::u16string units;
  if (text == nullptr || !decode(text, &units)) return nullptr;
  return std::make_unique<CZuvPlatformString>(std::move(units));
}

}  // namespace

std::unique_ptr<CZuvPlatformString> CZuvPlatformString::CreateWithUtf8(const char* text) {
  return CreateDecoded(text, zuv::platform::DecodeUtf8);
}

std::unique_ptr<CZuvPlatformString> CZuvPlatformString::CreateWithSystemEncoding(const char* text) {
  return CreateDecoded(text, zuv::platform::DecodeSystem);
}

std::unique_ptr<CZuvPlatformString> CZuvPlatformString::CreateSubstring(int32_t start,
                                                                        int32_t length) const {
  const auto size = static_cast<int64_t>(m_units.size());
  const int64_t begin = std::clamp<int64_t>(start, 0, size);
  const int64_t end = std::clamp<int64_t>(static_cast<int64_t>(start) + length, begin, size);
  return std::make_unique<CZuvPlatformString>(
      m_units.substr(static_cast<size_t>(begin), static_cast<size_t>(end - begin)));
}

std::string CZuvPlatformString::GetUtf8() const { return zuv::platform::EncodeUtf8(m_units); }
