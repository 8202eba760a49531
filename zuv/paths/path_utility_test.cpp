#include "zuv/paths/path_utility.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/platform/testing/scratch.h"

namespace {

CZuvStringData Str(const std::string& text) { return CZuvStringData(ZuvCharUtf8(text.c_str())); }
std::string Text(const CZuvStringData& text) { return text.GetPtrUtf8(); }

CZuvFilePath PathObject(const std::string& text) {
  CZuvFilePath path;
  const CZuvStringData full = Str(text);
  path.Initialize(&full);
  return path;
}

CZuvFileHandle Handle(const std::string& text) { return CZuvFileHandle(PathObject(text)); }

TEST(PathUtilityTest, AddAndRemoveOneTrailingSeparator) {
  const struct {
    const char *path, *added, *removed;
  } kCases[] = {{"", "/", ""},        {"/", "/", ""},          {"/a", "/a/", "/a"},
                {"/a/", "/a/", "/a"}, {"/a//", "/a//", "/a/"}, {"/写真/", "/写真/", "/写真"}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(c.added, Text(ZuvPathAddBackslash(Str(c.path))));
    EXPECT_EQ(c.removed, Text(ZuvPathRemoveBackslash(Str(c.path))));
  }
}

// The extension runs from the last "." of the whole path, also when that "." is in a folder name;
// the name without extension is then the whole name.
TEST(PathUtilityTest, ExtensionAndFileNameComeFromTheLastDotAndSlash) {
  const struct {
    const char *path, *extension, *name, *bareName, *withoutExtension;
  } kCases[] = {
      {"/x/photo.JPG", ".JPG", "photo.JPG", "photo", "/x/photo"},
      {"/x/photo", "", "photo", "photo", "/x/photo"},
      {"photo.jpg", ".jpg", "photo.jpg", "photo", "photo"},
      {"/a/b.c.jpg", ".jpg", "b.c.jpg", "b.c", "/a/b.c"},
      {"/x.d/photo", ".d/photo", "photo", "photo", "/x"},
      {"/a/b/", "", "", "", "/a/b/"},
      {"/a/b.", ".", "b.", "b", "/a/b"},
      {"/写真/夏.JPG", ".JPG", "夏.JPG", "夏", "/写真/夏"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.path);
    const std::string extension = c.extension;
    EXPECT_EQ(extension, Text(ZuvPathFindExtension(Str(c.path), true)));
    EXPECT_EQ(extension.substr(extension.empty() ? 0 : 1),
              Text(ZuvPathFindExtension(Str(c.path), false)));
    EXPECT_EQ(c.name, Text(ZuvPathFindFileName(Str(c.path), false)));
    EXPECT_EQ(c.bareName, Text(ZuvPathFindFileName(Str(c.path), true)));
    EXPECT_EQ(c.withoutExtension, Text(ZuvPathRemoveExtension(Str(c.path))));
  }
}

// RenameFileName gives the folders without the leading "/" and without the last folder, and the
// extension of the whole path; RenameExtension works on the last component alone.
TEST(PathUtilityTest, RenameTheNameOrTheExtension) {
  const struct {
    const char *path, *expected;
  } kNames[] = {{"/a/b/c.jpg", "a/x.jpg"}, {"/r/a/b/c.tar.gz", "r/a/x.gz"}, {"/a/c.jpg", "x.jpg"},
                {"/c.jpg", "x.jpg"},       {"noslash.jpg", "x.jpg"},        {"/a.d/c", "x.d/c"}};
  for (const auto& c : kNames) {
    EXPECT_EQ(c.expected, Text(ZuvPathRenameFileName(Str(c.path), Str("x")))) << c.path;
  }
  const struct {
    const char *path, *newExtension, *expected;
  } kExtensions[] = {{"/a/b/c.jpg", ".tif", "/a/b/c.tif"},
                     {"/a/b/c.jpg", "tif", "/a/b/c.tif"},
                     {"/a/b/c.jpg", "", "/a/b/c"},
                     {"/a/b/c.jpg", "..tif", "/a/b/c..tif"},
                     {"/a.d/b", "tif", "/a.d/b.tif"},
                     {"a//b.jpg/", "tif", "/a/b.tif"},
                     {"b.jpg", "tif", "b.tif"}};
  for (const auto& c : kExtensions) {
    EXPECT_EQ(c.expected, Text(ZuvPathRenameExtension(Str(c.path), Str(c.newExtension))))
        << c.path << " " << c.newExtension;
  }
}

TEST(PathUtilityTest, PathObjectsWorkOnTheirFullPath) {
  const CZuvFilePath path = PathObject("/x/a.b/photo");
  EXPECT_EQ("/x/a.b/photo/", Text(ZuvPathAddBackslash(path)));
  EXPECT_EQ("/x/a.b", Text(ZuvPathRemoveBackslash(PathObject("/x/a.b/"))));
  EXPECT_EQ("b/photo", Text(ZuvPathFindExtension(path, false)));
  EXPECT_EQ("photo", Text(ZuvPathFindFileName(path, true)));
  EXPECT_EQ("x/new.b/photo", Text(ZuvPathRenameFileName(path, Str("new"))));
  EXPECT_EQ("/x/a.b/photo.tif", Text(ZuvPathRenameExtension(path, Str("tif"))));
  // The non-empty components replace what the output held.
  const auto split = [](const auto& from) {
    std::vector<CZuvStringData> parts = {Str("old")};
    ZuvSplitFilePath(from, &parts);
    std::string joined;
    for (const CZuvStringData& part : parts) joined += Text(part) + "|";
    return joined;
  };
  EXPECT_EQ("x|a.b|photo|", split(path));
  EXPECT_EQ("a|b|", split(Str("/a//b/")));
  EXPECT_EQ("", split(Str("abc")));
}

TEST(PathUtilityTest, EqualOrRootIgnoresCase) {
  const struct {
    const char *root, *path;
    bool addSeparator, expected;
  } kCases[] = {
      {"/A/B", "/a/b/c", true, true},  {"/a/b", "/a/bc", true, false},
      {"/a/b", "/a/bc", false, true},  {"/a/b", "/A/B", true, true},
      {"/a/b/c", "/a/b", true, false}, {"/Été", "/été/x", true, true},
      {"", "/a", true, false},         {"/a", "", true, false},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.root) + " " + c.path);
    EXPECT_EQ(c.expected, ZuvPathIsEqualOrRootActually(Str(c.root), Str(c.path), c.addSeparator));
    if (!c.addSeparator) continue;
    EXPECT_EQ(c.expected, ZuvPathIsEqualOrRootActually(Handle(c.root), Handle(c.path)));
    EXPECT_EQ(c.expected, ZuvPathIsEqualOrRootVirtually(Handle(c.root), Handle(c.path)));
  }
  EXPECT_TRUE(ZuvPathIsEqualActually(Handle("/a/b"), Handle("/A/B/")));
  EXPECT_TRUE(ZuvPathIsEqualVirtually(Handle("/a/b"), Handle("/A/B/")));
  EXPECT_FALSE(ZuvPathIsEqualActually(Handle("/a/b"), Handle("/a/bc")));
  EXPECT_FALSE(ZuvPathIsEqualVirtually(Handle("/a/b"), Handle("/a/bc")));
}

TEST(PathUtilityTest, DisplayNameShowsColonsAsSlashes) {
  EXPECT_EQ("a:b:c", Text(ZuvReplaceSlashToColon(Str("a/b:c"))));
  EXPECT_EQ("a/b/c", Text(ZuvReplaceColonToSlash(Str("a:b/c"))));
  const struct {
    const char *path, *expected;
  } kCases[] = {{"/Card/a:b.jpg", "a/b.jpg"}, {"/a:b/c", "c"}, {"name:x", "name:x"}, {"/a/", ""}};
  for (const auto& c : kCases) {
    CZuvStringData name = Str("old");
    EXPECT_EQ(kZuvSuccess, ZuvGetDisplaFileyNameFromPath(PathObject(c.path), &name));
    EXPECT_EQ(c.expected, Text(name)) << c.path;
  }
  EXPECT_EQ(kZuvSuccess, ZuvGetDisplaFileyNameFromPath(PathObject("/a:b/c"), nullptr));
}

TEST(PathUtilityTest, RenamedExtensionIsFoundInUpperThenLowerCase) {
  zuv::platform::testing::ScratchFolder scratch;
  const std::filesystem::path dir = std::filesystem::canonical(scratch.Path());
  for (const char* folder : {"f.d", "sub"}) std::filesystem::create_directory(dir / folder);
  for (const char* file :
       {"p.JPG", "p.jpg", "lower.tif", "mixed.Tif", "f.d/x.jpg", ".hidden.txt", "e.jpg"}) {
    zuv::platform::testing::WriteFile(dir / file);
  }
  const struct {
    const char *path, *extension, *expected;  // in the folder; "" for none
  } kCases[] = {
      {"p.raw", "jpg", "p.JPG"},           // upper case first
      {"p.raw/", ".jpg", "p.JPG"},         // one leading "." and trailing "/" dropped
      {"lower.raw", ".TIF", "lower.tif"},  //
      {"mixed.raw", "tif", ""},            // mixed case is not tried
      {"f.d/x", "jpg", "f.d/x.jpg"},       // only the last component has an extension
      {".hidden", "txt", ".hidden.txt"},   // a leading "." starts no extension
      {"e.", "jpg", "e.jpg"},              // an empty extension goes with its "."
      {"sub/../p.raw", "jpg", "p.JPG"},    // the found item's canonical path
      {"missing.raw", "jpg", ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.path) + " " + c.extension);
    CZuvStringData full;
    ZuvMacGetPathWithRenameExtension(Str(dir / c.path), Str(c.extension)).GetFullPath(&full);
    EXPECT_EQ(*c.expected != '\0' ? (dir / c.expected).string() : "", Text(full));
  }
  EXPECT_TRUE(ZuvMacGetPathWithRenameExtension(Str(""), Str("jpg")).IsEmpty());
}

}  // namespace
