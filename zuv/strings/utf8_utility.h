// Functions on 0-terminated UTF-8 byte strings, in two families kept apart:
// - the platform family (utf8_cmp, utf8_cmpi, utf8_cmpn, utf8_cmpni, utf8_strreverse) reads its
//   arguments as platform strings: counts are UTF-16 units, comparison is literal unit by unit,
//   and case-insensitive by simple case folding where the name says so;
// - the byte family (utf8_length, utf8_mid, utf8_decode, utf8_encode and the _id functions) works
//   on the bytes alone and never fails: malformed bytes are taken as they come.
// Also the exported WGL4 normalization tables, a case- and accent-folding map for the WGL4
// character repertoire.
#pragma once

#include <cstdint>

#include "zuv/export.h"
#include "zuv/strings/string_data.h"

namespace ZuvMacStringUtility {

/// Decodes the character whose lead byte is at byte `index` into `out`. Continuation bytes and
/// overlong forms are not checked; a form cut short by the terminator ends there, its missing
/// bytes counting as 0. A byte that cannot lead stores its sign-extended value (-128 for 0x80).
/// Always returns 1.
ZUV_EXPORT int utf8_decode(const char* s, int index, wchar_t& out);
/// Writes the UTF-8 bytes of `c` (1 to 6) and a 0 byte to `out` (7 bytes of room). Every negative
/// value is written as one byte, its low 8 bits. Returns the bytes written without the 0.
ZUV_EXPORT int utf8_encode(wchar_t c, char* out);
/// Number of characters: the bytes below 0x80 or in 0xC2..0xF4. 0 for null or empty.
ZUV_EXPORT int utf8_length(const char* s);
/// At most `count` characters of the UTF-8 form of `s` starting at character `start`, where every
/// byte not of the form 10xxxxxx starts a character. Empty and without value when nothing is taken.
ZUV_EXPORT CZuvStringData utf8_mid(const CZuvStringData& s, unsigned long start,
                                   unsigned long count);

/// Literal comparison: -1, 0 or 1; 0 when either argument is not well-formed UTF-8.
ZUV_EXPORT int utf8_cmp(const char* a, const char* b);
/// Case-insensitive comparison: -1, 0 or 1; malformed text counts as empty.
ZUV_EXPORT int utf8_cmpi(const char* a, const char* b);
/// The first `n` UTF-16 units of `a` (clipped to its length) against the whole of `b`, literally.
ZUV_EXPORT int utf8_cmpn(const char* a, const char* b, unsigned long n);
/// The first `n` units of `a` against the first `n` units of `b`, each clipped, ignoring case.
ZUV_EXPORT int utf8_cmpni(const char* a, const char* b, unsigned long n);
/// Byte-level case-insensitive comparison by character identifiers: -1, 0 or 1.
ZUV_EXPORT int utf8_cmpi_id(const char* a, const char* b);
/// Identifier of the character at `*p` (see utf8_cmpi_id); moves `*p` to its last byte, which for a
/// form cut short by the terminator is the last byte before it.
ZUV_EXPORT uint32_t UTF8LowerCase_id(const char** p);
/// The tail of `s` from the last occurrence of `f`, found literally in UTF-16 units; empty and
/// without value when there is none.
ZUV_EXPORT CZuvStringData utf8_strreverse(const char* s, const char* f);
/// The tail of `s` from the last occurrence of `f`, by byte comparison. `s` must be longer than
/// `f`: a string equal to `f` does not contain it here.
ZUV_EXPORT CZuvStringData utf8_strreverse_id(const char* s, const char* f);

/// One page of the WGL4 normalization tables: the folded code point for each low byte.
typedef uint32_t WGL4NormalizationPage[256];

/// Pages by the high byte of a BMP code point; null where the page holds only identity.
ZUV_EXPORT extern const uint32_t* const WGL4NormalizationTables[256];
ZUV_EXPORT extern const WGL4NormalizationPage WGL4_Normalization_00;
ZUV_EXPORT extern const WGL4NormalizationPage WGL4_Normalization_01;
ZUV_EXPORT extern const WGL4NormalizationPage WGL4_Normalization_02;
ZUV_EXPORT extern const WGL4NormalizationPage WGL4_Normalization_03;
ZUV_EXPORT extern const WGL4NormalizationPage WGL4_Normalization_04;
ZUV_EXPORT extern const WGL4NormalizationPage WGL4_Normalization_1e;
ZUV_EXPORT extern const WGL4NormalizationPage WGL4_Normalization_21;

/// The WGL4 folding of a code point below 0x10000 (identity where no page exists).
ZUV_EXPORT uint32_t WGL4Normalize(uint32_t codePoint);

}  // namespace ZuvMacStringUtility
