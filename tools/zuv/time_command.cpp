// zuv time: the time value at work. Shows the current time, a time read from text, or a time given
// as its 64-bit form, in the three text forms and as the 64-bit number.
#include <charconv>
#include <iomanip>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zuv/command.h"
#include "zuv/strings/string_data.h"
#include "zuv/time/time.h"
#include "zuv/transfer/result.h"

namespace {

std::string Text(const CZuvTime& time, bool dateOnly, bool compact) {
  CZuvStringData text;
  time.ConvertToString(&text, dateOnly, compact);
  return text.GetPtrUtf8();
}

int Show(const CZuvTime& time) {
  const unsigned long long value = time;
  std::cout << "  date and time  " << Text(time, false, false) << '\n'
            << "  date           " << Text(time, true, false) << '\n'
            << "  compact        " << Text(time, false, true) << '\n'
            << "  64-bit         " << value << " (0x" << std::hex << std::setfill('0')
            << std::setw(16) << value << std::dec << ")\n";
  return kZuvToolSuccess;
}

// A 64-bit form written in decimal, or in hexadecimal after "0x"; false for anything else.
bool ParseValue(std::string_view text, unsigned long long* value) {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *value, base);
  return !text.empty() && error == std::errc() && stop == end;
}

}  // namespace

int RunTimeCommand(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    CZuvTime now;
    now.GetCurrentTime();
    std::cout << "Current time (local):\n";
    return Show(now);
  }
  if (arguments.size() != 2)
    return ZuvToolUsageError("time", "expected 'parse TEXT' or 'format VALUE64'");
  const std::string& verb = arguments[0];
  const std::string& operand = arguments[1];
  CZuvTime time;
  if (verb == "parse") {
    const ZuvResult result = time.Initialize(CZuvStringData(ZuvCharSystem(operand.c_str())));
    if (ZuvIsFailure(result)) {
      return ZuvToolFailure("time", operand, result, "not a valid local date and time");
    }
  } else if (verb == "format") {
    unsigned long long value = 0;
    if (!ParseValue(operand, &value)) {
      return ZuvToolUsageError("time", "'" + operand + "' is not a 64-bit number");
    }
    time = value;
  } else {
    return ZuvToolUsageError("time", "unknown action '" + verb + "'");
  }
  std::cout << operand << ":\n";
  return Show(time);
}
