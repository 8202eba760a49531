#include "zuv/strings/string_ops.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "zuv/platform/text.h"
#include "zuv/strings/internal/ascii_words.h"
#include "zuv/strings/internal/search.h"
#include "zuv/strings/internal/utf16_text.h"
#include "zuv/strings/utf8_utility.h"

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

std::string_view Utf8(const CZuvStringData& s) {
  const char* text = s.GetPtrUtf8();
  return text != nullptr ? text : "";
}

// A new value holding a copy of 0-terminated UTF-8 text.
CZuvStringData NewUtf8(const char* text) {
  CZuvStringData result;
  result.InitWithUtf8(text);
  return result;
}

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The byte offset reached from `at` after passing `count` characters, where (as Mid counts them)
// every byte that is not a continuation byte starts a character; stops at the end.
size_t AdvanceChars(std::string_view text, size_t at, unsigned long count) {
  for (; count > 0 && at < text.size(); --count) {
    do {
      ++at;
    } while (at < text.size() && IsContinuation(text[at]));
  }
  return at;
}

struct UnitPosition {
  size_t byte;   // offset of the character that holds the unit, or of the end
  size_t units;  // units before that character
};

// Walks well-formed UTF-8 to the character that starts at or holds UTF-16 unit `unit`.
UnitPosition FindUnit(std::string_view utf8, size_t unit) {
  UnitPosition at{0, 0};
  while (at.byte < utf8.size()) {
    const auto lead = static_cast<unsigned char>(utf8[at.byte]);
    const size_t bytes = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const size_t units = bytes == 4 ? 2 : 1;
    if (at.units + units > unit) break;
    at.byte += bytes;
    at.units += units;
  }
  return at;
}

size_t FindLiteral(std::string_view text, std::string_view find) {
  return zuv::strings_internal::FindUtf8(text, find, /*last=*/false);
}

// The first occurrence as the platform's case-insensitive search in UTF-16 units finds it, as a
// byte offset. ASCII text is its own UTF-16 form and is searched without decoding.
size_t FindNoCase(std::string_view text, std::string_view find) {
  using namespace zuv::strings_internal;
  const Utf16Text findUnits(find);
  if (findUnits.Units().empty()) return std::string_view::npos;
  if (text.size() <= INT32_MAX && IsAscii(text))
    return TwoWayFind(AsciiFolded(text), UnitsFolded(findUnits.Units()));
  const Utf16Text textUnits(text);
  const size_t unit = TwoWayFind(UnitsFolded(textUnits.Units()), UnitsFolded(findUnits.Units()));
  return unit == kNotFound ? std::string_view::npos : FindUnit(text, unit).byte;
}

// The fields of s between occurrences of a separator, found left to right without overlap, as
// the literal walk forms them: found = Str(rest, separator), field = Mid(rest, 0, length(rest) −
// length(found)), rest = Mid(found, length(separator), length(found) − length(separator)), with
// GetLengthChar lengths. Each occurrence is found from the previous one, so the walk is linear.
//
// Every rest is a tail of s. After the first step, rest is well-formed UTF-8 holding its text, so
// the field is exactly the text before the occurrence. In the first step rest is s itself, whose
// length counts the characters of its primary form: UTF-16 units for a value made from UTF-16 or
// the system encoding. Where those outnumber the characters of the UTF-8 form, the first field
// runs on past the occurrence by the difference, and the separator's own length may skip more
// than the separator. Both are kept.
class FieldWalk {
 public:
  FieldWalk(const CZuvStringData& s, const CZuvStringData& separator)
      : m_text(Utf8(s)),
        m_separator(Utf8(separator)),
        m_lengthOfS(s.GetLengthChar()),
        m_lengthOfSeparator(separator.GetLengthChar()),
        m_next(FindLiteral(m_text, m_separator)) {}

  // Moves to the next field; false when the separator does not occur again.
  bool Next() {
    if (m_next == std::string_view::npos) return false;
    const size_t found = m_next;
    m_fieldStart = m_restStart;
    m_fieldEnd = found;
    if (!m_foundOnce) {
      const unsigned long foundLength = ZuvMacStringUtility::utf8_length(m_text.data() + found);
      m_fieldEnd = AdvanceChars(m_text, 0, m_lengthOfS - foundLength);
      m_foundOnce = true;
    }
    m_restStart = AdvanceChars(m_text, found, m_lengthOfSeparator);
    m_next = zuv::strings_internal::FindBytes(m_text, m_separator, m_restStart);
    return true;
  }

  std::string_view Field() const { return m_text.substr(m_fieldStart, m_fieldEnd - m_fieldStart); }
  // The text after the last occurrence; all of s while nothing was found.
  std::string_view Rest() const { return m_text.substr(m_restStart); }
  bool FoundOnce() const { return m_foundOnce; }

 private:
  const std::string_view m_text;
  const std::string_view m_separator;
  const unsigned long m_lengthOfS;
  const unsigned long m_lengthOfSeparator;
  size_t m_next;
  size_t m_restStart = 0;
  size_t m_fieldStart = 0;
  size_t m_fieldEnd = 0;
  bool m_foundOnce = false;
};

// The case mapping of the text; text that is not well-formed UTF-8 maps to the empty string.
template <typename Mapping>
CZuvStringData MapCase(const CZuvStringData& s, Mapping mapping) {
  std::u16string units;
  zuv::platform::DecodeUtf8(Utf8(s), &units);
  CZuvStringData result;
  result.InitWithUtf8(zuv::platform::EncodeUtf8(mapping(units)).c_str());
  return result;
}

}  // namespace

CZuvStringData ZuvStringDataCat(const CZuvStringData& a, const CZuvStringData& b) {
  std::string joined(Utf8(a));
  joined += Utf8(b);
  CZuvStringData result;
  result.InitWithUtf8(joined.c_str());
  return result;
}

int ZuvStringDataCmp(const CZuvStringData& a, const CZuvStringData& b) {
  return ZuvMacStringUtility::utf8_cmp(a.GetPtrUtf8(), b.GetPtrUtf8());
}

int ZuvStringDataCmpi(const CZuvStringData& a, const CZuvStringData& b) {
  return ZuvMacStringUtility::utf8_cmpi(a.GetPtrUtf8(), b.GetPtrUtf8());
}

int ZuvStringDataCmpn(const CZuvStringData& a, const CZuvStringData& b, unsigned long n) {
  return ZuvMacStringUtility::utf8_cmpn(a.GetPtrUtf8(), b.GetPtrUtf8(), n);
}

int ZuvStringDataCmpni(const CZuvStringData& a, const CZuvStringData& b, unsigned long n) {
  return ZuvMacStringUtility::utf8_cmpni(a.GetPtrUtf8(), b.GetPtrUtf8(), n);
}

int ZuvStringDataCmpiIgnoreEncode(const CZuvStringData& a, const CZuvStringData& b) {
  return ZuvMacStringUtility::utf8_cmpi_id(a.GetPtrUtf8(), b.GetPtrUtf8());
}

CZuvStringData ZuvStringDataStr(const CZuvStringData& s, const CZuvStringData& f) {
  const std::string_view text = Utf8(s);
  const size_t found = FindLiteral(text, Utf8(f));
  return found == std::string_view::npos ? CZuvStringData() : NewUtf8(text.data() + found);
}

CZuvStringData ZuvStringDataStrNoCase(const CZuvStringData& s, const CZuvStringData& f) {
  const std::string_view text = Utf8(s);
  const size_t found = FindNoCase(text, Utf8(f));
  return found == std::string_view::npos ? CZuvStringData() : NewUtf8(text.data() + found);
}

CZuvStringData ZuvStringDataStrReverse(const CZuvStringData& s, const CZuvStringData& f) {
  return ZuvMacStringUtility::utf8_strreverse(s.GetPtrUtf8(), f.GetPtrUtf8());
}

CZuvStringData ZuvStringDataStrReverseIgnoreEncode(const CZuvStringData& s,
                                                   const CZuvStringData& f) {
  return ZuvMacStringUtility::utf8_strreverse_id(s.GetPtrUtf8(), f.GetPtrUtf8());
}

void ZuvStringDataSplit(const CZuvStringData& s, const CZuvStringData& separator,
                        std::vector<CZuvStringData>* out) {
  if (out == nullptr) return;
  // Shared copies keep the texts alive should s or separator be an element of *out.
  const CZuvStringData rest(s);
  const CZuvStringData separatorCopy(separator);
  for (CZuvStringData& element : *out) element.Clear();
  out->clear();

  // Empty fields are dropped, and a string without the separator yields no field at all, not
  // itself; callers rely on both. Fields are made in place, as a copy would cost a join and a
  // leave under the value's lock.
  const auto append = [out](std::string_view field) {
    if (!field.empty()) out->emplace_back().InitWithUtf8(std::string(field).c_str());
  };
  FieldWalk walk(rest, separatorCopy);
  while (walk.Next()) append(walk.Field());
  if (walk.FoundOnce()) append(walk.Rest());
}

CZuvStringData ZuvStringDataReplace(const CZuvStringData& s, const CZuvStringData& find,
                                    const CZuvStringData& with) {
  const CZuvStringData rest(s);
  FieldWalk walk(rest, find);
  const std::string_view replacement = Utf8(with);
  std::string replaced;
  replaced.reserve(walk.Rest().size());
  while (walk.Next()) {
    replaced += walk.Field();
    replaced += replacement;
  }
  replaced += walk.Rest();
  CZuvStringData result;
  result.InitWithUtf8(replaced.c_str());
  return result;
}

// Every character of the set is first replaced by the set's first character, then the text is
// split at that character; the first and last fields are then located in s itself to cut the
// trimmed range out of s. Callers see the results of exactly these steps, also where they differ
// from a plain trim: text that is not well-formed UTF-8 has no field and is kept whole, and a
// value made from UTF-16 or the system encoding counts characters outside the Basic Multilingual
// Plane as two in its length. Only the first and the last field are looked at, so no field is made.
CZuvStringData ZuvString::Trim(const CZuvStringData& s, const CZuvStringData& chars, bool bLeft,
                               bool bRight) {
  if (chars.IsEmpty() || (!bLeft && !bRight)) return s;

  CZuvStringData work(s);
  const CZuvStringData first = chars.Mid(0, 1);
  const unsigned long setLength = chars.GetLengthChar();
  for (unsigned long i = 1; i < setLength; ++i) {
    work = ZuvStringDataReplace(work, chars.Mid(i, 1), first);
  }

  // The non-empty fields of the split: the first, the last, and how many.
  const char* const workText = work.GetPtrUtf8();
  FieldWalk walk(work, first);
  std::string_view front, back;
  size_t fields = 0;
  const auto take = [&](std::string_view field) {
    if (field.empty()) return;
    if (fields++ == 0) front = field;
    back = field;
  };
  while (walk.Next()) take(walk.Field());
  if (walk.FoundOnce()) take(walk.Rest());
  // No field: only set characters (or nothing at all) give nothing, no set character gives s.
  if (fields == 0) return walk.FoundOnce() || *workText == 0 ? CZuvStringData() : s;

  // Lengths as GetLengthChar gives them for values holding these bytes: the characters of a
  // piece of work, and of a tail of s.
  const auto fieldLength = [workText](std::string_view field) -> unsigned long {
    const size_t at = static_cast<size_t>(field.data() - workText);
    return ZuvMacStringUtility::utf8_length(workText + at) -
           ZuvMacStringUtility::utf8_length(workText + at + field.size());
  };
  const std::string_view text = Utf8(s);
  const auto tailLength = [text](size_t at) -> unsigned long {
    return at == std::string_view::npos ? 0 : ZuvMacStringUtility::utf8_length(text.data() + at);
  };

  const unsigned long length = s.GetLengthChar();
  const unsigned long foundLength = tailLength(FindLiteral(text, front));
  unsigned long start = 0;
  unsigned long count = length;
  if (bLeft) {
    start = length - foundLength;
    count = foundLength;
  }
  if (bRight) {
    if (fields == 1) {
      count = count + fieldLength(front) - foundLength;
    } else {
      const size_t last = zuv::strings_internal::FindUtf8(text, back, /*last=*/true);
      count = count - (tailLength(last) - fieldLength(back));
    }
  }
  return s.Mid(start, count);
}

CZuvStringData ZuvStringDataTrimLeft(const CZuvStringData& s, const CZuvStringData& chars) {
  return ZuvString::Trim(s, chars, true, false);
}

CZuvStringData ZuvStringDataTrimRight(const CZuvStringData& s, const CZuvStringData& chars) {
  return ZuvString::Trim(s, chars, false, true);
}

CZuvStringData ZuvStringDataTrim(const CZuvStringData& s, const CZuvStringData& chars) {
  return ZuvString::Trim(s, chars, true, true);
}

CZuvStringData ZuvStringDataLower(const CZuvStringData& s) {
  return MapCase(s, zuv::platform::ToLowerCase);
}

CZuvStringData ZuvStringDataUpper(const CZuvStringData& s) {
  return MapCase(s, zuv::platform::ToUpperCase);
}

// The length test counts characters of the primary form, the cut counts UTF-16 units of the UTF-8
// form. A cut inside a surrogate pair leaves its second half alone, which reads back as U+FFFD.
CZuvStringData ZuvStringDataInc(const CZuvStringData& s, unsigned long n) {
  if (s.GetLengthChar() < n) return CZuvStringData();
  std::string_view text = Utf8(s);
  if (!zuv::platform::IsWellFormedUtf8(text)) text = "";
  const UnitPosition at = FindUnit(text, n);
  if (at.units == n || at.byte == text.size()) return NewUtf8(text.data() + at.byte);
  return NewUtf8(std::string(kReplacementCharacter).append(text.substr(at.byte + 4)).c_str());
}

int64_t ZuvStringDataToNumber(const ZuvCharPlatform& text) {
  const char* digits = text;
  return digits != nullptr ? std::strtol(digits, nullptr, 10) : 0;
}

double ZuvStringDataToFloat(const ZuvCharPlatform& text) {
  const char* digits = text;
  return digits != nullptr ? std::strtod(digits, nullptr) : 0.0;
}

// A buffer that fills up has its last byte turned into the terminator, which may cut the last
// character; callers size their buffers for the text and accept this.
void ZuvMacCopySystemEncoingStringWithLossByte(const CZuvStringData& s, char* buffer,
                                               int bufferSize, char lossByte) {
  if (buffer == nullptr || bufferSize <= 0) return;
  buffer[0] = '\0';
  const std::unique_ptr<CZuvPlatformString> text = s.CreateCopyCFString();
  int32_t used = 0;
  if (text->GetLength() > 0) {
    used = zuv::platform::EncodeSystemWithLossByte(text->Units(), buffer, bufferSize, lossByte);
  }
  buffer[used >= bufferSize ? bufferSize - 1 : used] = '\0';
}
