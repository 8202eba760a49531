// The string value against its references. Each measure is registered as MEASURE/CASE/zuv and
// MEASURE/CASE/ref; a zuv run with a goal carries a "goal" counter, the largest acceptable ratio
// zuv/ref.
// scripts/bench.sh prints the pairs side by side.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <unicode/ustring.h>

#include <benchmark/benchmark.h>

#include "zuv/strings/string_data.h"
#include "zuv/strings/utf8_utility.h"

namespace {

constexpr size_t kMiB = 1 << 20;

enum class TextKind { kAscii, kMixed };

// About 1 MiB of whole repetitions of one line of ASCII, or of Japanese and Latin.
const std::string& Text(TextKind kind) {
  static const auto build = [](const std::string& line) {
    std::string text;
    while (text.size() + line.size() <= kMiB) text += line;
    return text;
  };
  static const std::string ascii =
      build("The quick brown fox jumps over the lazy dog. 0123456789\n");
  static const std::string mixed =
      build("写真の整理 photo library 日本語のテキスト and Latin text, café.\n");
  return kind == TextKind::kAscii ? ascii : mixed;
}

// Names what a zuv run measures and the largest ratio to its reference that is acceptable.
void SetGoal(benchmark::State& state, const char* label, double ratio) {
  state.SetLabel(label);
  state.counters["goal"] = ratio;
}

// libstdc++ counts shared_ptr references without atomic instructions for as long as the process
// has had only one thread. The application has many, so the reference is measured as it runs there.
void BecomeMultiThreaded() {
  static const bool started = [] {
    std::thread([] {}).join();
    return true;
  }();
  benchmark::DoNotOptimize(started);
}

// Copy and destruction of a value that is shared: a pointer-linked join and leave, each under the
// value's lock, against the reference count of a shared_ptr.
void CopyDestroyZuv(benchmark::State& state) {
  const CZuvStringData shared(ZuvCharUtf8("a shared value"));
  for (auto _ : state) {
    CZuvStringData copy(shared);
    benchmark::DoNotOptimize(copy);
  }
  SetGoal(state, "CZuvStringData", 2.0);
}
BENCHMARK(CopyDestroyZuv)->Name("CopyDestroy/shared/zuv");

void CopyDestroyRef(benchmark::State& state) {
  BecomeMultiThreaded();
  const auto shared = std::make_shared<const std::string>("a shared value");
  for (auto _ : state) {
    std::shared_ptr<const std::string> copy(shared);
    benchmark::DoNotOptimize(copy);
  }
  state.SetLabel("std::shared_ptr<const std::string>");
}
BENCHMARK(CopyDestroyRef)->Name("CopyDestroy/shared/ref");

// The first GetPtrUnicode() of a value converts; later ones return the kept form. So every
// iteration needs a fresh value. It is made while the timer is paused: InitWithUtf8 copies the
// megabyte (and frees the previous value), which is not the conversion under test, and the pause
// costs well under a microsecond against a conversion of hundreds. The copy also leaves the text
// in the cache, as the reference finds it.
void FirstUnicodeZuv(benchmark::State& state, TextKind kind) {
  const std::string& text = Text(kind);
  CZuvStringData value;
  for (auto _ : state) {
    state.PauseTiming();
    value.InitWithUtf8(text.c_str());
    state.ResumeTiming();
    benchmark::DoNotOptimize(value.GetPtrUnicode());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  SetGoal(state, "CZuvStringData::GetPtrUnicode", 1.2);
}
BENCHMARK_CAPTURE(FirstUnicodeZuv, ascii, TextKind::kAscii)->Name("FirstUnicode/ascii/zuv");
BENCHMARK_CAPTURE(FirstUnicodeZuv, mixed, TextKind::kMixed)->Name("FirstUnicode/mixed/zuv");

// ICU's conversion as a caller would use it: a buffer of the largest size the text can need,
// allocated and released each time as the value's is, and one pass of u_strFromUTF8.
void FirstUnicodeRef(benchmark::State& state, TextKind kind) {
  const std::string& text = Text(kind);
  const auto length = static_cast<int32_t>(text.size());
  for (auto _ : state) {
    auto* units = static_cast<UChar*>(std::malloc((text.size() + 1) * sizeof(UChar)));
    UErrorCode status = U_ZERO_ERROR;
    int32_t written = 0;
    u_strFromUTF8(units, length + 1, &written, text.data(), length, &status);
    if (U_FAILURE(status)) state.SkipWithError(u_errorName(status));
    benchmark::DoNotOptimize(units);
    std::free(units);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  state.SetLabel("u_strFromUTF8");
}
BENCHMARK_CAPTURE(FirstUnicodeRef, ascii, TextKind::kAscii)->Name("FirstUnicode/ascii/ref");
BENCHMARK_CAPTURE(FirstUnicodeRef, mixed, TextKind::kMixed)->Name("FirstUnicode/mixed/ref");

// Counting the characters of a megabyte against finding its end. The pointer is laundered each
// time so that the compiler cannot hoist the pure call out of the loop.
template <typename Measure>
void LengthOf(benchmark::State& state, TextKind kind, Measure measure) {
  const std::string& text = Text(kind);
  for (auto _ : state) {
    const char* bytes = text.c_str();
    benchmark::DoNotOptimize(bytes);
    benchmark::DoNotOptimize(measure(bytes));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void Utf8LengthZuv(benchmark::State& state, TextKind kind) {
  LengthOf(state, kind, ZuvMacStringUtility::utf8_length);
  SetGoal(state, "utf8_length", 2.0);
}
void Utf8LengthRef(benchmark::State& state, TextKind kind) {
  LengthOf(state, kind, [](const char* bytes) { return std::strlen(bytes); });
  state.SetLabel("strlen");
}
BENCHMARK_CAPTURE(Utf8LengthZuv, ascii, TextKind::kAscii)->Name("Utf8Length/ascii/zuv");
BENCHMARK_CAPTURE(Utf8LengthRef, ascii, TextKind::kAscii)->Name("Utf8Length/ascii/ref");
BENCHMARK_CAPTURE(Utf8LengthZuv, mixed, TextKind::kMixed)->Name("Utf8Length/mixed/zuv");
BENCHMARK_CAPTURE(Utf8LengthRef, mixed, TextKind::kMixed)->Name("Utf8Length/mixed/ref");

// A 60-byte path, the length the application counts most often.
const char kPath60[] = "/home/user/Pictures/2024/06/Holiday in Kyoto/IMG_0001.JPG.xm";
static_assert(sizeof(kPath60) == 61);

template <typename Measure>
void LengthOfPath(benchmark::State& state, Measure measure) {
  for (auto _ : state) {
    const char* bytes = kPath60;
    benchmark::DoNotOptimize(bytes);
    benchmark::DoNotOptimize(measure(bytes));
  }
}

void Utf8LengthPathZuv(benchmark::State& state) {
  LengthOfPath(state, ZuvMacStringUtility::utf8_length);
  state.SetLabel("utf8_length");  // a figure to watch, without a goal
}
BENCHMARK(Utf8LengthPathZuv)->Name("Utf8Length/path60/zuv");

void Utf8LengthPathRef(benchmark::State& state) {
  LengthOfPath(state, [](const char* bytes) { return std::strlen(bytes); });
  state.SetLabel("strlen");
}
BENCHMARK(Utf8LengthPathRef)->Name("Utf8Length/path60/ref");

}  // namespace
