#include "zuv/files/temp_folder.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
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

TEST_F(TempFolderTest, ProjectFolderIsOneLevelInsideTheScratchFolderAndCleared) {
  ZuvClearProjectTempFolder();
  EXPECT_TRUE(Names(m_tmp).empty()) << "clearing makes nothing";
  const std::pair<std::string, std::string> cases[] = {
      // project, folder under the base
      {"", "Merid/RTL"},
      {"2024/05", "Merid/2024:05/RTL"},
      {"../../etc", "Merid/..:..:etc/RTL"},
      {"..x", "Merid/..x/RTL"},
      {"Trip", "Merid/Trip/RTL"},
  };
  for (const auto& [project, folder] : cases) {
    SCOPED_TRACE(project);
    ZuvSetProjectName(Text(project));
    CZuvFilePath out;
    EXPECT_EQ(ZuvGetProjectTempFolder(&out), kZuvSuccess);
    EXPECT_EQ(PathText(out), Base() + "/" + folder);
    EXPECT_TRUE(fs::is_directory(Base() + "/" + folder));
  }
  EXPECT_EQ(Names(m_tmp), Strings{fs::path(Base()).filename()});
  EXPECT_EQ(fs::status(Base()).permissions() & fs::perms::mask, fs::perms::owner_all);

  // Clearing takes the leaf of the project, "Trip", with everything in it.
  CZuvFilePath file;
  ASSERT_EQ(ZuvCreateTempFile(nullptr, &file, Text(".jpg")), kZuvSuccess);
  const std::string leaf = Base() + "/Merid/Trip/RTL";
  EXPECT_EQ(fs::path(PathText(file)).parent_path(), leaf);
  fs::create_directories(leaf + "/sub/deeper");
  ZuvClearProjectTempFolder();
  EXPECT_FALSE(fs::exists(leaf));
  EXPECT_EQ(Names(Base() + "/Merid"), (Strings{"..:..:etc", "..x", "2024:05", "RTL", "Trip"}));
  EXPECT_EQ(ZuvGetProjectTempFolder(nullptr), kZuvSuccess);
  EXPECT_TRUE(fs::is_directory(leaf));
}

// On a tmpfs where there is one, to spare the disk.
TEST_F(TempFolderTest, ClearingRemovesTreesDeeperThanTheOpenFileLimit) {
  if (IsRoot()) {
    ASSERT_EQ(m_scratch.MountTmpfs("tmp", "64m,mode=0755"), m_tmp);
  }
  CZuvFilePath leaf;
  ASSERT_EQ(ZuvGetProjectTempFolder(&leaf), kZuvSuccess);
  const std::string outside = m_scratch / "outside";
  fs::create_directory(outside);
  WriteFile(outside + "/keep", "kept");
  ASSERT_TRUE(MakeDeepTree(PathText(leaf), 3000, outside));
  EXPECT_EQ(RunWithOpenFileLimit(64,
                                 [] {
                                   ZuvClearProjectTempFolder();
                                   return 0;
                                 }),
            0);
  EXPECT_EQ(Names(Base() + "/Merid"), Strings{});
  EXPECT_EQ(Names(outside), Strings{"keep"});
}

// Whatever stands at the scratch folder's place and is not safe is left alone, and nothing is made
// through it; nor for a project named "." or "..".
TEST_F(TempFolderTest, AnUnsafeScratchFolderOrProjectIsRefused) {
  if (!IsRoot()) GTEST_SKIP() << "giving a folder to another user needs root";
  enum Kind { kNothing, kLink, kFile, kFolder };
  struct Case {
    const char* what;
    Kind kind;
    int mode;
    uid_t owner;
    const char* project;
  };
  const uid_t nobody = FindNobody().uid;
  const Case cases[] = {
      {"a symbolic link to a folder", kLink, 0, 0, ""},
      {"another user's folder", kFolder, 0700, nobody, ""},
      {"a folder open to others", kFolder, 0777, 0, ""},
      {"a folder open to its group", kFolder, 0710, 0, ""},
      {"a file", kFile, 0, 0, ""},
      {"project .", kNothing, 0, 0, "."},
      {"project ..", kNothing, 0, 0, ".."},
  };
  fs::create_directory(m_scratch / "elsewhere");
  fs::permissions(m_scratch / "elsewhere", fs::perms::owner_all);  // safe, but behind a link
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(m_tmp);
    fs::create_directory(m_tmp);
    if (c.kind == kLink) fs::create_directory_symlink(m_scratch / "elsewhere", Base());
    if (c.kind == kFile) WriteFile(Base(), "file");
    if (c.kind == kFolder) {
      fs::create_directory(Base());
      fs::permissions(Base(), fs::perms(c.mode));
      ASSERT_EQ(chown(Base().c_str(), c.owner, -1), 0);
    }
    ZuvSetProjectName(Text(c.project));
    const auto before = Tree(m_scratch.Path());
    CZuvFilePath out;
    EXPECT_EQ(ZuvGetProjectTempFolder(&out), kZuvErrFailed);
    EXPECT_EQ(ZuvCreateTempFile(nullptr, &out), kZuvErrAccessDenied);
    ZuvClearProjectTempFolder();
    EXPECT_EQ(Tree(m_scratch.Path()), before);
  }
}

// A TMPDIR in which another user may rename what is not theirs, or that lies in such a folder, is
// refused and nothing is made in it; one with the sticky bit is used.
TEST_F(TempFolderTest, ATmpdirWhereOthersMayRenameIsRefused) {
  if (!IsRoot()) GTEST_SKIP() << "giving a folder to another user needs root";
  struct Case {
    const char* what;
    int mode;
    bool othersOwn;
    int parentMode;
    bool used;
  };
  const Case cases[] = {
      {"open to others", 0777, false, 0755, false},
      {"open to its group", 0770, false, 0755, false},
      {"open to others with the sticky bit", 01777, false, 0755, true},
      {"another user's", 0755, true, 0755, false},
      {"inside a folder open to others", 0755, false, 0757, false},
      {"inside a sticky folder open to others", 0755, false, 01777, true},
  };
  const uid_t nobody = FindNobody().uid;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string parent = m_scratch / c.what;
    const std::string tmpdir = parent + "/tmp";
    fs::create_directories(tmpdir);
    fs::permissions(parent, fs::perms(c.parentMode));
    fs::permissions(tmpdir, fs::perms(c.mode));
    ASSERT_EQ(chown(tmpdir.c_str(), c.othersOwn ? nobody : 0, -1), 0);
    ScopedEnvironment useTmpdir("TMPDIR", tmpdir.c_str());
    CZuvFilePath out;
    EXPECT_EQ(ZuvGetProjectTempFolder(&out), c.used ? kZuvSuccess : kZuvErrFailed);
    EXPECT_EQ(ZuvCreateTempFile(nullptr, &out), c.used ? kZuvSuccess : kZuvErrAccessDenied);
    EXPECT_EQ(Names(tmpdir).size(), c.used ? 1u : 0u);
  }
}

// Another user swaps the scratch folder in an open TMPDIR with a link to a folder of theirs, again
// and again, while the library makes temp files as a third user: nothing lands in their folder.
TEST_F(TempFolderTest, AScratchFolderSwappedForALinkGetsNothing) {
  if (!IsRoot()) GTEST_SKIP() << "running as two other users needs root";
  const Nobody library = FindNobody();
  const uid_t attacker = 64999;
  const std::string shared = m_scratch / "shared";
  const std::string trap = m_scratch / "trap";
  const std::string base = shared + "/zuv-" + std::to_string(library.uid);
  for (const std::string& folder : {shared, trap, base}) fs::create_directory(folder);
  fs::permissions(shared, fs::perms::all);
  fs::permissions(trap, fs::perms::all);
  fs::permissions(base, fs::perms::owner_all);
  ASSERT_EQ(chown(trap.c_str(), attacker, attacker), 0);
  ASSERT_EQ(chown(base.c_str(), library.uid, library.gid), 0);
  fs::create_directory_symlink(trap, shared + "/bait");
  ScopedEnvironment useTmpdir("TMPDIR", shared.c_str());

  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  const pid_t swapper = StartChild([&] {
    if (!BecomeUser(attacker, attacker)) return 126;
    const std::string bait = shared + "/bait";
    while (std::chrono::steady_clock::now() < end) {
      ExchangeNames(base, bait);
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return 0;
  });
  const pid_t user = StartChild([&] {
    if (!BecomeUser(library.uid, library.gid)) return 126;
    ZuvSetProjectName(Text("Trip"));
    int made = 0;
    while (std::chrono::steady_clock::now() < end) {
      made += ZuvCreateTempFile(nullptr, nullptr) == kZuvSuccess;
    }
    return made == 0 ? 0 : 1;
  });
  EXPECT_EQ(WaitForChild(swapper), 0);
  EXPECT_EQ(WaitForChild(user), 0) << "the open TMPDIR is refused";
  EXPECT_EQ(Names(trap), Strings{});
}

TEST_F(TempFolderTest, TempFileNamesFollowTheCounterAndSkipTakenNames) {
  const std::string folder = m_scratch / "files";
  fs::create_directory(folder);
  WriteFile(folder + "/ZuvTmp0001.jpg", "taken");
  const CZuvFilePath target = PathOf(folder);
  TempFileCounter() = 9998;
  for (const auto& [suffix, made] : {std::pair{".tif", "ZuvTmp9998.tif"},
                                     {"", "ZuvTmp9999"},
                                     {"", "ZuvTmp0000"},
                                     {".jpg", "ZuvTmp0002.jpg"}}) {
    SCOPED_TRACE(made);
    CZuvFilePath out;
    EXPECT_EQ(ZuvCreateTempFile(&target, &out, Text(suffix)), kZuvSuccess);
    EXPECT_EQ(PathText(out), folder + "/" + made);
  }
  EXPECT_EQ(TempFileCounter(), 10003u);
  EXPECT_EQ(Names(folder), (Strings{"ZuvTmp0000", "ZuvTmp0001.jpg", "ZuvTmp0002.jpg",
                                    "ZuvTmp9998.tif", "ZuvTmp9999"}));
}

// A folder that holds every name is full after one cycle of names; a volume without a free inode
// ends the search at once.
TEST_F(TempFolderTest, CreateTempFileTellsWhyItMadeNothing) {
  if (!IsRoot()) GTEST_SKIP() << "a full volume and another user need root";
  const std::string all = m_scratch / "all";
  fs::create_directory(all);
  for (int i = 10000; i < 20000; ++i) WriteFile(all + "/ZuvTmp" + std::to_string(i).substr(1));
  // An empty file needs no data blocks: this volume is full of items, not of bytes.
  const std::string full = m_scratch.MountTmpfs("full", "1m,nr_inodes=4");
  ASSERT_FALSE(full.empty());
  for (int i = 0; i < 4; ++i) WriteFile(full + "/fill" + std::to_string(i));
  struct Case {
    std::string folder;
    ZuvResult result;
    uint32_t tried;
    size_t items;
  };
  const Case cases[] = {
      {m_scratch / "missing", kZuvErrNotFound, 0, 0},
      {all, kZuvErrDiskFull, 10000, 10000},
      {full, kZuvErrDiskFull, 1, 3},
  };
  TempFileCounter() = 1234;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.folder);
    const uint32_t counter = TempFileCounter();
    const CZuvFilePath folder = PathOf(c.folder);
    CZuvFilePath out = PathOf("/unchanged");
    EXPECT_EQ(ZuvCreateTempFile(&folder, &out), c.result);
    EXPECT_EQ(TempFileCounter(), counter + c.tried);
    EXPECT_EQ(PathText(out), "/unchanged");
    EXPECT_EQ(Names(c.folder).size(), c.items);
  }

  const std::string rootOnly = m_scratch / "root-only";
  fs::create_directory(rootOnly);
  const CZuvFilePath forbidden = PathOf(rootOnly);
  EXPECT_EQ(RunAsNobody([&] {
              return ZuvCreateTempFile(&forbidden, nullptr) == kZuvErrAccessDenied ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(Names(rootOnly).empty());
}

TEST_F(TempFolderTest, ConcurrentCallersGetFilesOfTheirOwn) {
  const std::string folder = m_scratch / "files";
  fs::create_directory(folder);
  constexpr int kThreads = 4;
  constexpr int kFilesEach = 50;
  const CZuvFilePath target = PathOf(folder);
  std::vector<Strings> made(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      ZuvSetProjectName(Text("project" + std::to_string(t)));
      for (int i = 0; i < kFilesEach; ++i) {
        CZuvFilePath out;
        if (ZuvCreateTempFile(&target, &out) == kZuvSuccess) made[t].push_back(PathText(out));
      }
      ZuvGetProjectTempFolder(nullptr);
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> all;
  for (const Strings& files : made) all.insert(files.begin(), files.end());
  EXPECT_EQ(all.size(), size_t{kThreads * kFilesEach});
  EXPECT_EQ(Names(folder).size(), size_t{kThreads * kFilesEach});
}

TEST(ApplicationSupportTest, IsTheFirstAbsoluteDataFolder) {
  struct Case {
    const char* dataDirs;  // null: unset
    const char* support;   // empty: none
    const char* profiles;
  };
  const Case cases[] = {
      {nullptr, "/usr/local/share", "/usr/local/share/Merid/Profiles"},
      {"", "/usr/local/share", "/usr/local/share/Merid/Profiles"},
      {"/opt/data/:/usr/share", "/opt/data", "/opt/data/Merid/Profiles"},
      {"relative:/srv/data", "/srv/data", "/srv/data/Merid/Profiles"},
      {"/", "/", "/Merid/Profiles"},
      {"relative", "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.dataDirs != nullptr ? c.dataDirs : "(unset)");
    ScopedEnvironment dataDirs("XDG_DATA_DIRS", c.dataDirs);
    CZuvFilePath support;
    CZuvFilePath profiles;
    EXPECT_EQ(GetApplicationSupportFolder(&support), *c.support != 0);
    EXPECT_EQ(GetProfileFolderPath(&profiles), *c.support != 0);
    EXPECT_EQ(GetProfileFolderPath(nullptr), *c.support != 0);
    EXPECT_EQ(PathText(support), c.support);
    EXPECT_EQ(PathText(profiles), c.profiles);
  }
}

}  // namespace
