#include "zuv/paths/path_utility.h"

#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/testing/files.h"

namespace {

using zuv::testing::PathOf;
using zuv::testing::Text;

std::string Utf8(const CZuvStringData& text) { return text.GetPtrUtf8(); }
CZuvFileHandle Handle(const std::string& text) { return CZuvFileHandle(PathOf(text)); }

TEST(PathUtilityTest, AddAndRemoveOneTrailingSeparator) {
  // path, with a separator added, with one removed
  const std::tuple<const char*, const char*, const char*> kCases[] = {
      {"", "/", ""}, {"/", "/", ""}, {"/a", "/a/", "/a"}, {"/a//", "/a//", "/a/"}};
  for (const auto& [path, added, removed] : kCases) {
    EXPECT_EQ(added, Utf8(ZuvPathAddBackslash(Text(path)))) << path;
    EXPECT_EQ(removed, Utf8(ZuvPathRemoveBackslash(Text(path)))) << path;
  }
}

// The extension runs from the last "." of the whole path, also when that "." is in a folder name;
// the name without extension is then the whole name. A split gives the non-empty components.
TEST(PathUtilityTest, ExtensionNameAndComponentsComeFromTheLastDotAndSlashes) {
  // path, extension, name without extension, path without extension
  const std::tuple<const char*, const char*, const char*, const char*> kCases[] = {
      {"/a/b.c.jpg", ".jpg", "b.c", "/a/b.c"},
      {"/x.d/photo", ".d/photo", "photo", "/x"},
      {"/a/b/", "", "", "/a/b/"},
      {"/写真/夏.JPG", ".JPG", "夏", "/写真/夏"}};
  for (const auto& [path, extension, bareName, withoutExtension] : kCases) {
    EXPECT_EQ(extension, Utf8(ZuvPathFindExtension(Text(path), true))) << path;
    EXPECT_EQ(bareName, Utf8(ZuvPathFindFileName(Text(path), true))) << path;
    EXPECT_EQ(withoutExtension, Utf8(ZuvPathRemoveExtension(Text(path)))) << path;
  }
  EXPECT_EQ("JPG", Utf8(ZuvPathFindExtension(PathOf("/x/photo.JPG"), false)));
  EXPECT_EQ("photo.JPG", Utf8(ZuvPathFindFileName(Text("/x/photo.JPG"), false)));
  std::vector<CZuvStringData> parts = {Text("old")};
  ZuvSplitFilePath(Text("/a//b.c/"), &parts);
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(Utf8(parts[0]) + "|" + Utf8(parts[1]), "a|b.c");
}

// RenameFileName gives the folders without the leading "/" and without the last folder, and the
// extension of the whole path; RenameExtension works on the last component alone.
TEST(PathUtilityTest, RenameTheNameOrTheExtension) {
  EXPECT_EQ("r/a/x.gz", Utf8(ZuvPathRenameFileName(Text("/r/a/b/c.tar.gz"), Text("x"))));
  EXPECT_EQ("x.d/c", Utf8(ZuvPathRenameFileName(PathOf("/a.d/c"), Text("x"))));
  const std::tuple<const char*, const char*, const char*> kCases[] = {
      {"/a/b/c.jpg", ".tif", "/a/b/c.tif"},   {"/a/b/c.jpg", "", "/a/b/c"},
      {"/a/b/c.jpg", "..tif", "/a/b/c..tif"}, {"/a.d/b", "tif", "/a.d/b.tif"},
      {"a//b.jpg/", "tif", "/a/b.tif"},       {"b.jpg", "tif", "b.tif"}};
  for (const auto& [path, extension, expected] : kCases) {
    EXPECT_EQ(expected, Utf8(ZuvPathRenameExtension(Text(path), Text(extension))))
        << path << " " << extension;
  }
}

TEST(PathUtilityTest, EqualOrRootIgnoresCase) {
  // root, path, with a separator added, expected
  const std::tuple<const char*, const char*, bool, bool> kCases[] = {
      {"/A/B", "/a/b/c", true, true}, {"/a/b", "/a/bc", true, false},
      {"/a/b", "/a/bc", false, true}, {"/a/b/c", "/a/b", true, false},
      {"/Été", "/été/x", true, true}, {"", "/a", true, false}};
  for (const auto& [root, path, addSeparator, expected] : kCases) {
    EXPECT_EQ(expected, ZuvPathIsEqualOrRootActually(Text(root), Text(path), addSeparator))
        << root << " " << path;
  }
  EXPECT_TRUE(ZuvPathIsEqualOrRootVirtually(Handle("/A"), Handle("/a/b")));
  EXPECT_FALSE(ZuvPathIsEqualOrRootActually(Handle("/a"), Handle("/ab")));
  EXPECT_TRUE(ZuvPathIsEqualVirtually(Handle("/a/b"), Handle("/A/B/")));
  EXPECT_FALSE(ZuvPathIsEqualActually(Handle("/a/b"), Handle("/a/bc")));
}

}  // namespace
