#include "zuv/transfer/result.h"

#include <string>

#include <gtest/gtest.h>

namespace {

// A code has a name and a reason of its own; an unused code has neither. Failure starts at 4096.
TEST(ResultTest, CodesAreNamedAndExplainedAndFailureStartsAt4096) {
  EXPECT_STREQ("kZuvErrNotFound", ZuvResultName(kZuvErrNotFound));
  EXPECT_STREQ("the volume is full", ZuvResultReason(kZuvErrDiskFull));
  for (ZuvResult unused : {1u, 4095u, 4096u, 4102u, 4356u, 0xFFFFFFFFu}) {
    EXPECT_EQ(nullptr, ZuvResultName(unused)) << unused;
    EXPECT_STREQ(unused < 4096 ? "success" : "an unknown error", ZuvResultReason(unused));
    EXPECT_EQ(unused < 4096, ZuvIsSuccess(unused)) << unused;
    EXPECT_NE(ZuvIsSuccess(unused), ZuvIsFailure(unused)) << unused;
  }
}

// A known code of each domain, its unknown codes, and domains that are not known by their text.
TEST(ResultTest, ConvertErrorsGoByDomainThenCode) {
  const struct {
    std::string domain;  // a copy: a match must be by content, not by the constant's address
    long code;
    ZuvResult expected;
  } rows[] = {
      {"NSOSStatusErrorDomain", -1301, kZuvErrAlreadyExists},
      {"NSCocoaErrorDomain", 640, kZuvErrDiskFull},
      {"NSURLErrorDomain", 260, kZuvErrFailed},
      {"NSPOSIXErrorDomain", 28, kZuvErrDiskFull},
      {"NSPOSIXErrorDomain", 2 + (1L << 32), kZuvErrFailed},  // not cut to 32 bits
      {"nsposixerrordomain", 2, kZuvErrFailed},
  };
  for (const auto& [domain, code, expected] : rows) {
    EXPECT_EQ(expected, ConvertCocoaError(domain.c_str(), code)) << domain << " " << code;
  }
  EXPECT_EQ(kZuvSuccess, ConvertCocoaError(nullptr, 28));

  struct FixedError : IAltusError {
    int32_t GetErrorCode() const override { return code; }
    int32_t code = 0;
  } error;
  for (const auto& [code, expected] : {std::pair{0, kZuvSuccess},
                                       {1108, kZuvErrFileSystem},
                                       {1324, kZuvErrPathTooLong},
                                       {1325, kZuvErrServiceRefused},
                                       {1109, kZuvErrNotSupported}}) {
    error.code = code;
    EXPECT_EQ(expected, ConvertAltusError(&error)) << code;
  }
  EXPECT_EQ(kZuvSuccess, ConvertAltusError(nullptr));
}

}  // namespace
