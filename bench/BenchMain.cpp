// The Google Benchmark program: the CPU time of keys, groups of keys, their floors, and of peers
// where they were found at configure time. bench/report.py makes the table of its figures.

#include "bench/KeyBenches.h"
#include "bench/PeerBenches.h"

#include <benchmark/benchmark.h>

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    qel::bench::RegisterKeyBenches();
#ifdef QEL_BENCH_AUBIO
    qel::bench::RegisterAubioBenches();
#endif
#ifdef QEL_BENCH_QM_DSP
    qel::bench::RegisterQmDspBenches();
#endif
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
