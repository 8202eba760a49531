// The string toolkit: free functions that build new CZuvStringData values from existing ones —
// formatting, concatenation, comparison, searching, splitting, replacing, trimming, case mapping,
// skipping a prefix, number parsing — and a lossy copy into a caller's buffer in the system
// encoding. Every function reads the UTF-8 form of its arguments (an argument without value gets an
// empty value attached by the call) and never changes their text. Positions and counts are either
// characters of the UTF-8 form (lead bytes, as GetLengthChar and Mid count them) or UTF-16 units;
// each declaration says which. Text that is not well-formed UTF-8 is read as empty where a
// function works in UTF-16 units. No function reports an error: failure gives an empty result.
#pragma once

#include <cstdint>
#include <vector>

#include "zuv/export.h"
#include "zuv/strings/string_data.h"

/// printf-style formatting of UTF-8 text, without length limit. Empty without value for a null
/// format or when formatting fails.
ZUV_EXPORT CZuvStringData ZuvStringDataFormat(const ZuvCharPlatform* format, ...);
/// The same with the format taken from a string value's UTF-8 form. Empty for a null pointer, and
/// when the format's system-encoding form cannot be produced.
ZUV_EXPORT CZuvStringData ZuvStringDataFormat(const CZuvStringData* format, ...);
/// Wide formatting: the format's 16-bit units are handed to vswprintf as wchar_t text without
/// conversion and the output is read back as 16-bit units, within 2048 bytes. Empty without value
/// for a null format.
ZUV_EXPORT CZuvStringData ZuvStringDataFormatW(const ZuvCharUnicode* format, ...);

/// a followed by b. Always has a value, also when both are empty.
ZUV_EXPORT CZuvStringData ZuvStringDataCat(const CZuvStringData& a, const CZuvStringData& b);

/// Literal comparison in UTF-16 units: -1, 0 or 1 (0 when either is not well-formed UTF-8).
ZUV_EXPORT int ZuvStringDataCmp(const CZuvStringData& a, const CZuvStringData& b);
/// Case-insensitive comparison: -1, 0 or 1.
ZUV_EXPORT int ZuvStringDataCmpi(const CZuvStringData& a, const CZuvStringData& b);
/// The first n UTF-16 units of a against the whole of b, literally.
ZUV_EXPORT int ZuvStringDataCmpn(const CZuvStringData& a, const CZuvStringData& b, unsigned long n);
/// The first n UTF-16 units of a against the first n of b, ignoring case.
ZUV_EXPORT int ZuvStringDataCmpni(const CZuvStringData& a, const CZuvStringData& b,
                                  unsigned long n);
/// Byte-level case-insensitive comparison: -1, 0 or 1.
ZUV_EXPORT int ZuvStringDataCmpiIgnoreEncode(const CZuvStringData& a, const CZuvStringData& b);

/// The tail of s from the first occurrence of f (found literally in UTF-16 units). Empty without
/// value when f does not occur or is empty.
ZUV_EXPORT CZuvStringData ZuvStringDataStr(const CZuvStringData& s, const CZuvStringData& f);
/// The same with a case-insensitive search.
ZUV_EXPORT CZuvStringData ZuvStringDataStrNoCase(const CZuvStringData& s, const CZuvStringData& f);
/// The tail of s from the last occurrence of f; empty without value when there is none.
ZUV_EXPORT CZuvStringData ZuvStringDataStrReverse(const CZuvStringData& s, const CZuvStringData& f);
/// The same by byte comparison; s must be strictly longer than f to contain it.
ZUV_EXPORT CZuvStringData ZuvStringDataStrReverseIgnoreEncode(const CZuvStringData& s,
                                                              const CZuvStringData& f);

/// Replaces the contents of *out with the non-empty fields of s between occurrences of separator.
/// When separator never occurs (or is empty) *out ends up empty. A null out is ignored.
ZUV_EXPORT void ZuvStringDataSplit(const CZuvStringData& s, const CZuvStringData& separator,
                                   std::vector<CZuvStringData>* out);
/// s with every occurrence of find replaced by with, left to right without overlap. An empty find
/// is never found. The result always has a value.
ZUV_EXPORT CZuvStringData ZuvStringDataReplace(const CZuvStringData& s, const CZuvStringData& find,
                                               const CZuvStringData& with);

namespace ZuvString {
/// s without its leading (bLeft) and/or trailing (bRight) characters that occur in the set chars.
/// Empty without value when s holds nothing but such characters.
ZUV_EXPORT CZuvStringData Trim(const CZuvStringData& s, const CZuvStringData& chars, bool bLeft,
                               bool bRight);
}  // namespace ZuvString

/// Trim(s, chars, true, false).
ZUV_EXPORT CZuvStringData ZuvStringDataTrimLeft(const CZuvStringData& s,
                                                const CZuvStringData& chars);
/// Trim(s, chars, false, true).
ZUV_EXPORT CZuvStringData ZuvStringDataTrimRight(const CZuvStringData& s,
                                                 const CZuvStringData& chars);
/// Trim(s, chars, true, true).
ZUV_EXPORT CZuvStringData ZuvStringDataTrim(const CZuvStringData& s, const CZuvStringData& chars);

/// s in lower or upper case by the locale-independent full case mapping. Text that is not
/// well-formed UTF-8 gives an empty result with value.
/// @{
ZUV_EXPORT CZuvStringData ZuvStringDataLower(const CZuvStringData& s);
ZUV_EXPORT CZuvStringData ZuvStringDataUpper(const CZuvStringData& s);
/// @}

/// s without its first n UTF-16 units. Empty without value when s has fewer than n characters
/// (GetLengthChar); n equal to the length gives an empty result with value.
ZUV_EXPORT CZuvStringData ZuvStringDataInc(const CZuvStringData& s, unsigned long n);

/// atol of the text: 0 where no number begins.
ZUV_EXPORT int64_t ZuvStringDataToNumber(const ZuvCharPlatform& text);
/// atof of the text.
ZUV_EXPORT double ZuvStringDataToFloat(const ZuvCharPlatform& text);

/// Writes s in the system encoding to buffer, at most bufferSize bytes including the terminating 0
/// byte; each character the encoding lacks becomes lossByte (a lossByte of 0 ends the text there).
/// A character that does not fit whole is left out, but when the buffer fills up its last byte
/// becomes the terminator.
ZUV_EXPORT void ZuvMacCopySystemEncoingStringWithLossByte(const CZuvStringData& s, char* buffer,
                                                          int bufferSize, char lossByte);

namespace ZuvFunctorUtility {
/// Orders string values by ZuvStringDataCmpi, for maps keyed case-insensitively.
struct CZuvLessStringDataNoCase {
  /// True when a sorts before b.
  bool operator()(const CZuvStringData& a, const CZuvStringData& b) const {
    return ZuvStringDataCmpi(a, b) < 0;
  }
};
}  // namespace ZuvFunctorUtility
