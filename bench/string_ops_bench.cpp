// The string operations against their references. Each measure is registered as MEASURE/CASE/zuv
// and MEASURE/CASE/ref; a zuv run with a goal carries a "goal" counter, the largest acceptable
// ratio zuv/ref, and runs that must not allocate carry "allocs", heap allocations per call.
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string.h>
#include <string>
#include <strings.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "zuv/strings/string_ops.h"

// Every heap allocation of the process is counted: operator new of libstdc++ allocates with
// malloc, as do the string value and ICU, so the malloc family sees them all.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

std::atomic<long> g_allocations{0};

void* malloc(size_t size) noexcept {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) noexcept {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) noexcept {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(block, size);
}
}

namespace {

constexpr size_t kMiB = 1 << 20;

void SetGoal(benchmark::State& state, const char* label, double ratio) {
  state.SetLabel(label);
  state.counters["goal"] = ratio;
}

// Runs `call` once per iteration and reports the heap allocations per call.
template <typename Call>
void CountingAllocations(benchmark::State& state, Call call) {
  const long before = g_allocations.load();
  for (auto _ : state) benchmark::DoNotOptimize(call());
  state.counters["allocs"] =
      static_cast<double>(g_allocations.load() - before) / static_cast<double>(state.iterations());
}

// Two 40-byte paths that differ only in case, so that every character is compared.
const char kPathA[] = "/home/user/Pictures/2024/06/IMG_0001.JPG";
const char kPathB[] = "/home/user/pictures/2024/06/img_0001.jpg";

void CmpiZuv(benchmark::State& state) {
  const CZuvStringData a(ZuvCharUtf8{kPathA});
  const CZuvStringData b(ZuvCharUtf8{kPathB});
  CountingAllocations(state, [&] { return ZuvStringDataCmpi(a, b); });
  SetGoal(state, "ZuvStringDataCmpi", 3.0);
}
BENCHMARK(CmpiZuv)->Name("Cmpi/path40/zuv");

void CmpiRef(benchmark::State& state) {
  CountingAllocations(state, [] {
    const char* a = kPathA;
    benchmark::DoNotOptimize(a);
    return strcasecmp(a, kPathB);
  });
  state.SetLabel("strcasecmp");
}
BENCHMARK(CmpiRef)->Name("Cmpi/path40/ref");

// Two 40-byte paths that differ only in their last character.
const char kPathC[] = "/home/user/Pictures/2024/06/IMG_0001.JPG";
const char kPathD[] = "/home/user/Pictures/2024/06/IMG_0001.JPH";

void CmpZuv(benchmark::State& state) {
  const CZuvStringData a(ZuvCharUtf8{kPathC});
  const CZuvStringData b(ZuvCharUtf8{kPathD});
  CountingAllocations(state, [&] { return ZuvStringDataCmp(a, b); });
  state.SetLabel("ZuvStringDataCmp");  // a figure to watch, without a goal
}
BENCHMARK(CmpZuv)->Name("Cmp/path40/zuv");

void CmpRef(benchmark::State& state) {
  CountingAllocations(state, [] {
    const char* a = kPathC;
    benchmark::DoNotOptimize(a);
    return std::strcmp(a, kPathD);
  });
  state.SetLabel("strcmp");
}
BENCHMARK(CmpRef)->Name("Cmp/path40/ref");

// A search that naive matching makes quadratic: 1 MB of "a", and a needle of 10,000 "a" and a "b"
// that never occurs. Each search is judged against ZuvStringDataStr on the same input, which is
// itself judged against glibc's memmem, a linear search of bytes.
struct Hostile {
  std::string text = std::string(1000000, 'a');
  std::string needle = std::string(10000, 'a') + "b";
};

const Hostile& HostileInput() {
  static const Hostile input;
  return input;
}

using Search = CZuvStringData (*)(const CZuvStringData&, const CZuvStringData&);

void HostileSearch(benchmark::State& state, Search search) {
  const CZuvStringData text(ZuvCharUtf8{HostileInput().text.c_str()});
  const CZuvStringData needle(ZuvCharUtf8{HostileInput().needle.c_str()});
  for (auto _ : state) benchmark::DoNotOptimize(search(text, needle));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * HostileInput().text.size()));
}

void HostileStrZuv(benchmark::State& state) {
  HostileSearch(state, ZuvStringDataStr);
  SetGoal(state, "ZuvStringDataStr", 3.0);
}
BENCHMARK(HostileStrZuv)->Name("HostileSearch/Str/zuv")->Unit(benchmark::kMicrosecond);

void HostileStrRef(benchmark::State& state) {
  const Hostile& input = HostileInput();
  for (auto _ : state) {
    const char* text = input.text.c_str();
    benchmark::DoNotOptimize(text);
    benchmark::DoNotOptimize(
        memmem(text, input.text.size(), input.needle.data(), input.needle.size()));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.text.size()));
  state.SetLabel("memmem");
}
BENCHMARK(HostileStrRef)->Name("HostileSearch/Str/ref")->Unit(benchmark::kMicrosecond);

void HostileStrNoCaseZuv(benchmark::State& state) {
  HostileSearch(state, ZuvStringDataStrNoCase);
  SetGoal(state, "ZuvStringDataStrNoCase", 3.0);
}
BENCHMARK(HostileStrNoCaseZuv)->Name("HostileSearch/StrNoCase/zuv")->Unit(benchmark::kMicrosecond);

void HostileStrReverseZuv(benchmark::State& state) {
  HostileSearch(state, ZuvStringDataStrReverse);
  SetGoal(state, "ZuvStringDataStrReverse", 3.0);
}
BENCHMARK(HostileStrReverseZuv)
    ->Name("HostileSearch/StrReverse/zuv")
    ->Unit(benchmark::kMicrosecond);

void HostileStrAsRef(benchmark::State& state) {
  HostileSearch(state, ZuvStringDataStr);
  state.SetLabel("ZuvStringDataStr");
}
BENCHMARK(HostileStrAsRef)->Name("HostileSearch/StrNoCase/ref")->Unit(benchmark::kMicrosecond);
BENCHMARK(HostileStrAsRef)->Name("HostileSearch/StrReverse/ref")->Unit(benchmark::kMicrosecond);

// About 1 MiB in 10,000 lines, each holding the word to replace once.
const std::string& ReplaceText() {
  static const std::string text = [] {
    std::string built;
    char line[128];
    for (int i = 0; i < 10000; ++i) {
      std::snprintf(line, sizeof(line),
                    "%05d photo library entry with some text around the needle and more text "
                    "after it to fill the line\n",
                    i);
      built += line;
    }
    return built;
  }();
  return text;
}

void ReplaceZuv(benchmark::State& state) {
  const CZuvStringData text(ZuvCharUtf8{ReplaceText().c_str()});
  const CZuvStringData find(ZuvCharUtf8{"needle"});
  const CZuvStringData with(ZuvCharUtf8{"pin"});
  for (auto _ : state) benchmark::DoNotOptimize(ZuvStringDataReplace(text, find, with));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * ReplaceText().size()));
  SetGoal(state, "ZuvStringDataReplace", 3.0);
}
BENCHMARK(ReplaceZuv)->Name("Replace/1MiB-10000/zuv")->Unit(benchmark::kMicrosecond);

void ReplaceRef(benchmark::State& state) {
  const std::string& text = ReplaceText();
  const std::string find = "needle";
  const std::string with = "pin";
  for (auto _ : state) {
    std::string replaced;
    size_t from = 0;
    for (size_t at; (at = text.find(find, from)) != std::string::npos; from = at + find.size()) {
      replaced.append(text, from, at - from);
      replaced += with;
    }
    replaced.append(text, from);
    benchmark::DoNotOptimize(replaced);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  state.SetLabel("std::string find/append");
}
BENCHMARK(ReplaceRef)->Name("Replace/1MiB-10000/ref")->Unit(benchmark::kMicrosecond);

// `mebibytes` of fields of about 10 bytes, 100,000 per MiB, each followed by a comma.
std::string SplitText(size_t mebibytes) {
  std::string text;
  const size_t fields = 100000 * mebibytes;
  const size_t fieldBytes = mebibytes * kMiB / fields - 1;
  for (size_t i = 0; i < fields; ++i) {
    std::string field = std::to_string(i);
    field.resize(fieldBytes, 'x');
    text += field;
    text += ',';
  }
  return text;
}

void Split(benchmark::State& state, size_t mebibytes) {
  const std::string built = SplitText(mebibytes);
  const CZuvStringData text(ZuvCharUtf8{built.c_str()});
  const CZuvStringData comma(ZuvCharUtf8{","});
  std::vector<CZuvStringData> fields;
  for (auto _ : state) {
    ZuvStringDataSplit(text, comma, &fields);
    benchmark::DoNotOptimize(fields.data());
  }
  state.counters["fields"] = static_cast<double>(fields.size());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * built.size()));
}

// The pair measures how Split grows: twice the text may take at most 2.5 times as long.
void Split2MiB(benchmark::State& state) {
  Split(state, 2);
  SetGoal(state, "ZuvStringDataSplit of 2 MiB", 2.5);
}
BENCHMARK(Split2MiB)->Name("Split/2MiB-vs-1MiB/zuv")->Unit(benchmark::kMillisecond);

void Split1MiB(benchmark::State& state) {
  Split(state, 1);
  state.SetLabel("ZuvStringDataSplit of 1 MiB");
}
BENCHMARK(Split1MiB)->Name("Split/2MiB-vs-1MiB/ref")->Unit(benchmark::kMillisecond);

}  // namespace
