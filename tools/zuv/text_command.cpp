// zuv text: how the string value holds each text, in its character count and its three forms.
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "tools/zuv/command.h"
#include "zuv/platform/text.h"
#include "zuv/strings/string_data.h"

namespace {

// Latin, Greek, Japanese, and characters beyond the BMP (surrogate pairs in UTF-16).
constexpr const char* kSamples[] = {"Café", "Ελληνικά", "日本語のテキスト", "𝄞 music 🎵"};

// Space-separated hex digits of each unit: two per byte, four per UTF-16 unit.
template <typename Unit>
std::string HexDump(const Unit* units, unsigned long count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string dump;
  for (unsigned long i = 0; i < count; ++i) {
    if (i != 0) dump += ' ';
    const auto value = static_cast<std::make_unsigned_t<Unit>>(units[i]);
    for (int shift = 8 * sizeof(Unit) - 4; shift >= 0; shift -= 4) {
      dump += kDigits[(value >> shift) & 0xF];
    }
  }
  return dump;
}

// A number right-aligned in a column of five.
std::string Count(unsigned long number) {
  std::ostringstream text;
  text << std::setw(5) << number;
  return text.str();
}

void PrintLine(const std::string& label, const std::string& value) {
  std::cout << "  " << std::left << std::setw(19) << label << ' ' << value << '\n';
}

// A form that came out empty from a text that is not empty could not be made: `missing` says why.
void PrintForm(const std::string& label, unsigned long bytes, const std::string& dump,
               bool textIsEmpty, const std::string& missing) {
  if (bytes == 0 && !textIsEmpty) {
    PrintLine(label, "    -  " + missing);
  } else {
    PrintLine(label, Count(bytes) + (bytes == 1 ? " byte " : " bytes") +
                         (dump.empty() ? "" : "  ") + dump);
  }
}

void Describe(const CZuvStringData& text, bool fromSystem) {
  const std::string encoding = zuv::platform::SystemEncodingName();
  const unsigned long utf8Bytes = text.GetLengthByteUtf8();
  const unsigned long unicodeBytes = text.GetLengthByteUnicode();
  const unsigned long systemBytes = text.GetLengthByteSystemEncoding();
  const bool textIsEmpty = (fromSystem ? systemBytes : utf8Bytes) == 0;
  const std::string missing = fromSystem ? "none: the bytes are not valid " + encoding
                                         : encoding + " cannot hold this text";

  std::cout << '\n';
  // Shown in the system encoding, which is taken to be the terminal's.
  if (systemBytes != 0 || textIsEmpty) {
    std::cout << '"' << text.GetPtrSystemEncoding() << '"';
  } else {
    std::cout << "(not shown)";
  }
  std::cout << " read as " << (fromSystem ? "system encoding" : "UTF-8") << '\n';
  PrintLine("characters", Count(text.GetLengthChar()));
  PrintForm("UTF-8", utf8Bytes, HexDump(text.GetPtrUtf8(), utf8Bytes), textIsEmpty, missing);
  PrintForm("UTF-16", unicodeBytes, HexDump(text.GetPtrUnicode(), unicodeBytes / 2), textIsEmpty,
            missing);
  PrintForm("system (" + encoding + ")", systemBytes,
            HexDump(text.GetPtrSystemEncoding(), systemBytes), textIsEmpty, missing);
}

}  // namespace

int RunTextCommand(const std::vector<std::string>& arguments) {
  if (!arguments.empty() && IsTextOperation(arguments[0])) {
    return RunTextOperation(arguments[0], {arguments.begin() + 1, arguments.end()});
  }
  std::vector<std::string> texts;
  bool optionsEnded = false;
  for (const std::string& argument : arguments) {
    if (!optionsEnded && argument == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && argument.size() > 1 && argument.front() == '-') {
      return ZuvToolUsageError("text", "unknown option '" + argument + "'");
    } else {
      texts.push_back(argument);
    }
  }

  std::cout << "System encoding: " << zuv::platform::SystemEncodingName() << "\n";
  if (texts.empty()) {
    for (const char* sample : kSamples) Describe(CZuvStringData(ZuvCharUtf8(sample)), false);
  } else {
    for (const std::string& text : texts)
      Describe(CZuvStringData(ZuvCharSystem(text.c_str())), true);
  }
  return kZuvToolSuccess;
}
