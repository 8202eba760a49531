// The UTF-16 form of UTF-8 text as the platform string would hold it, decoded on the stack unless
// the text is long, so that comparisons and searches on short text take nothing from the heap.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "zuv/platform/text.h"

namespace zuv::strings_internal {

class Utf16Text {
 public:
  /// Null and text that is not well-formed UTF-8 give no units and IsValid() false.
  explicit Utf16Text(const char* text)
      : Utf16Text(text != nullptr ? std::string_view(text) : std::string_view(), text != nullptr) {}
  explicit Utf16Text(std::string_view text) : Utf16Text(text, true) {}
  Utf16Text(const Utf16Text&) = delete;
  Utf16Text& operator=(const Utf16Text&) = delete;

  bool IsValid() const { return m_valid; }
  std::u16string_view Units() const { return {m_units, m_length}; }
  /// The first `n` units, clipped to the length.
  std::u16string_view Prefix(unsigned long n) const { return Units().substr(0, n); }

 private:
  static constexpr int32_t kStackUnits = 256;

  Utf16Text(std::string_view bytes, bool present) {
    if (!present) return;
    const int32_t length = zuv::platform::DecodeUtf8(bytes, m_stack, kStackUnits);
    if (length < 0) return;
    if (length > kStackUnits) {
      m_heap = std::make_unique_for_overwrite<char16_t[]>(static_cast<size_t>(length));
      zuv::platform::DecodeUtf8(bytes, m_heap.get(), length);
      m_units = m_heap.get();
    }
    m_length = static_cast<size_t>(length);
    m_valid = true;
  }

  char16_t m_stack[kStackUnits];
  std::unique_ptr<char16_t[]> m_heap;
  const char16_t* m_units = m_stack;
  size_t m_length = 0;
  bool m_valid = false;
};

}  // namespace zuv::strings_internal
