// QelAudioAnalysis for C++20: the complete client, header only.
//
//     qel::Analyzer analyzer({"spectrum flux properties"}, {.sampleRateHz = 44100});
//     analyzer.onResult([](const qel::Result& result) {
//         std::cout << result.timeSeconds() << " s: " << result.value("spectrum flux") << '\n';
//     });
//     analyzer.push(samples);
//     analyzer.finish();
//
// Analyzer.hpp       the analyzer: keys and stream in, results out
// BlockAnalyzer.hpp  the same for blocks of any size
// Result.hpp         what the result callback receives, and an owning copy of it
// Keys.hpp           the table of keys: payloads, units, ranges, definitions, sources
// KeyAliases.hpp     short and correctly spelled names that are accepted for keys
// Parameters.hpp     the table of parameters: ranges, defaults, keys
// Error.hpp          the exception that carries a status
//
// A program links the library and the platform layer (CMake target QelAudioAnalysis::Cpp).
#pragma once

#include <QelAudioAnalysis/Analyzer.hpp>
#include <QelAudioAnalysis/BlockAnalyzer.hpp>
#include <QelAudioAnalysis/Error.hpp>
#include <QelAudioAnalysis/KeyAliases.hpp>
#include <QelAudioAnalysis/Keys.hpp>
#include <QelAudioAnalysis/Parameters.hpp>
#include <QelAudioAnalysis/Result.hpp>
