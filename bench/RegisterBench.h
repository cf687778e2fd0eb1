#pragma once

#include <benchmark/benchmark.h>

#include <string>

namespace qel::bench {

// Registers a bench that takes the benchmark::State, with what every bench here reports: a label,
// and how many minutes of audio it analyzes.
void RegisterBench([[maybe_unused]] const std::string& name, const std::string& label,
                   unsigned minutes, auto bench) {
    [[maybe_unused]] const auto labelled = [=](benchmark::State& state) {
        bench(state);
        state.SetLabel(label);
        state.counters["minutes"] = minutes;
    };
#ifndef __clang_analyzer__ // takes what the list of benches owns for leaked
    benchmark::RegisterBenchmark(name.c_str(), labelled)->Unit(benchmark::kMillisecond);
#endif
}

} // namespace qel::bench
