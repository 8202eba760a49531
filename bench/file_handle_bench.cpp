// Collecting a file handle against its reference: a new CZuvFileHandle on a photo in a scratch
// folder, asked for its attributes (which reads the catalog record, the names and the cached drive
// type), against one bare statx of the same file. The zuv run also counts the mount-table reads
// made after the first handle on the volume: the drive type cache should leave none.
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>

#include <benchmark/benchmark.h>

#include "zuv/files/file_handle.h"
#include "zuv/platform/testing/machine_facts.h"
#include "zuv/platform/testing/scoped_replacement.h"

namespace {

// A photo in a folder of its own, removed at exit.
const std::string& PhotoPath() {
  static const struct Photo {
    Photo() {
      const auto folder = std::filesystem::temp_directory_path() / "zuv-bench-handle";
      std::filesystem::create_directories(folder);
      path = (folder / "IMG_0001.JPG").string();
      std::ofstream(path, std::ios::binary) << std::string(4096, 'x');
    }
    ~Photo() { std::filesystem::remove_all(std::filesystem::path(path).parent_path()); }
    std::string path;
  } photo;
  return photo.path;
}

void CollectHandleZuv(benchmark::State& state) {
  CZuvFilePath path;
  const CZuvStringData text{ZuvCharUtf8(PhotoPath().c_str())};
  path.Initialize(&text);
  CZuvFileHandle(path).GetAttribute();  // classifies the volume once

  zuv::platform::testing::CountingMachineFacts facts;
  {
    const zuv::platform::testing::ScopedReplacement<zuv::platform::MachineFacts> use(&facts);
    for (auto _ : state) {
      const CZuvFileHandle handle(path);
      benchmark::DoNotOptimize(handle.GetAttribute());
    }
  }
  state.counters["mount_reads"] = facts.MountReads();
  state.counters["goal"] = 3.0;
  state.SetLabel("CZuvFileHandle::GetAttribute on a new handle");
}
BENCHMARK(CollectHandleZuv)->Name("CollectHandle/file/zuv");

void CollectHandleRef(benchmark::State& state) {
  const std::string& path = PhotoPath();
  for (auto _ : state) {
    struct statx sx;
    benchmark::DoNotOptimize(
        statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &sx));
  }
  state.SetLabel("statx");
}
BENCHMARK(CollectHandleRef)->Name("CollectHandle/file/ref");

}  // namespace
