#include "zuv/files/temp_folder.h"

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "zuv/files/internal/temp_counter.h"
#include "zuv/platform/testing/scratch.h"
#include "zuv/testing/files.h"

namespace {

using zuv::files_internal::TempFileCounter;
using zuv::platform::testing::IsRoot;
using zuv::platform::testing::ScratchFolder;
using zuv::testing::Names;
using zuv::testing::PathOf;
using zuv::testing::PathText;
using zuv::testing::Put;
using zuv::testing::Tree;
namespace fs = std::filesystem;

CZuvStringData Text(const std::string& text) { return CZuvStringData(ZuvCharUtf8(text.c_str())); }

// An environment variable set (or, for null, unset) for the length of a scope.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : m_name(name) {
    if (const char* previous = getenv(name)) m_previous = previous;
    Set(value);
  }
  ~ScopedEnvironment() { Set(m_previous ? m_previous->c_str() : nullptr); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  void Set(const char* value) {
    if (value != nullptr) {
      setenv(m_name.c_str(), value, 1);
    } else {
      unsetenv(m_name.c_str());
    }
  }

  std::string m_name;
  std::optional<std::string> m_previous;
};

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

TEST_F(TempFolderTest, ProjectFolderIsOneLevelInsideTheScratchFolder) {
  struct Case {
    std::string project;
    std::string folder;  // in the scratch folder
  };
  const Case cases[] = {
      {"", "Merid/RTL"},
      {"Trip", "Merid/Trip/RTL"},
      {"2024/05", "Merid/2024:05/RTL"},
      {"../../etc", "Merid/..:..:etc/RTL"},
      {"..x", "Merid/..x/RTL"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.project);
    ZuvSetProjectName(Text(c.project));
    CZuvFilePath out;
    EXPECT_EQ(ZuvGetProjectTempFolder(&out), kZuvSuccess);
    EXPECT_EQ(PathText(out), Base() + "/" + c.folder);
    EXPECT_TRUE(fs::is_directory(Base() + "/" + c.folder));
  }
  EXPECT_EQ(Names(m_tmp), std::vector<std::string>{fs::path(Base()).filename()});
  EXPECT_EQ(fs::status(Base()).permissions() & fs::perms::mask, fs::perms::owner_all);
  EXPECT_EQ(Names(Base() + "/Merid"),
            (std::vector<std::string>{"..:..:etc", "..x", "2024:05", "RTL", "Trip"}));
}

TEST_F(TempFolderTest, DotNamesAreRefusedAndNothingIsMade) {
  for (const char* project : {".", ".."}) {
    SCOPED_TRACE(project);
    ZuvSetProjectName(Text(project));
    EXPECT_EQ(ZuvGetProjectTempFolder(nullptr), kZuvErrFailed);
    EXPECT_EQ(ZuvCreateTempFile(nullptr, nullptr), kZuvErrAccessDenied);
    ZuvClearProjectTempFolder();
    EXPECT_TRUE(Names(m_tmp).empty());
  }
}

// Whatever stands at the scratch folder's place and is not safe is left alone, and nothing is made
// through it.
TEST_F(TempFolderTest, AnUnsafeScratchFolderIsRefused) {
  if (!IsRoot()) GTEST_SKIP() << "giving a folder to another user needs root";
  struct Case {
    const char* what;
    void (*make)(const std::string& base, const std::string& elsewhere);
  };
  const Case cases[] = {
      {"a symbolic link to a folder",
       [](const std::string& base, const std::string& elsewhere) {
         fs::create_directory_symlink(elsewhere, base);
       }},
      {"another user's folder",
       [](const std::string& base, const std::string&) {
         fs::create_directory(base);
         fs::permissions(base, fs::perms::owner_all);
         ASSERT_EQ(chown(base.c_str(), zuv::platform::testing::FindNobody().uid, -1), 0);
       }},
      {"a folder open to others",
       [](const std::string& base, const std::string&) {
         fs::create_directory(base);
         fs::permissions(base, fs::perms::all);
       }},
      {"a folder open to its group",
       [](const std::string& base, const std::string&) {
         fs::create_directory(base);
         fs::permissions(base, fs::perms::owner_all | fs::perms::group_exec);
       }},
      {"a file", [](const std::string& base, const std::string&) { Put(base, "file"); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(m_tmp);
    fs::create_directory(m_tmp);
    fs::remove_all(m_scratch / "elsewhere");
    fs::create_directory(m_scratch / "elsewhere");
    c.make(Base(), m_scratch / "elsewhere");
    const auto before = Tree(m_scratch.Path());

    CZuvFilePath out;
    EXPECT_EQ(ZuvGetProjectTempFolder(&out), kZuvErrFailed);
    EXPECT_EQ(ZuvCreateTempFile(nullptr, &out), kZuvErrAccessDenied);
    ZuvClearProjectTempFolder();
    EXPECT_EQ(Tree(m_scratch.Path()), before);
  }
}

TEST_F(TempFolderTest, TempFileNamesFollowTheCounterAndSkipTakenNames) {
  const std::string folder = m_scratch / "files";
  fs::create_directory(folder);
  Put(folder + "/ZuvTmp0001.jpg", "taken");
  const CZuvFilePath target = PathOf(folder);
  TempFileCounter() = 9998;
  struct Step {
    const char* suffix;
    const char* made;
  };
  for (const Step& step : {Step{".tif", "ZuvTmp9998.tif"}, Step{"", "ZuvTmp9999"},
                           Step{"", "ZuvTmp0000"}, Step{".jpg", "ZuvTmp0002.jpg"}}) {
    SCOPED_TRACE(step.made);
    CZuvFilePath out;
    EXPECT_EQ(ZuvCreateTempFile(&target, &out, Text(step.suffix)), kZuvSuccess);
    EXPECT_EQ(PathText(out), folder + "/" + step.made);
  }
  EXPECT_EQ(TempFileCounter(), 10003u);
  EXPECT_EQ(Names(folder),
            (std::vector<std::string>{"ZuvTmp0000", "ZuvTmp0001.jpg", "ZuvTmp0002.jpg",
                                      "ZuvTmp9998.tif", "ZuvTmp9999"}));
}

TEST_F(TempFolderTest, AFolderHoldingEveryNameIsFullAfterOneCycle) {
  const std::string folder = m_scratch / "files";
  fs::create_directory(folder);
  for (int i = 0; i < 10000; ++i) {
    std::string digits = std::to_string(i);
    Put(folder + "/ZuvTmp" + std::string(4 - digits.size(), '0') + digits, "");
  }
  const CZuvFilePath target = PathOf(folder);
  TempFileCounter() = 1234;
  CZuvFilePath out = PathOf("/unchanged");
  EXPECT_EQ(ZuvCreateTempFile(&target, &out), kZuvErrDiskFull);
  EXPECT_EQ(TempFileCounter(), 11234u);
  EXPECT_EQ(PathText(out), "/unchanged");
  EXPECT_EQ(Names(folder).size(), 10000u);
}

TEST_F(TempFolderTest, AFullVolumeEndsTheSearchAtOnce) {
  if (!IsRoot()) GTEST_SKIP() << "mounting a tmpfs needs root";
  // An empty file needs no data blocks: the volume is full of items, not of bytes.
  const std::string volume = m_scratch.MountTmpfs("full", "1m,nr_inodes=4");
  ASSERT_FALSE(volume.empty());
  for (int i = 0; i < 4; ++i) Put(volume + "/fill" + std::to_string(i), "");
  const CZuvFilePath target = PathOf(volume);
  const uint32_t counter = TempFileCounter();
  EXPECT_EQ(ZuvCreateTempFile(&target, nullptr), kZuvErrDiskFull);
  EXPECT_EQ(TempFileCounter(), counter + 1);
  EXPECT_EQ(Names(volume).size(), 3u);
}

TEST_F(TempFolderTest, AMissingOrForbiddenFolderIsReported) {
  const CZuvFilePath missing = PathOf(m_scratch / "missing");
  const uint32_t counter = TempFileCounter();
  EXPECT_EQ(ZuvCreateTempFile(&missing, nullptr), kZuvErrNotFound);
  EXPECT_EQ(TempFileCounter(), counter);

  if (!IsRoot()) GTEST_SKIP() << "dropping to another user needs root";
  const std::string folder = m_scratch / "root-only";
  fs::create_directory(folder);
  const CZuvFilePath forbidden = PathOf(folder);
  EXPECT_EQ(zuv::platform::testing::RunAsNobody([&] {
              return ZuvCreateTempFile(&forbidden, nullptr) == kZuvErrAccessDenied ? 0 : 1;
            }),
            0);
  EXPECT_TRUE(Names(folder).empty());
}

TEST_F(TempFolderTest, ClearRemovesTheProjectFolderWithEverythingInIt) {
  ZuvClearProjectTempFolder();
  EXPECT_TRUE(Names(m_tmp).empty()) << "clearing makes nothing";

  ZuvSetProjectName(Text("Trip"));
  CZuvFilePath file;
  ASSERT_EQ(ZuvCreateTempFile(nullptr, &file, Text(".jpg")), kZuvSuccess);
  const std::string leaf = Base() + "/Merid/Trip/RTL";
  EXPECT_EQ(fs::path(PathText(file)).parent_path(), leaf);
  fs::create_directories(leaf + "/sub/deeper");
  ZuvClearProjectTempFolder();
  EXPECT_FALSE(fs::exists(leaf));
  EXPECT_TRUE(fs::is_directory(Base() + "/Merid/Trip"));
  EXPECT_EQ(ZuvGetProjectTempFolder(nullptr), kZuvSuccess);
  EXPECT_TRUE(fs::is_directory(leaf));
}

TEST_F(TempFolderTest, ConcurrentCallersGetFilesOfTheirOwn) {
  const std::string folder = m_scratch / "files";
  fs::create_directory(folder);
  constexpr int kThreads = 4;
  constexpr int kFilesEach = 50;
  const CZuvFilePath target = PathOf(folder);
  std::vector<std::vector<std::string>> made(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      ZuvSetProjectName(Text("project" + std::to_string(t)));
      for (int i = 0; i < kFilesEach; ++i) {
        CZuvFilePath out;
        if (ZuvCreateTempFile(&target, &out) == kZuvSuccess) {
          made[t].push_back(PathText(out));
        }
      }
      ZuvGetProjectTempFolder(nullptr);
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<std::string> all;
  for (const auto& files : made) all.insert(files.begin(), files.end());
  EXPECT_EQ(all.size(), size_t{kThreads * kFilesEach});
  EXPECT_EQ(Names(folder).size(), size_t{kThreads * kFilesEach});
}

TEST(ApplicationSupportTest, IsTheFirstAbsoluteDataFolder) {
  struct Case {
    const char* dataDirs;  // null: unset
    const char* support;   // null: none
    const char* profiles;
  };
  const Case cases[] = {
      {nullptr, "/usr/local/share", "/usr/local/share/Merid/Profiles"},
      {"", "/usr/local/share", "/usr/local/share/Merid/Profiles"},
      {"/opt/data/:/usr/share", "/opt/data", "/opt/data/Merid/Profiles"},
      {"relative:/srv/data", "/srv/data", "/srv/data/Merid/Profiles"},
      {"/", "/", "/Merid/Profiles"},
      {"relative", nullptr, nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.dataDirs != nullptr ? c.dataDirs : "(unset)");
    ScopedEnvironment dataDirs("XDG_DATA_DIRS", c.dataDirs);
    CZuvFilePath support;
    CZuvFilePath profiles;
    EXPECT_EQ(GetApplicationSupportFolder(&support), c.support != nullptr);
    EXPECT_EQ(GetProfileFolderPath(&profiles), c.support != nullptr);
    EXPECT_EQ(GetProfileFolderPath(nullptr), c.support != nullptr);
    EXPECT_EQ(PathText(support), c.support != nullptr ? c.support : "");
    EXPECT_EQ(PathText(profiles), c.profiles != nullptr ? c.profiles : "");
  }
}

}  // namespace
