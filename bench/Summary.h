#ifndef ORAVO_BENCH_SUMMARY_H
#define ORAVO_BENCH_SUMMARY_H

#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace oravo::bench {

/// Shows benchmarks as they run, and remembers the median of each (the single figure where nothing was
/// repeated), for a table of comparisons.
class Summary : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override;

    /// One line for each comparison of which both sides have run.
    void print(std::ostream& out) const;

  private:
    struct Figures {
        double milliseconds = 0.0;
        benchmark::UserCounters counters;
    };
    /// null for a benchmark that has not run
    const Figures* find(const std::string& name) const;
    double milliseconds(const std::string& name) const;

    void printSpeedUps(std::ostream& out) const;
    void printOperator(std::ostream& out) const;
    /// Whole images of every size, with their cost per pixel for comparison with the smallest size.
    struct Images {
        const char* benchmark;
        const char* label;
        const char* goals[4];  ///< for each size
        std::vector<const char*> stages;
    };
    void printImages(std::ostream& out, const Images& images) const;
    void printPipeline(std::ostream& out) const;
    void printBursts(std::ostream& out) const;
    void printPrecise(std::ostream& out) const;
    void printThreads(std::ostream& out) const;
    void printMemory(std::ostream& out) const;

    std::map<std::string, Figures> figures_;
};

}  // namespace oravo::bench

#endif
