#include "bench/bench_report.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>

namespace quotlink::bench {

std::string Format(const char* format, ...) {
  char buf[512];
  va_list args;
  va_start(args, format);
  const int n = std::vsnprintf(buf, sizeof buf, format, args);
  va_end(args);
  if (n < 0) return "";
  return std::string(buf, std::min(static_cast<size_t>(n), sizeof buf - 1));
}

void PrintRow(std::string_view program, std::string_view what, std::string_view figure) {
  std::printf("row | %.*s | %.*s | %.*s\n", static_cast<int>(program.size()), program.data(),
              static_cast<int>(what.size()), what.data(), static_cast<int>(figure.size()),
              figure.data());
  std::fflush(stdout);
}

void PrintMetric(std::string_view name, double value) {
  std::printf("metric %.*s %.6g\n", static_cast<int>(name.size()), name.data(), value);
  std::fflush(stdout);
}

void Fail(const std::string& why) {
  std::fflush(stdout);
  std::fprintf(stderr, "benchmark failed: %s\n", why.c_str());
  std::exit(1);
}

int64_t Percentile(std::vector<int64_t>* samples, double p) {
  std::sort(samples->begin(), samples->end());
  const auto n = static_cast<double>(samples->size());
  auto rank = static_cast<size_t>(std::ceil(p * n));  // nearest rank, from 1
  if (rank < 1) rank = 1;
  if (rank > samples->size()) rank = samples->size();
  return (*samples)[rank - 1];
}

int64_t NowNs() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

int64_t ThreadCpuNs() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

bool ParseCount(const char* text, int64_t lo, int64_t hi, int64_t* out) {
  char* end = nullptr;
  errno = 0;
  const long long v = std::strtoll(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || v < lo || v > hi) return false;
  *out = v;
  return true;
}

bool ParseSeconds(const char* text, double* out) {
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(text, &end);
  if (errno != 0 || end == text || *end != '\0' || !(v > 0) || v > 86400) return false;
  *out = v;
  return true;
}

namespace {

// The console's output as usual, and every run's figures kept.
class KeepingReporter : public benchmark::ConsoleReporter {
 public:
  // Colours only on a terminal: scripts read the output.
  explicit KeepingReporter(std::map<std::string, RunResult>* results)
      : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular), results_(results) {}

  bool errors() const { return errors_; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) {
        errors_ = true;
        continue;
      }
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (run.run_type != Run::RT_Iteration && !median) continue;
      const std::string name = run.run_name.str();
      RunResult& r = (*results_)[name];
      for (const auto& [counter, value] : run.counters) {
        auto [at, fresh] = r.max_counters.emplace(counter, value.value);
        if (!fresh && run.run_type == Run::RT_Iteration)
          at->second = std::max(at->second, value.value);
      }
      // A median, once there, stands for the repetitions.
      if (!median && medians_.count(name) != 0) continue;
      if (median) medians_.insert(name);
      const double to_ns = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      r.real_ns = run.GetAdjustedRealTime() * to_ns;
      r.cpu_ns = run.GetAdjustedCPUTime() * to_ns;
      r.iterations = run.iterations;
      for (const auto& [counter, value] : run.counters)
        r.counters[counter] = value.value;
    }
    ConsoleReporter::ReportRuns(runs);
  }

 private:
  std::map<std::string, RunResult>* const results_;
  std::set<std::string> medians_;
  bool errors_ = false;
};

}  // namespace

int RunBenchmarks(int argc, char** argv, std::map<std::string, RunResult>* results) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  KeepingReporter reporter(results);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return reporter.errors() ? 1 : 0;
}

}  // namespace quotlink::bench
