// The string operations on arbitrary bytes: replacing, splitting, trimming, searching and case
// mapping keep to what they promise about their results, and nothing is read or written outside.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "zuv/platform/text.h"
#include "zuv/strings/string_ops.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

std::string_view Text(const CZuvStringData& value) { return value.GetPtrUtf8(); }

CZuvStringData Value(std::string_view text) {
  return CZuvStringData(ZuvCharUtf8{std::string(text).c_str()});
}

bool IsWellFormed(std::string_view text) {
  return zuv::platform::DecodeUtf8(text, nullptr, 0) >= 0;
}

}  // namespace

// Input: a byte with the lengths of find (low 3 bits) and with (next 3 bits) and the trim sides
// (top 2 bits), then find, with and s, each cut at its first 0 byte.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  const size_t findLength = std::min<size_t>(data[0] & 7, input.size());
  const size_t withLength = std::min<size_t>((data[0] >> 3) & 7, input.size() - findLength);
  const CZuvStringData find = Value(input.substr(0, findLength));
  const CZuvStringData with = Value(input.substr(findLength, withLength));
  const CZuvStringData s = Value(input.substr(findLength + withLength));
  const std::string_view text = Text(s);

  Check(Text(ZuvStringDataReplace(s, CZuvStringData(), with)) == text);
  Check(Text(ZuvStringDataReplace(s, find, find)) == text);

  std::vector<CZuvStringData> pieces;
  ZuvStringDataSplit(s, find, &pieces);
  size_t from = 0;
  for (const CZuvStringData& piece : pieces) {
    Check(!piece.IsEmpty());
    const size_t at = text.find(Text(piece), from);
    Check(at != std::string_view::npos);
    from = at + Text(piece).size();
  }

  const bool left = (data[0] & 0x40) != 0;
  const bool right = (data[0] & 0x80) != 0;
  Check(text.find(Text(ZuvString::Trim(s, find, left, right))) != std::string_view::npos);

  for (const CZuvStringData& tail : {ZuvStringDataStr(s, find), ZuvStringDataStrNoCase(s, find)}) {
    if (!tail.IsEmpty()) Check(text.ends_with(Text(tail)));
  }
  ZuvStringDataInc(s, data[0] & 0x0F);

  if (IsWellFormed(text)) {
    Check(IsWellFormed(Text(ZuvStringDataLower(s))));
    Check(IsWellFormed(Text(ZuvStringDataUpper(s))));
  }

  char buffer[8];
  ZuvMacCopySystemEncoingStringWithLossByte(s, buffer, 1 + (data[0] & 7), '?');
  return 0;
}
