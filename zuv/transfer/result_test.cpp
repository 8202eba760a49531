#include "zuv/transfer/result.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(ResultTest, EveryCodeHasItsValueAndName) {
  struct Row {
    ZuvResult code;
    ZuvResult value;
    const char* name;
  };
  const Row rows[] = {
      {kZuvSuccess, 0, "kZuvSuccess"},
      {kZuvErrCanceled, 4098, "kZuvErrCanceled"},
      {kZuvErrNoMemory, 4099, "kZuvErrNoMemory"},
      {kZuvErrEmptyPath, 4100, "kZuvErrEmptyPath"},
      {kZuvErrDiskFull, 4101, "kZuvErrDiskFull"},
      {kZuvErrFailed, 4104, "kZuvErrFailed"},
      {kZuvErrNotFound, 4353, "kZuvErrNotFound"},
      {kZuvErrPathTooLong, 4354, "kZuvErrPathTooLong"},
      {kZuvErrNotSupported, 4355, "kZuvErrNotSupported"},
      {kZuvErrAlreadyExists, 4357, "kZuvErrAlreadyExists"},
      {kZuvErrFileSystem, 4608, "kZuvErrFileSystem"},
      {kZuvErrInUse, 4609, "kZuvErrInUse"},
      {kZuvErrAccessDenied, 4610, "kZuvErrAccessDenied"},
      {kZuvErrFolderExists, 4611, "kZuvErrFolderExists"},
      {kZuvErrInvalidName, 4612, "kZuvErrInvalidName"},
      {kZuvErrServiceRefused, 4613, "kZuvErrServiceRefused"},
      {kZuvErrNameTooLong, 4614, "kZuvErrNameTooLong"},
      {kZuvErrSamePath, 4880, "kZuvErrSamePath"},
      {kZuvErrSubFolder, 4881, "kZuvErrSubFolder"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.code, row.value);
    ASSERT_NE(ZuvResultName(row.code), nullptr);
    EXPECT_STREQ(ZuvResultName(row.code), row.name);
    EXPECT_EQ(ZuvIsFailure(row.code), row.code != kZuvSuccess);
  }
  for (ZuvResult unused :
       {1u, 4095u, 4096u, 4097u, 4102u, 4103u, 4105u, 4352u, 4356u, 0xFFFFFFFFu}) {
    EXPECT_EQ(ZuvResultName(unused), nullptr) << unused;
  }
}

TEST(ResultTest, CodesBelow4096AreSuccess) {
  EXPECT_TRUE(ZuvIsSuccess(4095));
  EXPECT_FALSE(ZuvIsFailure(4095));
  EXPECT_FALSE(ZuvIsSuccess(4096));
  EXPECT_TRUE(ZuvIsFailure(4096));
  EXPECT_TRUE(ZuvIsFailure(0xFFFFFFFFu));
}

TEST(ResultTest, ConvertCocoaErrorMapsEachDomainAndCode) {
  struct Row {
    std::string domain;
    long code;
    ZuvResult expected;
  };
  const Row rows[] = {
      {"NSOSStatusErrorDomain", -5000, kZuvErrAccessDenied},
      {"NSOSStatusErrorDomain", -61, kZuvErrAccessDenied},
      {"NSOSStatusErrorDomain", -46, kZuvErrAccessDenied},
      {"NSOSStatusErrorDomain", -1301, kZuvErrAlreadyExists},
      {"NSOSStatusErrorDomain", -35, kZuvErrNotFound},
      {"NSOSStatusErrorDomain", -34, kZuvErrDiskFull},
      {"NSOSStatusErrorDomain", -33, kZuvErrDiskFull},
      {"NSOSStatusErrorDomain", -43, kZuvErrFailed},
      {"NSOSStatusErrorDomain", 0, kZuvErrFailed},
      {"NSCocoaErrorDomain", 257, kZuvErrAccessDenied},
      {"NSCocoaErrorDomain", 513, kZuvErrAccessDenied},
      {"NSCocoaErrorDomain", 260, kZuvErrNotFound},
      {"NSCocoaErrorDomain", 640, kZuvErrDiskFull},
      {"NSCocoaErrorDomain", 2, kZuvErrFailed},
      {"NSURLErrorDomain", -1100, kZuvErrNotFound},
      {"NSURLErrorDomain", -1000, kZuvErrNotFound},
      {"NSURLErrorDomain", -1102, kZuvErrAccessDenied},
      {"NSURLErrorDomain", 260, kZuvErrFailed},
      {"NSMachErrorDomain", 0, kZuvErrFailed},
      {"NSMachErrorDomain", 2, kZuvErrFailed},
      {"NSMachErrorDomain", -34, kZuvErrFailed},
      {"NSPOSIXErrorDomain", 1, kZuvErrAccessDenied},
      {"NSPOSIXErrorDomain", 13, kZuvErrAccessDenied},
      {"NSPOSIXErrorDomain", 30, kZuvErrAccessDenied},
      {"NSPOSIXErrorDomain", 2, kZuvErrNotFound},
      {"NSPOSIXErrorDomain", 12, kZuvErrNoMemory},
      {"NSPOSIXErrorDomain", 17, kZuvErrAlreadyExists},
      {"NSPOSIXErrorDomain", 27, kZuvErrDiskFull},
      {"NSPOSIXErrorDomain", 28, kZuvErrDiskFull},
      {"NSPOSIXErrorDomain", 0, kZuvErrFailed},
      {"NSPOSIXErrorDomain", 16, kZuvErrFailed},
      {"NSPOSIXErrorDomain", 31, kZuvErrFailed},
      {"NSPOSIXErrorDomain", -1, kZuvErrFailed},
      {"NSPOSIXErrorDomain", 2 + (1L << 32), kZuvErrFailed},
      {"NSFooErrorDomain", 2, kZuvErrFailed},
      {"nsposixerrordomain", 2, kZuvErrFailed},
      {"", 2, kZuvErrFailed},
  };
  for (const Row& row : rows) {
    // Each domain is a copy, so a match must be by content, not by the constant's address.
    EXPECT_EQ(ConvertCocoaError(row.domain.c_str(), row.code), row.expected)
        << row.domain << " " << row.code;
  }
}

TEST(ResultTest, ConvertCocoaErrorKnowsTheDomainConstants) {
  EXPECT_STREQ(NSOSStatusErrorDomain, "NSOSStatusErrorDomain");
  EXPECT_STREQ(NSCocoaErrorDomain, "NSCocoaErrorDomain");
  EXPECT_STREQ(NSURLErrorDomain, "NSURLErrorDomain");
  EXPECT_STREQ(NSMachErrorDomain, "NSMachErrorDomain");
  EXPECT_STREQ(NSPOSIXErrorDomain, "NSPOSIXErrorDomain");
  EXPECT_EQ(ConvertCocoaError(NSPOSIXErrorDomain, 28), kZuvErrDiskFull);
  EXPECT_EQ(ConvertCocoaError(nullptr, 28), kZuvSuccess);
}

class FixedAltusError : public IAltusError {
 public:
  explicit FixedAltusError(int32_t code) : m_code(code) {}
  int32_t GetErrorCode() const override { return m_code; }

 private:
  int32_t m_code;
};

TEST(ResultTest, ConvertAltusErrorMapsEachCode) {
  struct Row {
    int32_t code;
    ZuvResult expected;
  };
  const Row rows[] = {
      {0, kZuvSuccess},
      {1, kZuvErrFailed},
      {1007, kZuvErrFailed},
      {1005, kZuvErrNoMemory},
      {1006, kZuvErrDiskFull},
      {1008, kZuvErrDiskFull},
      {1100, kZuvErrFileSystem},
      {1104, kZuvErrFileSystem},
      {1105, kZuvErrFileSystem},
      {1108, kZuvErrFileSystem},
      {1101, kZuvErrAccessDenied},
      {1102, kZuvErrAccessDenied},
      {1103, kZuvErrNotSupported},
      {1106, kZuvErrServiceRefused},
      {1107, kZuvErrServiceRefused},
      {1325, kZuvErrServiceRefused},
      {1324, kZuvErrPathTooLong},
      {2, kZuvErrNotSupported},
      {1000, kZuvErrNotSupported},
      {1109, kZuvErrNotSupported},
      {1323, kZuvErrNotSupported},
      {1326, kZuvErrNotSupported},
      {-1, kZuvErrNotSupported},
      {-1005, kZuvErrNotSupported},
      {INT32_MIN, kZuvErrNotSupported},
  };
  for (const Row& row : rows) {
    FixedAltusError error(row.code);
    EXPECT_EQ(ConvertAltusError(&error), row.expected) << row.code;
  }
  EXPECT_EQ(ConvertAltusError(nullptr), kZuvSuccess);
}

}  // namespace
