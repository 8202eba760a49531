// ICU's default locale set for a scope, so that a test can show a result does not depend on it.
#pragma once

#include <string>
#include <unicode/uloc.h>

namespace zuv::platform::testing {

class ScopedTextLocale {
 public:
  explicit ScopedTextLocale(const char* locale) : m_saved(uloc_getDefault()) { Set(locale); }
  ~ScopedTextLocale() { Set(m_saved.c_str()); }

 private:
  static void Set(const char* locale) {
    UErrorCode status = U_ZERO_ERROR;
    uloc_setDefault(locale, &status);
  }
  std::string m_saved;
};

}  // namespace zuv::platform::testing
