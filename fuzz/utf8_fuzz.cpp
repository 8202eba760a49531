// The UTF-8 byte utilities on arbitrary bytes: nothing is read outside the text, counts stay within
// its bytes, pieces cut out of it are terminated and come from it, and comparisons are consistent.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "zuv/strings/string_data.h"
#include "zuv/strings/utf8_utility.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

int Sign(int value) { return (value > 0) - (value < 0); }

}  // namespace

// Input: two bytes for the start and count of a piece, then the text (up to its first 0 byte,
// as a C string ends); its second half serves as the other side of the comparisons.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
  const char* s = text.c_str();
  const std::string_view bytes(s);
  const std::string other(bytes.substr(bytes.size() / 2));

  Check(ZuvMacStringUtility::utf8_length(s) >= 0);
  Check(static_cast<size_t>(ZuvMacStringUtility::utf8_length(s)) <= bytes.size());

  const CZuvStringData value(ZuvCharUtf8{s});
  const CZuvStringData piece = ZuvMacStringUtility::utf8_mid(value, data[0], data[1]);
  const char* cut = piece.GetPtrUtf8();
  Check(std::memchr(cut, 0, bytes.size() + 1) != nullptr);
  Check(bytes.find(cut) != std::string_view::npos);

  for (size_t i = 0; i < bytes.size(); ++i) {
    wchar_t c = 0;
    Check(ZuvMacStringUtility::utf8_decode(s, static_cast<int>(i), c) == 1);
    char encoded[7];
    const int length = ZuvMacStringUtility::utf8_encode(c, encoded);
    Check(length >= 1 && length <= 6 && encoded[length] == 0);
  }

  using Compare = int (*)(const char*, const char*);
  for (Compare compare :
       {Compare(ZuvMacStringUtility::utf8_cmp), Compare(ZuvMacStringUtility::utf8_cmpi),
        Compare(ZuvMacStringUtility::utf8_cmpi_id)}) {
    Check(compare(s, s) == 0);
    Check(Sign(compare(s, other.c_str())) == -Sign(compare(other.c_str(), s)));
  }
  Check(Sign(ZuvMacStringUtility::utf8_cmpn(s, other.c_str(), data[0])) >= -1);
  Check(ZuvMacStringUtility::utf8_cmpni(s, s, data[1]) == 0);

  for (const CZuvStringData& tail : {ZuvMacStringUtility::utf8_strreverse(s, other.c_str()),
                                     ZuvMacStringUtility::utf8_strreverse_id(s, other.c_str())}) {
    if (!tail.IsEmpty()) Check(bytes.ends_with(tail.GetPtrUtf8()));
  }
  return 0;
}
