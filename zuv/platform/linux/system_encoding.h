// How the system encoding is found on Linux: the codeset of the locale that the environment
// names, checked against the converters ICU has.
#pragma once

#include <string>

namespace zuv::platform::detail {

/// The system encoding named by the environment as it is now (LC_ALL, else LC_CTYPE, else LANG;
/// the first that is set and not empty): that locale's codeset, or "UTF-8" when the locale is
/// "C", "POSIX", unset, not installed, or has a codeset that ICU cannot convert. Leaves the process
/// locale alone. Not cached: SystemEncodingName() caches the first answer.
std::string FindSystemEncodingName();

}  // namespace zuv::platform::detail
