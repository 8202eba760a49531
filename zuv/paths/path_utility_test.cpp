#include "zuv/paths/path_utility.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::testing::PathOf;
using zuv::testing::Text;

std::string Utf8(const CZuvStringData& text) { return text.GetPtrUtf8(); }
CZuvFileHandle Handle(const std::string& text) { return CZuvFileHandle(PathOf(text)); }

TEST(PathUtilityTest, AddAndRemoveOneTrailingSeparator) {
  const struct {
    const char *path, *added, *removed;
  } kCases[] = {{"", "/", ""},        {"/", "/", ""},          {"/a", "/a/", "/a"},
                {"/a/", "/a/", "/a"}, {"/a//", "/a//", "/a/"}, {"/写真/", "/写真/", "/写真"}};
  for (const auto& c : kCases) {
    EXPECT_EQ(c.added, Utf8(ZuvPathAddBackslash(Text(c.path)))) << c.path;
    EXPECT_EQ(c.removed, Utf8(ZuvPathRemoveBackslash(Text(c.path)))) << c.path;
  }
}

// The extension runs from the last "." of the whole path, also when that "." is in a folder name;
// the name without extension is then the whole name.
TEST(PathUtilityTest, ExtensionAndFileNameComeFromTheLastDotAndSlash) {
  const struct {
    const char *path, *extension, *name, *bareName, *withoutExtension;
  } kCases[] = {
      {"/x/photo", "", "photo", "photo", "/x/photo"},
      {"/a/b.c.jpg", ".jpg", "b.c.jpg", "b.c", "/a/b.c"},
      {"/x.d/photo", ".d/photo", "photo", "photo", "/x"},
      {"/a/b/", "", "", "", "/a/b/"},
      {"/写真/夏.JPG", ".JPG", "夏.JPG", "夏", "/写真/夏"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.path);
    const std::string extension = c.extension;
    EXPECT_EQ(extension, Utf8(ZuvPathFindExtension(Text(c.path), true)));
    EXPECT_EQ(extension.substr(extension.empty() ? 0 : 1),
              Utf8(ZuvPathFindExtension(Text(c.path), false)));
    EXPECT_EQ(c.name, Utf8(ZuvPathFindFileName(Text(c.path), false)));
    EXPECT_EQ(c.bareName, Utf8(ZuvPathFindFileName(Text(c.path), true)));
    EXPECT_EQ(c.withoutExtension, Utf8(ZuvPathRemoveExtension(Text(c.path))));
  }
}

// RenameFileName gives the folders without the leading "/" and without the last folder, and the
// extension of the whole path; RenameExtension works on the last component alone.
TEST(PathUtilityTest, RenameTheNameOrTheExtension) {
  const struct {
    const char *path, *name, *expected;
  } kNames[] = {
      {"/r/a/b/c.tar.gz", "x", "r/a/x.gz"}, {"/c.jpg", "x", "x.jpg"}, {"/a.d/c", "x", "x.d/c"}};
  for (const auto& c : kNames) {
    EXPECT_EQ(c.expected, Utf8(ZuvPathRenameFileName(Text(c.path), Text(c.name)))) << c.path;
  }
  const struct {
    const char *path, *newExtension, *expected;
  } kExtensions[] = {{"/a/b/c.jpg", ".tif", "/a/b/c.tif"},   {"/a/b/c.jpg", "", "/a/b/c"},
                     {"/a/b/c.jpg", "..tif", "/a/b/c..tif"}, {"/a.d/b", "tif", "/a.d/b.tif"},
                     {"a//b.jpg/", "tif", "/a/b.tif"},       {"b.jpg", "tif", "b.tif"}};
  for (const auto& c : kExtensions) {
    EXPECT_EQ(c.expected, Utf8(ZuvPathRenameExtension(Text(c.path), Text(c.newExtension))))
        << c.path << " " << c.newExtension;
  }
}

// Path objects work on their full path; a split replaces the output with the non-empty components.
TEST(PathUtilityTest, PathObjectsWorkOnTheirFullPath) {
  const CZuvFilePath path = PathOf("/x/a.b/photo");
  EXPECT_EQ("/x/a.b", Utf8(ZuvPathRemoveBackslash(PathOf("/x/a.b/"))));
  EXPECT_EQ("b/photo", Utf8(ZuvPathFindExtension(path, false)));
  EXPECT_EQ("x/new.b/photo", Utf8(ZuvPathRenameFileName(path, Text("new"))));
  const auto split = [](const auto& from) {
    std::vector<CZuvStringData> parts = {Text("old")};
    ZuvSplitFilePath(from, &parts);
    std::string joined;
    for (const CZuvStringData& part : parts) joined += Utf8(part) + "|";
    return joined;
  };
  EXPECT_EQ("x|a.b|photo|", split(path));
  EXPECT_EQ("a|b|", split(Text("/a//b/")));
  EXPECT_EQ("", split(Text("abc")));
}

TEST(PathUtilityTest, EqualOrRootIgnoresCase) {
  const struct {
    const char *root, *path;
    bool addSeparator, expected;
  } kCases[] = {
      {"/A/B", "/a/b/c", true, true}, {"/a/b", "/a/bc", true, false},
      {"/a/b", "/a/bc", false, true}, {"/a/b/c", "/a/b", true, false},
      {"/Été", "/été/x", true, true}, {"", "/a", true, false},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.root) + " " + c.path);
    EXPECT_EQ(c.expected, ZuvPathIsEqualOrRootActually(Text(c.root), Text(c.path), c.addSeparator));
    if (!c.addSeparator) continue;
    EXPECT_EQ(c.expected, ZuvPathIsEqualOrRootActually(Handle(c.root), Handle(c.path)));
    EXPECT_EQ(c.expected, ZuvPathIsEqualOrRootVirtually(Handle(c.root), Handle(c.path)));
  }
  EXPECT_TRUE(ZuvPathIsEqualActually(Handle("/a/b"), Handle("/A/B/")));
  EXPECT_TRUE(ZuvPathIsEqualVirtually(Handle("/a/b"), Handle("/A/B/")));
  EXPECT_FALSE(ZuvPathIsEqualActually(Handle("/a/b"), Handle("/a/bc")));
}

TEST(PathUtilityTest, DisplayNameShowsColonsAsSlashes) {
  EXPECT_EQ("a:b:c", Utf8(ZuvReplaceSlashToColon(Text("a/b:c"))));
  EXPECT_EQ("a/b/c", Utf8(ZuvReplaceColonToSlash(Text("a:b/c"))));
  const struct {
    const char *path, *expected;
  } kCases[] = {{"/Card/a:b.jpg", "a/b.jpg"}, {"name:x", "name:x"}, {"/a/", ""}};
  for (const auto& c : kCases) {
    CZuvStringData name = Text("old");
    EXPECT_EQ(kZuvSuccess, ZuvGetDisplaFileyNameFromPath(PathOf(c.path), &name));
    EXPECT_EQ(c.expected, Utf8(name)) << c.path;
  }
}

TEST(PathUtilityTest, RenamedExtensionIsFoundInUpperThenLowerCase) {
  zuv::platform::testing::ScratchFolder scratch;
  const std::filesystem::path dir = std::filesystem::canonical(scratch.Path());
  for (const char* folder : {"f.d", "sub"}) std::filesystem::create_directory(dir / folder);
  for (const char* file : {"p.JPG", "p.jpg", "lower.tif", "mixed.Tif", "f.d/x.jpg", "e.jpg"}) {
    zuv::platform::testing::WriteFile(dir / file);
  }
  const struct {
    const char *path, *extension, *expected;  // in the folder; "" for none
  } kCases[] = {
      {"p.raw/", ".jpg", "p.JPG"},         // upper case first; one leading "." and "/" dropped
      {"lower.raw", ".TIF", "lower.tif"},  //
      {"mixed.raw", "tif", ""},            // mixed case is not tried
      {"f.d/x", "jpg", "f.d/x.jpg"},       // only the last component has an extension
      {"e.", "jpg", "e.jpg"},              // an empty extension goes with its "."
      {"sub/../p.raw", "jpg", "p.JPG"},    // the found item's canonical path
      {"missing.raw", "jpg", ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.path) + " " + c.extension);
    CZuvStringData full;
    ZuvMacGetPathWithRenameExtension(Text(dir / c.path), Text(c.extension)).GetFullPath(&full);
    EXPECT_EQ(*c.expected != '\0' ? (dir / c.expected).string() : "", Utf8(full));
  }
}

}  // namespace
