// File typing by extension against its reference: ZuvPathFindExtensionType over 100,000 photo
// library paths, against a suffix lookup of the same paths as std::string in a std::unordered_map.
// Runs are named MEASURE/CASE/zuv and MEASURE/CASE/ref; the zuv run carries the goal ratio.
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "zuv/paths/file_type.h"

namespace {

constexpr int kPaths = 100000;

// Paths as a photo library holds them: mostly images, movies and sidecars in upper or lower case,
// some unknown or missing extensions, and one folder in eight named in Japanese.
const std::vector<std::string>& Paths() {
  static const std::vector<std::string> paths = [] {
    const char* const folders[] = {"/Users/photographer/Pictures/2023/Trip",
                                   "/Volumes/CARD/DCIM/100CANON",
                                   "/home/user/写真/夏休み",
                                   "/Users/photographer/Pictures/2021/Family/Birthday",
                                   "/srv/archive/raw",
                                   "/tmp",
                                   "/Users/photographer/Desktop",
                                   "/data/import/batch-17"};
    const char* const extensions[] = {".JPG",  ".jpg", ".CR2",  ".cr2", ".MOV", ".xmp", ".tif",
                                      ".jpeg", ".mp4", ".heic", ".NEF", "",     ".txt", ".QRW"};
    std::mt19937 random(42);
    std::vector<std::string> all;
    all.reserve(kPaths);
    for (int i = 0; i < kPaths; ++i) {
      all.push_back(std::string(folders[random() % std::size(folders)]) + "/IMG_" +
                    std::to_string(random() % 10000) +
                    extensions[random() % std::size(extensions)]);
    }
    return all;
  }();
  return paths;
}

void SetGoal(benchmark::State& state, const char* label, double ratio) {
  state.SetLabel(label);
  state.counters["goal"] = ratio;
}

void FindExtensionTypeZuv(benchmark::State& state) {
  std::vector<CZuvStringData> paths;
  for (const std::string& path : Paths()) paths.emplace_back(ZuvCharUtf8(path.c_str()));
  for (auto _ : state) {
    uint32_t sum = 0;
    for (const CZuvStringData& path : paths) sum += ZuvPathFindExtensionType(path, false);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kPaths);
  SetGoal(state, "ZuvPathFindExtensionType", 2.0);
}
BENCHMARK(FindExtensionTypeZuv)->Name("FindExtensionType/photos/zuv");

// The reference matches case as it is: it does less than the case-insensitive lookup.
void FindExtensionTypeRef(benchmark::State& state) {
  std::unordered_map<std::string, uint32_t> table;
  for (const auto& [extension, type] : ZuvPathUtility::GetExtensionToTypeTable()) {
    table.emplace(extension.GetPtrUtf8(), type);
  }
  const std::vector<std::string>& paths = Paths();
  for (auto _ : state) {
    uint32_t sum = 0;
    for (const std::string& path : paths) {
      const size_t dot = path.rfind('.');
      if (dot == std::string::npos) continue;
      const auto found = table.find(path.substr(dot));
      if (found != table.end()) sum += found->second;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kPaths);
  state.SetLabel("std::unordered_map<std::string, type>");
}
BENCHMARK(FindExtensionTypeRef)->Name("FindExtensionType/photos/ref");

}  // namespace
