#pragma once

// What every benchmark of the project shares: a Qt application around Google Benchmark (the
// simulator process and the serial port want one), and CPU time as the kernel counts it.

#include <QCoreApplication>

#include <benchmark/benchmark.h>
#include <sys/resource.h>

namespace tachoria::bench {

// who: RUSAGE_THREAD, RUSAGE_SELF or RUSAGE_CHILDREN.
inline double cpuSeconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

inline int runBenchmarks(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace tachoria::bench
