#include "zuv/transfer/result.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(ResultTest, EveryCodeIsNamedAndExplainedAndFailureStartsAt4096) {
  for (const ZuvResult code :
       {kZuvSuccess, kZuvErrCanceled, kZuvErrNoMemory, kZuvErrEmptyPath, kZuvErrDiskFull,
        kZuvErrFailed, kZuvErrNotFound, kZuvErrPathTooLong, kZuvErrNotSupported,
        kZuvErrAlreadyExists, kZuvErrFileSystem, kZuvErrInUse, kZuvErrAccessDenied,
        kZuvErrFolderExists, kZuvErrInvalidName, kZuvErrServiceRefused, kZuvErrNameTooLong,
        kZuvErrSamePath, kZuvErrSubFolder}) {
    EXPECT_NE(nullptr, ZuvResultName(code)) << code;
    const std::string reason = ZuvResultReason(code);
    EXPECT_TRUE(!reason.empty() && reason != "an unknown error") << code;
  }
  EXPECT_STREQ("kZuvErrNotFound", ZuvResultName(kZuvErrNotFound));
  EXPECT_STREQ("the volume is full", ZuvResultReason(kZuvErrDiskFull));
  for (ZuvResult unused : {1u, 4095u, 4096u, 4097u, 4102u, 4352u, 4356u, 0xFFFFFFFFu}) {
    EXPECT_EQ(nullptr, ZuvResultName(unused)) << unused;
    EXPECT_STREQ(ZuvIsSuccess(unused) ? "success" : "an unknown error", ZuvResultReason(unused))
        << unused;
  }
  EXPECT_TRUE(ZuvIsSuccess(4095));
  EXPECT_FALSE(ZuvIsFailure(4095));
  EXPECT_FALSE(ZuvIsSuccess(4096));
  EXPECT_TRUE(ZuvIsFailure(4096));
}

// A known code of each domain, its unknown codes, and domains that are not known by their text.
TEST(ResultTest, ConvertCocoaErrorGoesByDomainThenCode) {
  const struct {
    std::string domain;  // a copy: a match must be by content, not by the constant's address
    long code;
    ZuvResult expected;
  } rows[] = {
      {"NSOSStatusErrorDomain", -1301, kZuvErrAlreadyExists},
      {"NSOSStatusErrorDomain", -43, kZuvErrFailed},
      {"NSCocoaErrorDomain", 640, kZuvErrDiskFull},
      {"NSCocoaErrorDomain", 2, kZuvErrFailed},
      {"NSURLErrorDomain", -1102, kZuvErrAccessDenied},
      {"NSURLErrorDomain", 260, kZuvErrFailed},
      {"NSMachErrorDomain", 2, kZuvErrFailed},
      {"NSPOSIXErrorDomain", 28, kZuvErrDiskFull},
      {"NSPOSIXErrorDomain", 2 + (1L << 32), kZuvErrFailed},  // not cut to 32 bits
      {"NSPOSIXErrorDomain", -1, kZuvErrFailed},
      {"nsposixerrordomain", 2, kZuvErrFailed},
      {"NSFooErrorDomain", 2, kZuvErrFailed},
      {"", 2, kZuvErrFailed},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, ConvertCocoaError(row.domain.c_str(), row.code))
        << row.domain << " " << row.code;
  }
  EXPECT_EQ(kZuvErrDiskFull, ConvertCocoaError(NSPOSIXErrorDomain, 28));
  EXPECT_EQ(kZuvSuccess, ConvertCocoaError(nullptr, 28));
}

struct FixedAltusError : IAltusError {
  explicit FixedAltusError(int32_t value) : code(value) {}
  int32_t GetErrorCode() const override { return code; }
  int32_t code;
};

TEST(ResultTest, ConvertAltusErrorMapsKnownCodesAndCallsTheRestUnsupported) {
  const std::pair<int32_t, ZuvResult> rows[] = {{0, kZuvSuccess},
                                                {1108, kZuvErrFileSystem},
                                                {1324, kZuvErrPathTooLong},
                                                {1325, kZuvErrServiceRefused},
                                                {1109, kZuvErrNotSupported},
                                                {1323, kZuvErrNotSupported},
                                                {-1005, kZuvErrNotSupported},
                                                {INT32_MIN, kZuvErrNotSupported}};
  for (const auto& [code, expected] : rows) {
    FixedAltusError error(code);
    EXPECT_EQ(expected, ConvertAltusError(&error)) << code;
  }
  EXPECT_EQ(kZuvSuccess, ConvertAltusError(nullptr));
}

}  // namespace
