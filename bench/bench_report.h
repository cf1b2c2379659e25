// What the benchmarks print for scripts/bench.sh besides their own text, one item a line:
//
//   row | PROGRAM | WHAT | FIGURE      a row of the table of figures
//   metric NAME VALUE                  a number that a goal is judged by
//
// and the small helpers that the benchmarks share: formatting, percentiles, failing loudly,
// and running Google Benchmark while keeping its results.
#ifndef QUOTLINK_BENCH_BENCH_REPORT_H_
#define QUOTLINK_BENCH_BENCH_REPORT_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quotlink::bench {

// printf into a string.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

void PrintRow(std::string_view program, std::string_view what, std::string_view figure);
void PrintMetric(std::string_view name, double value);

// Says what went wrong on standard error and ends the program with 1: a benchmark whose path
// didn't work (no quote reached the client, the image wasn't taken) must not print a figure.
[[noreturn]] void Fail(const std::string& why);

// The value below which `p` (0 to 1) of `samples` lie, nearest rank. Sorts `samples`.
// REQUIRES: samples is not empty.
int64_t Percentile(std::vector<int64_t>* samples, double p);

// Nanoseconds of the monotonic clock, the one both the feeder and the benchmarks read.
int64_t NowNs();
// CPU nanoseconds that the calling thread has used.
int64_t ThreadCpuNs();

// A whole number of a command-line option, in [lo, hi]: false when it isn't one.
bool ParseCount(const char* text, int64_t lo, int64_t hi, int64_t* out);
bool ParseSeconds(const char* text, double* out);

// One Google Benchmark run, times in nanoseconds per iteration.
struct RunResult {
  double real_ns = 0;
  double cpu_ns = 0;
  int64_t iterations = 0;
  std::map<std::string, double> counters;
  std::map<std::string, double> max_counters;  // the largest of the repetitions
};

// Runs the registered benchmarks with their usual console output and command line, and keeps
// each one's result by its name ("BM_Find/1000"): the median of the repetitions when there are
// several. Returns the program's exit code: 0; 1 when a benchmark reported an error (its path
// didn't work); 2 for an argument it doesn't know (after saying so).
int RunBenchmarks(int argc, char** argv, std::map<std::string, RunResult>* results);

}  // namespace quotlink::bench

#endif  // QUOTLINK_BENCH_BENCH_REPORT_H_
