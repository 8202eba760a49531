#include "zuv/paths/file_type.h"

#include <cstdlib>
#include <filesystem>
#include <latch>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/files/internal/process_caches.h"
#include "zuv/files/volume.h"
#include "zuv/paths/file_path.h"
#include "zuv/paths/path_utility.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::platform::testing::ScratchFolder;
using zuv::testing::PathOf;
using zuv::testing::Text;

std::string Joined(const std::vector<CZuvStringData>& strings) {
  std::string joined;
  for (const CZuvStringData& s : strings) joined += std::string(s.GetPtrUtf8()) + " ";
  return joined;
}

// The types with their extensions list every row of the extension table, each under its type.
TEST(FileTypeTest, EachTypeListsItsExtensions) {
  std::string types;
  for (const auto& [type, list] : ZuvPathUtility::GetTypeToExtensionTable()) {
    types += ZuvFileTypeName(type) + std::string("=") + Joined(list);
  }
  EXPECT_EQ(
      "kZuvFileTypeJpeg=.jpeg .jpg kZuvFileTypeTiff=.tif .tiff kZuvFileTypeRaw=.qrw "
      "kZuvFileTypeCompactRaw=.qcw kZuvFileTypeMpo=.mpo kZuvFileTypePict=.pct .pict "
      "kZuvFileTypePng=.png kZuvFileTypeBmp=.bmp kZuvFileTypeCrw=.crw kZuvFileTypeCr2=.cr2 "
      "kZuvFileTypeMov=.mov kZuvFileTypeMpeg=.mpeg .mpg kZuvFileTypeMp4=.mp4 "
      "kZuvFileTypeWmv=.wmv kZuvFileTypeAvi=.avi kZuvFileTypeWav=.wav kZuvFileTypeText=.txt "
      "kZuvFileTypeCsv=.csv kZuvFileTypeDustReference=.qdr kZuvFileTypeXmp=.xmp "
      "kZuvFileTypeEditSettings=.qpj kZuvFileTypeLog=.log ",
      types);
  EXPECT_EQ(ZuvPathUtility::GetExtensionToTypeTable().size(), 26u);

  std::vector<CZuvStringData> out = {Text("old")};
  EXPECT_EQ(kZuvSuccess, ZuvPathFindTypeExtension(kZuvFileTypeMpeg, out));
  EXPECT_EQ(".mpeg .mpg ", Joined(out));
  for (const uint32_t type : {0u, 0x3000000u}) {
    out = {Text("old")};
    EXPECT_EQ(kZuvErrNotFound, ZuvPathFindTypeExtension(static_cast<eZuvFileType>(type), out));
    EXPECT_EQ("old ", Joined(out));
  }
}

TEST(FileTypeTest, PathsAreTypedByTheTextAfterTheirLastDot) {
  const struct {
    const char* path;
    eZuvFileType expected;
  } kCases[] = {
      {"/p/IMG_0001.JPG", kZuvFileTypeJpeg}, {"/p/a.qrw", kZuvFileTypeRaw},
      {"/p/a.jpg.TiFf", kZuvFileTypeTiff},   {"/p/.jpg", kZuvFileTypeJpeg},
      {"/p/写真.Mov", kZuvFileTypeMov},      {"/p/a.c\u017fv", kZuvFileTypeCsv},  // LONG S is "s"
      {"/p/readme", kZuvFileTypeUnknown},    {"/p.jpg/file", kZuvFileTypeUnknown},
      {"/p/a.", kZuvFileTypeUnknown},        {"/p/a.jpgjpgjpg", kZuvFileTypeUnknown},
      {"/p/\xff.jpg", kZuvFileTypeUnknown},  // not UTF-8: no text, so no extension
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(c.expected, ZuvPathFindExtensionType(Text(c.path), false));
    EXPECT_EQ(c.expected, ZuvPathFindExtensionType(PathOf(c.path), false));
  }
  EXPECT_EQ(kZuvFileTypeTiff, ZuvPathConvertExtensionToType(Text(".TIFF")));
  EXPECT_EQ(kZuvFileTypeUnknown, ZuvPathConvertExtensionToType(Text("jpg")));
}

// ASCII extensions are looked up without the map; the answers must be the map's everywhere.
TEST(FileTypeTest, LookupsAgreeWithTheExtensionTable) {
  const auto& table = ZuvPathUtility::GetExtensionToTypeTable();
  const auto inTable = [&](const CZuvStringData& extension) {
    const auto found = table.find(extension);
    return found != table.end() ? found->second : kZuvFileTypeUnknown;
  };
  const std::vector<std::string> pieces = {
      ".",      ".",  "/",          "JPG",  "jpg",    "Tif",    "tiff",
      "c",      "s",  "v",          "x",    "\u017f", "\u212a", "\u0130",
      "\u00e9", "写", "\U0001f4f7", "\xff", "\xc3",   "\x80",   "\xed\xa0\x80"};
  std::mt19937 random(20240601);
  for (int n = 0; n < 20000; ++n) {
    std::string name;
    for (int i = static_cast<int>(random() % 7); i > 0; --i)
      name += pieces[random() % pieces.size()];
    ASSERT_EQ(inTable(ZuvPathFindExtension(Text(name), true)),
              ZuvPathFindExtensionType(Text(name), false))
        << name;
    ASSERT_EQ(inTable(Text("." + name)), ZuvPathConvertExtensionToType(Text("." + name))) << name;
  }
}

// The drive type made up for the scratch folder's volume is forgotten at the end. An ordinary
// folder is readable, deletable and writable, so it is typed by its name like a file. On a CD a
// folder is neither deletable nor writable, and mode 0 makes it unreadable, which leaves exactly
// kZuvAttributeFolder: no type.
TEST(FileTypeTest, CheckFolderUntypesOnlyAFolderWithNothingButTheFolderAttribute) {
  struct Forget {
    ~Forget() { zuv::files_internal::ForgetDriveTypes(); }
  } forget;
  ScratchFolder scratch;
  const std::string folder = scratch / "x.jpg";
  std::filesystem::create_directory(folder);
  zuv::platform::testing::WriteFile(scratch / "y.jpg");
  for (const char* name : {"x.jpg", "y.jpg", "missing.jpg"}) {
    EXPECT_EQ(ZuvPathFindExtensionType(Text(scratch / name), true), kZuvFileTypeJpeg) << name;
  }
  ZuvRememberDriveType(zuv::testing::CatalogOf(folder, kFSCatInfoVolume).volume, kZuvDriveOptical);
  std::filesystem::permissions(folder, std::filesystem::perms::none);
  EXPECT_EQ(ZuvPathFindExtensionType(Text(folder), true), kZuvFileTypeUnknown);
  EXPECT_EQ(ZuvPathFindExtensionType(Text(folder), false), kZuvFileTypeJpeg);
  std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
}

// In a fresh process, so that the threads race on the first use of both tables. Each extension
// listed by type is a copy of its key in the extension table, sharing its text: that table was
// filled first.
TEST(FileTypeDeathTest, FirstUseFromSeveralThreadsFillsTheExtensionTableFirst) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto run = [] {
    std::latch start(8);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        start.arrive_and_wait();
        if (t % 2 == 0) ZuvPathUtility::GetTypeToExtensionTable();
        if (t % 2 == 1) ZuvPathConvertExtensionToType(Text(".c\u017fv"));  // through the map
      });
    }
    for (std::thread& thread : threads) thread.join();
    const auto& extensions = ZuvPathUtility::GetExtensionToTypeTable();
    for (const auto& [type, list] : ZuvPathUtility::GetTypeToExtensionTable()) {
      for (const CZuvStringData& extension : list) {
        const auto key = extensions.find(extension);
        if (key == extensions.end() || key->second != type ||
            key->first.GetPtrUtf8() != extension.GetPtrUtf8()) {
          return 1;
        }
      }
    }
    return 0;
  };
  EXPECT_EXIT(std::exit(run()), testing::ExitedWithCode(0), "");
}

}  // namespace
