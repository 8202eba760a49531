#include "zuv/transfer/result.h"

#include <string>
#include <vector>

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

TEST(ResultTest, ConvertCocoaErrorMapsEachDomainAndCode) {
  const struct {
    std::string domain;  // a copy: a match must be by content, not by the constant's address
    ZuvResult expected;
    std::vector<long> codes;
  } rows[] = {
      {"NSOSStatusErrorDomain", kZuvErrAccessDenied, {-5000, -61, -46}},
      {"NSOSStatusErrorDomain", kZuvErrAlreadyExists, {-1301}},
      {"NSOSStatusErrorDomain", kZuvErrNotFound, {-35}},
      {"NSOSStatusErrorDomain", kZuvErrDiskFull, {-34, -33}},
      {"NSOSStatusErrorDomain", kZuvErrFailed, {-43, 0}},
      {"NSCocoaErrorDomain", kZuvErrAccessDenied, {257, 513}},
      {"NSCocoaErrorDomain", kZuvErrNotFound, {260}},
      {"NSCocoaErrorDomain", kZuvErrDiskFull, {640}},
      {"NSCocoaErrorDomain", kZuvErrFailed, {2}},
      {"NSURLErrorDomain", kZuvErrNotFound, {-1100, -1000}},
      {"NSURLErrorDomain", kZuvErrAccessDenied, {-1102}},
      {"NSURLErrorDomain", kZuvErrFailed, {260}},
      {"NSMachErrorDomain", kZuvErrFailed, {0, 2, -34}},
      {"NSPOSIXErrorDomain", kZuvErrAccessDenied, {1, 13, 30}},
      {"NSPOSIXErrorDomain", kZuvErrNotFound, {2}},
      {"NSPOSIXErrorDomain", kZuvErrNoMemory, {12}},
      {"NSPOSIXErrorDomain", kZuvErrAlreadyExists, {17}},
      {"NSPOSIXErrorDomain", kZuvErrDiskFull, {27, 28}},
      {"NSPOSIXErrorDomain", kZuvErrFailed, {0, 16, 31, -1, 2 + (1L << 32)}},
      {"NSFooErrorDomain", kZuvErrFailed, {2}},
      {"nsposixerrordomain", kZuvErrFailed, {2}},
      {"", kZuvErrFailed, {2}},
  };
  for (const auto& row : rows) {
    for (const long code : row.codes) {
      EXPECT_EQ(row.expected, ConvertCocoaError(row.domain.c_str(), code))
          << row.domain << " " << code;
    }
  }
  EXPECT_EQ(kZuvErrDiskFull, ConvertCocoaError(NSPOSIXErrorDomain, 28));
  EXPECT_EQ(kZuvSuccess, ConvertCocoaError(nullptr, 28));
}

struct FixedAltusError : IAltusError {
  explicit FixedAltusError(int32_t value) : code(value) {}
  int32_t GetErrorCode() const override { return code; }
  int32_t code;
};

TEST(ResultTest, ConvertAltusErrorMapsEachCode) {
  const struct {
    ZuvResult expected;
    std::vector<int32_t> codes;
  } rows[] = {
      {kZuvSuccess, {0}},
      {kZuvErrFailed, {1, 1007}},
      {kZuvErrNoMemory, {1005}},
      {kZuvErrDiskFull, {1006, 1008}},
      {kZuvErrFileSystem, {1100, 1104, 1105, 1108}},
      {kZuvErrAccessDenied, {1101, 1102}},
      {kZuvErrServiceRefused, {1106, 1107, 1325}},
      {kZuvErrPathTooLong, {1324}},
      {kZuvErrNotSupported, {1103, 2, 1000, 1109, 1323, 1326, -1, -1005, INT32_MIN}},
  };
  for (const auto& row : rows) {
    for (const int32_t code : row.codes) {
      FixedAltusError error(code);
      EXPECT_EQ(row.expected, ConvertAltusError(&error)) << code;
    }
  }
  EXPECT_EQ(kZuvSuccess, ConvertAltusError(nullptr));
}

}  // namespace
