// The text forms of a time under real time zones: any text reads without harm, a time read from
// text reads back the same from its compact form, and every form of any time is terminated, laid
// out as promised and reads back to the same text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "zuv/platform/testing/scoped_time_zone.h"
#include "zuv/strings/string_data.h"
#include "zuv/time/time.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

// Zones with a half-hour daylight saving shift, a skipped day and no shift at all.
constexpr const char* kZones[] = {
    "UTC",          "Europe/Berlin", "America/New_York", "Australia/Lord_Howe",
    "Pacific/Apia", "Asia/Kathmandu"};

std::string Format(const CZuvTime& time, bool dateOnly, bool compact) {
  CZuvStringData out;
  Check(time.ConvertToString(&out, dateOnly, compact) == kZuvSuccess);
  const char* text = out.GetPtrUtf8();
  Check(std::strlen(text) == out.GetLengthByteUtf8());
  return text;
}

bool Parse(const std::string& text, CZuvTime* time) {
  return time->Initialize(CZuvStringData(ZuvCharUtf8{text.c_str()})) == kZuvSuccess;
}

// Whether text has the layout, '9' standing for any digit.
bool HasLayout(std::string_view text, std::string_view layout) {
  if (text.size() != layout.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (layout[i] == '9' ? !digit : text[i] != layout[i]) return false;
  }
  return true;
}

}  // namespace

// Input: a byte choosing the zone, 8 bytes of a time in its 64-bit form, then a text to read.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 9) return 0;
  const zuv::platform::testing::ScopedTimeZone zone(kZones[data[0] % std::size(kZones)]);
  unsigned long long value;
  std::memcpy(&value, data + 1, sizeof value);
  const std::string text(reinterpret_cast<const char*>(data) + 9, size - 9);

  CZuvTime read;
  if (Parse(text, &read)) {
    CZuvTime again;
    Check(Parse(Format(read, false, true), &again) && again == read);
  }

  const CZuvTime time(value);
  unsigned year = 0;
  time.GetTime(&year, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  const struct {
    bool dateOnly;
    bool compact;
    std::string_view layout;
  } forms[] = {{true, false, "9999/99/99"},
               {false, false, "9999/99/99 99:99:99"},
               {false, true, "99999999999999000"}};
  // A longer year is shown whole and read back only in part; the midnight of the first local day
  // may lie before 1904 UTC, which no time holds.
  const bool readable = year <= 9999 && value >= (2ULL * 86400) << 16;
  for (const auto& form : forms) {
    const std::string shown = Format(time, form.dateOnly, form.compact);
    if (!readable) continue;
    Check(HasLayout(shown, form.layout));
    CZuvTime back;
    Check(Parse(shown, &back) && Format(back, form.dateOnly, form.compact) == shown);
  }
  return 0;
}
