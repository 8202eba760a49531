// The cost of the progress callback on a tree copy: ZuvCopyPath on 10,000 files of 4 KiB in 100
// folders with a callback that counts its calls, against the same copy without one. The tree lies
// on a tmpfs where the process may mount one (root), so that the disk's noise stays out; else in
// a folder under /tmp. Each copy goes to a fresh destination, removed outside the timed region.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "zuv/platform/testing/scratch.h"
#include "zuv/transfer/path_operation.h"

namespace {

constexpr int kFolders = 100;
constexpr int kFilesPerFolder = 100;

// The tree to copy and the volume it lies on, undone at exit.
struct Fixture {
  Fixture() {
    volume = scratch.MountTmpfs("volume", "1g");
    onTmpfs = !volume.empty();
    if (!onTmpfs) {
      volume = scratch / "volume";
      std::filesystem::create_directories(volume);
    }
    tree = volume + "/tree";
    const std::string page(4096, 'p');
    for (int folder = 0; folder < kFolders; ++folder) {
      const std::string path = tree + "/folder" + std::to_string(folder);
      std::filesystem::create_directories(path);
      for (int file = 0; file < kFilesPerFolder; ++file) {
        zuv::platform::testing::WriteFile(path + "/IMG_" + std::to_string(file) + ".jpg", page);
      }
    }
  }
  zuv::platform::testing::ScratchFolder scratch;
  std::string volume;
  std::string tree;
  bool onTmpfs = false;
};

const Fixture& Tree() {
  static const Fixture fixture;
  return fixture;
}

bool CountCall(void* data) {
  ++*static_cast<uint64_t*>(data);
  return true;
}

void CopyTree(benchmark::State& state, bool withCallback) {
  const Fixture& fixture = Tree();
  const CZuvStringData source{ZuvCharUtf8(fixture.tree.c_str())};
  const std::string copy = fixture.volume + "/copy";
  const CZuvStringData destination{ZuvCharUtf8(copy.c_str())};
  uint64_t calls = 0;
  for (auto _ : state) {
    const std::unique_ptr<ZuvCopyPath> operation = ZuvCopyPath::Create(source, destination);
    if (withCallback) operation->setProgress(&CountCall, &calls);
    if (operation->perform() != kZuvSuccess) state.SkipWithError("the copy failed");
    state.PauseTiming();
    std::filesystem::remove_all(copy);
    state.ResumeTiming();
  }
  const std::string where = fixture.onTmpfs ? "tmpfs" : "/tmp";
  if (withCallback) {
    state.counters["calls"] = static_cast<double>(calls) / static_cast<double>(state.iterations());
    state.counters["goal"] = 1.05;
    state.SetLabel("ZuvCopyPath with a callback, " + where);
  } else {
    state.SetLabel("ZuvCopyPath without one, " + where);
  }
}

BENCHMARK_CAPTURE(CopyTree, with_callback, true)
    ->Name("CopyTreeCallback/10000x4KiB/zuv")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(CopyTree, without_callback, false)
    ->Name("CopyTreeCallback/10000x4KiB/ref")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
