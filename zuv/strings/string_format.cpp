#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <vector>

#include "zuv/strings/string_ops.h"

namespace {

// The wide formatter writes into this many bytes, whatever the width of wchar_t.
constexpr size_t kWideBufferBytes = 2048;

// Formats with the exact size the output needs; empty without value when formatting fails.
CZuvStringData FormatUtf8(const char* format, va_list args) {
  CZuvStringData result;
  va_list measure;
  va_copy(measure, args);
  const int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  if (length < 0) return result;
  std::vector<char> text(static_cast<size_t>(length) + 1);
  if (std::vsnprintf(text.data(), text.size(), format, args) == length) {
    result.InitWithUtf8(text.data());
  }
  return result;
}

}  // namespace

CZuvStringData ZuvStringDataFormat(const ZuvCharPlatform* format, ...) {
  if (format == nullptr) return CZuvStringData();
  va_list args;
  va_start(args, format);
  CZuvStringData result = FormatUtf8(*format, args);
  va_end(args);
  return result;
}

CZuvStringData ZuvStringDataFormat(const CZuvStringData* format, ...) {
  // The system-encoding form is produced (and kept) before formatting, as callers expect.
  if (format == nullptr || format->GetPtrSystemEncoding() == nullptr) return CZuvStringData();
  va_list args;
  va_start(args, format);
  CZuvStringData result = FormatUtf8(format->GetPtrUtf8(), args);
  va_end(args);
  return result;
}

// The 16-bit units are handed to the wide formatter as they are, so where wchar_t is 32 bits wide
// each pair of units reads as one wide character; the output is read back as 16-bit units the same
// way. This is kept. To stay inside memory, the format is copied into a zero-padded buffer ending
// in a whole wchar_t 0 (the formatter never reads past the caller's 0 unit), and the output is
// bounded to the 2048 bytes and always ends in 0 units there (glibc leaves truncated output
// unterminated).
CZuvStringData ZuvStringDataFormatW(const ZuvCharUnicode* format, ...) {
  if (format == nullptr) return CZuvStringData();
  const unsigned short* units = *format;
  const size_t unitCount = ZuvString::GetLengthCharUnicode(units);
  const size_t unitBytes = unitCount * sizeof(unsigned short);
  std::vector<wchar_t> scratch((unitBytes + sizeof(wchar_t) - 1) / sizeof(wchar_t) + 1, 0);
  if (unitBytes > 0) std::memcpy(scratch.data(), units, unitBytes);

  wchar_t output[kWideBufferBytes / sizeof(wchar_t)] = {};
  va_list args;
  va_start(args, format);
  std::vswprintf(output, std::size(output), scratch.data(), args);
  va_end(args);
  output[std::size(output) - 1] = 0;

  unsigned short read[kWideBufferBytes / sizeof(unsigned short)];
  std::memcpy(read, output, sizeof(read));
  CZuvStringData result;
  result.InitWithUnicode(read);
  return result;
}
