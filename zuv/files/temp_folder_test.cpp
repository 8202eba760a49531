#include "zuv/files/temp_folder.h"

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/files/internal/temp_counter.h"
#include "zuv/platform/testing/scoped_environment.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::files_internal::TempFileCounter;
using namespace zuv::platform::testing;
using namespace zuv::testing;
using Strings = std::vector<std::string>;
namespace fs = std::filesystem;

// Each test has its own TMPDIR, and no project when it ends.
class TempFolderTest : public ::testing::Test {
 protected:
  void SetUp() override { fs::create_directory(m_tmp); }
  void TearDown() override { ZuvSetProjectName(Text("")); }

  // The scratch folder the library uses in TMPDIR.
  std::string Base() const { return m_tmp + "/zuv-" + std::to_string(geteuid()); }

  ScratchFolder m_scratch;
  const std::string m_tmp = m_scratch / "tmp";
  ScopedEnvironment m_tmpdir{"TMPDIR", m_tmp.c_str()};
};

// Temp file names follow the counter and wrap after 9999. Clearing takes the leaf of the project
// with everything in it, and nothing else.
TEST_F(TempFolderTest, ProjectFolderIsOneLevelInsideTheScratchFolderAndCleared) {
  ZuvClearProjectTempFolder();
  EXPECT_TRUE(Names(m_tmp).empty()) << "clearing makes nothing";
  for (const auto& [project, folder] : {std::pair{"", "Merid/RTL"},
                                        {"../../etc", "Merid/..:..:etc/RTL"},
                                        {"Trip", "Merid/Trip/RTL"}}) {
    ZuvSetProjectName(Text(project));
    CZuvFilePath out;
    EXPECT_EQ(ZuvGetProjectTempFolder(&out), kZuvSuccess);
    EXPECT_EQ(PathText(out), Base() + "/" + folder);
    EXPECT_TRUE(fs::is_directory(Base() + "/" + folder));
  }
  EXPECT_EQ(fs::status(Base()).permissions() & fs::perms::mask, fs::perms::owner_all);
  const std::string leaf = Base() + "/Merid/Trip/RTL";
  TempFileCounter() = 9999;
  for (const auto& [suffix, made] : {std::pair{".jpg", "ZuvTmp9999.jpg"}, {"", "ZuvTmp0000"}}) {
    CZuvFilePath file;
    EXPECT_EQ(ZuvCreateTempFile(nullptr, &file, Text(suffix)), kZuvSuccess);
    EXPECT_EQ(PathText(file), leaf + "/" + made);
  }
  fs::create_directories(leaf + "/sub/deeper");
  ZuvClearProjectTempFolder();
  EXPECT_FALSE(fs::exists(leaf));
  EXPECT_EQ(Names(Base() + "/Merid"), (Strings{"..:..:etc", "RTL", "Trip"}));
}

// A TMPDIR in which another user may rename what is not theirs, or that lies in such a folder, is
// refused; one with the sticky bit is used. Whatever stands at the scratch folder's place in it and
// is not safe is left alone and nothing is made through it; nor for a project named "..".
TEST_F(TempFolderTest, AnUnsafeTmpdirScratchFolderOrProjectIsRefused) {
  if (!IsRoot()) GTEST_SKIP() << "giving a folder to another user needs root";
  enum Kind { kNothing, kLink, kFile, kFolder };
  const uid_t nobody = FindNobody().uid;
  // TMPDIR's mode and owner, the mode of the folder it is in; what stands at the scratch folder's
  // place, its mode and owner; the project; whether TMPDIR is used
  const std::tuple<int, uid_t, int, Kind, int, uid_t, const char*, bool> cases[] = {
      {0770, 0, 0755, kNothing, 0, 0, "", false},
      {01777, 0, 0755, kNothing, 0, 0, "", true},
      {0755, nobody, 0755, kNothing, 0, 0, "", false},
      {0755, 0, 0757, kNothing, 0, 0, "", false},
      {0755, 0, 01777, kNothing, 0, 0, "", true},
      {0755, 0, 0755, kLink, 0, 0, "", false},
      {0755, 0, 0755, kFolder, 0700, nobody, "", false},
      {0755, 0, 0755, kFolder, 0710, 0, "", false},
      {0755, 0, 0755, kFile, 0, 0, "", false},
      {0755, 0, 0755, kNothing, 0, 0, "..", false}};
  fs::create_directory(m_scratch / "elsewhere");
  fs::permissions(m_scratch / "elsewhere", fs::perms::owner_all);  // safe, but behind a link
  for (const auto& [mode, owner, parentMode, kind, baseMode, baseOwner, project, used] : cases) {
    SCOPED_TRACE(testing::Message() << std::oct << mode << " " << parentMode << " " << kind << " "
                                    << baseMode << " " << project);
    fs::remove_all(m_tmp);
    fs::create_directory(m_tmp);
    fs::permissions(m_tmp, fs::perms(mode));
    ASSERT_EQ(chown(m_tmp.c_str(), owner, -1), 0);
    fs::permissions(m_scratch.Path(), fs::perms(parentMode));
    if (kind == kLink) fs::create_directory_symlink(m_scratch / "elsewhere", Base());
    if (kind == kFile) WriteFile(Base(), "file");
    if (kind == kFolder) {
      fs::create_directory(Base());
      fs::permissions(Base(), fs::perms(baseMode));
      ASSERT_EQ(chown(Base().c_str(), baseOwner, -1), 0);
    }
    ZuvSetProjectName(Text(project));
    const auto before = Tree(m_scratch.Path());
    CZuvFilePath out;
    EXPECT_EQ(ZuvGetProjectTempFolder(&out), used ? kZuvSuccess : kZuvErrFailed);
    EXPECT_EQ(ZuvCreateTempFile(nullptr, &out), used ? kZuvSuccess : kZuvErrAccessDenied);
    ZuvClearProjectTempFolder();
    EXPECT_TRUE(used || Tree(m_scratch.Path()) == before);
  }
}

// A folder that holds every name is full after one cycle of names; a volume without a free inode
// (an empty file needs no data blocks) ends the search at once.
TEST_F(TempFolderTest, CreateTempFileTellsWhyItMadeNothing) {
  if (!IsRoot()) GTEST_SKIP() << "a full volume and another user need root";
  const std::string all = m_scratch / "all";
  fs::create_directory(all);
  for (int i = 10000; i < 20000; ++i) WriteFile(all + "/ZuvTmp" + std::to_string(i).substr(1));
  const std::string full = m_scratch.MountTmpfs("full", "1m,nr_inodes=4");
  ASSERT_FALSE(full.empty());
  for (int i = 0; i < 4; ++i) WriteFile(full + "/fill" + std::to_string(i));
  const std::string rootOnly = m_scratch / "root-only";
  fs::create_directory(rootOnly);
  // folder, result, names tried, items in the folder afterwards
  const std::tuple<std::string, ZuvResult, uint32_t, size_t> cases[] = {
      {m_scratch / "missing", kZuvErrNotFound, 0, 0},
      {all, kZuvErrDiskFull, 10000, 10000},
      {full, kZuvErrDiskFull, 1, 3}};
  TempFileCounter() = 1234;
  for (const auto& [path, result, tried, items] : cases) {
    SCOPED_TRACE(path);
    const uint32_t counter = TempFileCounter();
    const CZuvFilePath folder = PathOf(path);
    CZuvFilePath out = PathOf("/unchanged");
    EXPECT_EQ(ZuvCreateTempFile(&folder, &out), result);
    EXPECT_EQ(TempFileCounter(), counter + tried);
    EXPECT_EQ(PathText(out), "/unchanged");
    EXPECT_EQ(Names(path).size(), items);
  }
  const CZuvFilePath forbidden = PathOf(rootOnly);
  EXPECT_EQ(RunAsNobody([&] {
              return ZuvCreateTempFile(&forbidden, nullptr) == kZuvErrAccessDenied ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(Names(rootOnly).empty());
}

TEST(ApplicationSupportTest, IsTheFirstAbsoluteDataFolder) {
  // XDG_DATA_DIRS, the folder and the profiles ("": none)
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"", "/usr/local/share", "/usr/local/share/Merid/Profiles"},
      {"relative:/srv/data/:/usr/share", "/srv/data", "/srv/data/Merid/Profiles"},
      {"/", "/", "/Merid/Profiles"},
      {"relative", "", ""}};
  for (const auto& [dataDirs, support, profiles] : cases) {
    ScopedEnvironment useDataDirs("XDG_DATA_DIRS", dataDirs);
    CZuvFilePath supportOut, profilesOut;
    EXPECT_EQ(GetApplicationSupportFolder(&supportOut), *support != 0);
    EXPECT_EQ(GetProfileFolderPath(&profilesOut), *support != 0);
    EXPECT_EQ(PathText(supportOut), support) << dataDirs;
    EXPECT_EQ(PathText(profilesOut), profiles) << dataDirs;
  }
}

}  // namespace
