#include "zuv/platform/linux/system_encoding.h"

#include <cstdlib>
#include <cstring>
#include <langinfo.h>
#include <locale.h>
#include <unicode/ucnv.h>

namespace zuv::platform::detail {
namespace {

const char* LocaleNameFromEnvironment() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return nullptr;
}

// The codeset of the named locale, read from a locale object of its own so that the process
// locale is never changed; empty when the locale is not installed.
std::string CodesetOfLocale(const char* name) {
  locale_t locale = newlocale(LC_CTYPE_MASK, name, static_cast<locale_t>(nullptr));
  if (locale == static_cast<locale_t>(nullptr)) return {};
  std::string codeset = nl_langinfo_l(CODESET, locale);
  freelocale(locale);
  return codeset;
}

}  // namespace

std::string FindSystemEncodingName() {
  const std::string utf8 = "UTF-8";
  const char* name = LocaleNameFromEnvironment();
  if (name == nullptr || std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0)
    return utf8;
  std::string codeset = CodesetOfLocale(name);
  if (codeset.empty()) return utf8;

  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(codeset.c_str(), &status);
  if (U_FAILURE(status)) return utf8;
  // Any alias of UTF-8 ("utf8", "UTF8") takes the UTF-8 fast paths under its canonical name.
  const bool isUtf8 = std::strcmp(ucnv_getName(converter, &status), "UTF-8") == 0;
  ucnv_close(converter);
  return isUtf8 ? utf8 : codeset;
}

}  // namespace zuv::platform::detail
