// What the benchmarks share. Each measures the library beside a peer in the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>

namespace bench {

/// Prints what benchmark prints, and keeps each median in nanoseconds.
class Medians : public benchmark::ConsoleReporter {
 public:
  Medians() : ConsoleReporter(OO_None) {}

  void ReportRuns(const std::vector<Run>& runs) override;
  /// 0 for what was not measured.
  double of(const std::string& name) const;

 private:
  std::map<std::string, double> medians_;
};

constexpr int kRepetitions = 11;

/// Registers a measurement whose median counts.
benchmark::internal::Benchmark* measure(const std::string& name, void (*body)(benchmark::State&));

/// Prints what the library adds to its peer: NAME/library beside NAME/bare.
void print_share(const Medians& medians, const char* what, const std::string& name);
/// Prints how long the library takes in times of its peer: NAME/library beside NAME/peer.
void print_ratio(const Medians& medians, const char* what, const std::string& name);

// One pair for each family: what is measured, and what is printed when it is done.
void register_carrier();
void report_carrier(const Medians& medians);
void register_checksums();
void report_checksums(const Medians& medians);
void register_collection();
void report_collection(const Medians& medians);
void register_dispatch();
void report_dispatch(const Medians& medians);
void register_last_logs();
void report_last_logs(const Medians& medians);
void register_modem();
void report_modem(const Medians& medians);
void register_system();
void report_system(const Medians& medians);

}  // namespace bench
