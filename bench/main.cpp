#include <benchmark/benchmark.h>

#include <iostream>
#include <opencv2/core.hpp>

#include "bench/Summary.h"

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    oravo::bench::Summary summary;
    benchmark::RunSpecifiedBenchmarks(&summary);
    summary.print(std::cout);
    return 0;
}
