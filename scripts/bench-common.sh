# Sourced by the benchmark scripts: the repository root, the build they measure, and a build of the
# targets they run in it.
# ZUV_BENCH_BUILD_DIR chooses another build directory than the preset's build/default;
# CMAKE_BUILD_PARALLEL_LEVEL limits the build jobs.

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${ZUV_BENCH_BUILD_DIR:-$root/build/default}"

# Configures the default preset (RelWithDebInfo, benchmarks on) and builds the targets named.
bench_build() {
  cmake --preset default -S "$root" -B "$build_dir" >/dev/null
  cmake --build "$build_dir" --target "$@"
}
