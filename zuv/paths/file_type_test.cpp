#include "zuv/paths/file_type.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/paths/file_path.h"
#include "zuv/paths/path_utility.h"
#include "zuv/testing/files.h"

namespace {

using zuv::testing::PathOf;
using zuv::testing::Text;

TEST(FileTypeTest, PathsAreTypedByTheTextAfterTheirLastDot) {
  const std::pair<const char*, eZuvFileType> kCases[] = {
      {"/p/IMG_0001.JPG", kZuvFileTypeJpeg}, {"/p/scan.tif", kZuvFileTypeTiff},
      {"/p/a.jpg.TiFf", kZuvFileTypeTiff},   {"/p/.png", kZuvFileTypePng},
      {"/p/写真.Mov", kZuvFileTypeMov},      {"/p/a.c\u017fv", kZuvFileTypeCsv},  // LONG S is "s"
      {"/p.jpg/file", kZuvFileTypeUnknown},  {"/p/a.", kZuvFileTypeUnknown},
      {"/p/\xff.jpg", kZuvFileTypeUnknown},  // not UTF-8: no text, so no extension
  };
  for (const auto& [path, type] : kCases) {
    EXPECT_EQ(type, ZuvPathFindExtensionType(Text(path), false)) << path;
    EXPECT_EQ(type, ZuvPathFindExtensionType(PathOf(path), false)) << path;
  }
  EXPECT_EQ(kZuvFileTypeUnknown, ZuvPathConvertExtensionToType(Text("jpg")));  // no "."
  std::vector<CZuvStringData> out = {Text("old")};
  EXPECT_EQ(kZuvSuccess, ZuvPathFindTypeExtension(kZuvFileTypeMpeg, out));
  EXPECT_EQ(std::string(out[0].GetPtrUtf8()) + out.back().GetPtrUtf8(), ".mpeg.mpg");
  out = {Text("old")};
  EXPECT_EQ(kZuvErrNotFound, ZuvPathFindTypeExtension(static_cast<eZuvFileType>(0), out));
  EXPECT_EQ(out.size(), 1u);
}

// ASCII extensions are looked up without the map; the answers must be the map's everywhere.
TEST(FileTypeTest, LookupsAgreeWithTheExtensionTable) {
  const auto& table = ZuvPathUtility::GetExtensionToTypeTable();
  const auto inTable = [&](const CZuvStringData& extension) {
    const auto found = table.find(extension);
    return found != table.end() ? found->second : kZuvFileTypeUnknown;
  };
  const std::vector<std::string> pieces = {
      ".",          ".",    "/",    "JPG",    "jpg",         "Tif",    "tiff",
      "c",          "s",    "v",    "\u017f", "\u212a",      "\u0130", "\u00e9",
      "\U0001f4f7", "\xff", "\xc3", "\x80",   "\xed\xa0\x80"};
  std::mt19937 random(20240601);
  for (int n = 0; n < 20000; ++n) {
    std::string name;
    for (int i = static_cast<int>(random() % 7); i > 0; --i) name += pieces[random() % 19];
    ASSERT_EQ(inTable(ZuvPathFindExtension(Text(name), true)),
              ZuvPathFindExtensionType(Text(name), false))
        << name;
    ASSERT_EQ(inTable(Text("." + name)), ZuvPathConvertExtensionToType(Text("." + name))) << name;
  }
}

}  // namespace
