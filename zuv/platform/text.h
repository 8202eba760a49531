// The platform's text services, as the string code asks for them: a platform string object
// (immutable UTF-16), strict decoding of UTF-8 and of the system encoding, encoding back (strictly,
// or with a loss byte), comparison and search with or without case, and case mapping that ignores
// the user's locale. Built on ICU on Linux.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "zuv/export.h"

/// An immutable sequence of UTF-16 units: the library's platform string object. Public signatures
/// that exchange text with the platform (CZuvStringData::InitWithCFString, CreateCopyCFString) use
/// it.
class ZUV_EXPORT CZuvPlatformString {
 public:
  CZuvPlatformString() = default;
  /// A string of these units.
  explicit CZuvPlatformString(std::u16string units) : m_units(std::move(units)) {}

  /// A string of the UTF-8 text; null for a null pointer or bytes that are not well-formed UTF-8
  /// (overlong forms, encoded surrogates, values above U+10FFFF, truncated sequences).
  static std::unique_ptr<CZuvPlatformString> CreateWithUtf8(const char* text);
  /// A string of the text in the system encoding; null for a null pointer or refused bytes.
  static std::unique_ptr<CZuvPlatformString> CreateWithSystemEncoding(const char* text);

  /// The units, valid while the string lives.
  std::u16string_view Units() const { return m_units; }
  /// Length in UTF-16 units.
  int32_t GetLength() const { return static_cast<int32_t>(m_units.size()); }
  /// The units [start, start + length), clipped to the string.
  std::unique_ptr<CZuvPlatformString> CreateSubstring(int32_t start, int32_t length) const;
  /// The text as UTF-8; a lone surrogate becomes U+FFFD.
  std::string GetUtf8() const;

 private:
  std::u16string m_units;
};

namespace zuv::platform {

/// Decodes well-formed UTF-8 into `dest` (room for `capacity` units, no terminator written).
/// Returns the number of UTF-16 units the text needs, which may exceed `capacity` (then only the
/// first `capacity` are written; a null `dest` has no room), or -1 when the bytes are not
/// well-formed UTF-8 or longer than INT32_MAX bytes. Never allocates; usable to validate alone.
ZUV_EXPORT int32_t DecodeUtf8(std::string_view utf8, char16_t* dest, int32_t capacity);
/// True when the bytes are well-formed UTF-8, as DecodeUtf8 takes them.
ZUV_EXPORT bool IsWellFormedUtf8(std::string_view utf8);
/// Decodes well-formed UTF-8 into `out`. False (and `out` unchanged) for malformed bytes.
ZUV_EXPORT bool DecodeUtf8(std::string_view utf8, std::u16string* out);
/// Encodes UTF-16 as UTF-8; each lone surrogate becomes U+FFFD.
ZUV_EXPORT std::string EncodeUtf8(std::u16string_view units);
/// The most bytes `units` UTF-16 units can take in UTF-8 (3 × units); -1 when `units` is negative
/// or the answer does not fit in int32_t.
ZUV_EXPORT int32_t MaxUtf8Bytes(int32_t units);

/// The name of the system encoding: the codeset of the user's locale as LC_ALL, else LC_CTYPE,
/// else LANG names it ("UTF-8" for the C/POSIX locale and for a locale that is not installed).
/// Found on first use and fixed for the life of the process.
ZUV_EXPORT const char* SystemEncodingName();
/// True when the system encoding is UTF-8, so that conversions to and from it are copies.
ZUV_EXPORT bool SystemEncodingIsUtf8();
/// Decodes bytes in the system encoding. False (and `out` unchanged) for bytes it refuses.
ZUV_EXPORT bool DecodeSystem(std::string_view bytes, std::u16string* out);
/// Encodes UTF-16 in the system encoding. False (and `out` unchanged) when a unit is malformed or a
/// character cannot be represented.
ZUV_EXPORT bool EncodeSystem(std::u16string_view units, std::string* out);
/// The most bytes `units` UTF-16 units can take in the system encoding; -1 when `units` is
/// negative or the answer does not fit in int32_t.
ZUV_EXPORT int32_t MaxSystemBytes(int32_t units);
/// Encodes UTF-16 in the system encoding into `dest` (at most `capacity` bytes, no terminator).
/// Each character the encoding cannot represent is written as `lossByte`; a `lossByte` of 0 stops
/// at the first such character; a surrogate pair is one character, a lone surrogate an unmappable
/// one. Stops at the last whole character that fits. Returns bytes written.
ZUV_EXPORT int32_t EncodeSystemWithLossByte(std::u16string_view units, char* dest, int32_t capacity,
                                            char lossByte);

/// Simple case folding of one UTF-16 unit (surrogates fold to themselves). Folding keeps lengths.
ZUV_EXPORT char16_t FoldCase(char16_t unit);
/// Compares in code-unit order, after simple case folding of each unit when `ignoreCase`.
/// Returns -1, 0 or 1.
ZUV_EXPORT int CompareUnits(std::u16string_view a, std::u16string_view b, bool ignoreCase);
/// The position (in units) of the first, or with `backwards` the last, occurrence of `find` in
/// `text`, compared as CompareUnits does; -1 when there is none, `find` is empty or `text` is
/// longer than INT32_MAX units.
ZUV_EXPORT int32_t FindUnits(std::u16string_view text, std::u16string_view find, bool ignoreCase,
                             bool backwards);
/// Full case mapping with the root locale ("ß" upper-cases to "SS"; "i" to "I" whatever the
/// user's language). Empty for text longer than INT32_MAX units.
ZUV_EXPORT std::u16string ToLowerCase(std::u16string_view units);
ZUV_EXPORT std::u16string ToUpperCase(std::u16string_view units);

}  // namespace zuv::platform
