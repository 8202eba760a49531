// The lossy copy into the system encoding, run once per legacy locale (LC_ALL is set by the test
// runner). Each suite needs one encoding and skips under the others.
#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zuv/platform/text.h"
#include "zuv/strings/string_ops.h"

namespace {

struct CopyCase {
  const char* utf8;
  int bufferSize;
  char lossByte;
  std::string_view expected;
};

// Copies into a larger buffer filled with 'Z', and checks the text and that no byte at or beyond
// bufferSize was written.
void ExpectCopies(std::string_view encoding, std::initializer_list<CopyCase> cases) {
  if (zuv::platform::SystemEncodingName() != encoding) {
    GTEST_SKIP() << "needs the system encoding " << encoding << " (LC_ALL of a locale that has it)";
  }
  for (const CopyCase& c : cases) {
    char buffer[16];
    std::fill(std::begin(buffer), std::end(buffer), 'Z');
    ZuvMacCopySystemEncoingStringWithLossByte(CZuvStringData(ZuvCharUtf8(c.utf8)), buffer,
                                              c.bufferSize, c.lossByte);
    EXPECT_EQ(std::string_view(buffer), c.expected) << c.utf8 << " in " << c.bufferSize;
    EXPECT_EQ(std::string_view(buffer + c.bufferSize, sizeof(buffer) - c.bufferSize - 1),
              std::string(sizeof(buffer) - c.bufferSize - 1, 'Z'));
  }
}

TEST(LossyCopyTest, Latin1) {
  ExpectCopies("ISO-8859-1", {{"é", 1, '?', ""},  // written, then overwritten by the 0
                              {"a€b", 8, '?', "a?b"},
                              {"a€b", 8, '\0', "a"},
                              {"a\xFF", 8, '?', ""}});  // not UTF-8: empty
}

TEST(LossyCopyTest, EucJp) {
  ExpectCopies("EUC-JP", {{"a日", 2, '?', "a"},        // the two-byte character does not fit whole
                          {"a日", 3, '?', "a\xC6"}});  // it fits, and the 0 then cuts it
}

TEST(LossyCopyTest, AnyEncodingLeavesAnEmptyBufferAlone) {
  char byte = 'Z';
  ZuvMacCopySystemEncoingStringWithLossByte(CZuvStringData(ZuvCharUtf8("a")), &byte, 0, '?');
  EXPECT_EQ(byte, 'Z');
  ZuvMacCopySystemEncoingStringWithLossByte(CZuvStringData(ZuvCharUtf8("a")), nullptr, 8, '?');
}

}  // namespace
