// Results that arrive at the end of a stream: tempo, beats, meter and down beats.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <string>

namespace qel {
namespace {

using Keys = std::vector<std::string>;
const Keys kRhythm = {"global tempo", "beat data", "global number of beats per bar",
                      "down beat data"};
const Keys kTempoAlone = {"global tempo"};

// What is heard as a beat lies within the frame of 1024 samples that is the beat, or after it: the
// smoothing's kernel is centred at 20 of 21 parts of its half length, 5 % of a period early.
constexpr double kFrameSeconds = 1024.0 / 44100;
constexpr double kHopSeconds = 128.0 / 44100;

// An analyzer that keeps all it delivers, by key.
class WholeRun {
public:
    explicit WholeRun(const Keys& keys, std::uint32_t channels = 1)
        : analyzer(keys, {.sampleRateHz = 44100, .channels = channels, .maxFrames = 4410}) {
        analyzer.onResult([this](const Result& result) {
            order.emplace_back(result.key());
            results[order.back()].push_back(result.store());
        });
    }

    void push(const std::vector<std::vector<float>>& channels) {
        std::vector<std::span<const float>> spans(channels.begin(), channels.end());
        const std::size_t length = spans.front().size();
        for (std::size_t at = 0; at < length; at += 4410) {
            std::vector<std::span<const float>> part;
            for (const auto& span : spans) {
                part.push_back(span.subspan(at, std::min<std::size_t>(4410, length - at)));
            }
            analyzer.push(part);
        }
    }

    const StoredResult& only(const std::string& key) {
        EXPECT_EQ(results[key].size(), 1u) << key;
        return results[key].at(0);
    }

    Analyzer analyzer;
    Keys order;
    std::map<std::string, std::vector<StoredResult>> results;
};

// The status of the error out of finish, and its text; 0 if there is none.
struct Outcome {
    SInt32 status = 0;
    std::string text;
};

Outcome finish(WholeRun& run) {
    try {
        EXPECT_TRUE(run.analyzer.finish());
    } catch (const Error& error) {
        return {error.status(), error.what()};
    }
    return {};
}

TEST(AnalyzerWholeStreamTest, NothingArrivesBeforeTheEndAndEveryKeyOnceAtIt) {
    WholeRun run(kRhythm);
    run.push({test::Drums(12, 120, 3)});
    EXPECT_TRUE(run.order.empty());
    EXPECT_EQ(finish(run).status, 0);
    Keys sorted = run.order;
    std::sort(sorted.begin(), sorted.end());
    Keys expected = kRhythm;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(sorted, expected);
    for (const std::string& key : kRhythm) {
        EXPECT_EQ(run.only(key).frameIndex, 0u) << key;
        EXPECT_EQ(run.only(key).timeSeconds, 0) << key;
    }
}

TEST(AnalyzerWholeStreamTest, SteadyDrumsHaveTheTempoAndTheMeterThatTheyArePlayedWith) {
    WholeRun run(kRhythm);
    run.push({test::Drums(12, 120, 3)});
    EXPECT_EQ(finish(run).status, 0);
    const StoredResult& tempo = run.only("global tempo");
    EXPECT_EQ(tempo.value("global tempo 1"), 120);
    EXPECT_EQ(tempo.value("global tempo 2"), 60);
    EXPECT_GT(tempo.value("global tempo 1 confidence"), 0.5f);
    EXPECT_EQ(run.only("global number of beats per bar").counts, std::vector<std::uint32_t>{3});
}

TEST(AnalyzerWholeStreamTest, BeatsStandAtTheStrokesAndTheLastAtTheLastFrame) {
    WholeRun run({"beat data"});
    const std::vector<float> samples = test::Drums(12, 120, 3);
    run.push({samples});
    EXPECT_EQ(finish(run).status, 0);
    const std::vector<Event> beats = run.only("beat data").events.at(0);
    ASSERT_GE(beats.size(), 23u); // a stroke each half second from 0.2 s to 11.7 s
    int onStrokes = 0;
    for (std::size_t i = 0; i + 1 < beats.size(); ++i) {
        EXPECT_LT(beats[i].timeSeconds, beats[i + 1].timeSeconds);
        // Both ends of the chain give way to the stream's ends: the first frame with a predecessor,
        // and the last frame, which is a beat in any case.
        if (beats[i].timeSeconds < 1 || beats[i].timeSeconds > 10) {
            continue;
        }
        ++onStrokes;
        const double stroke = 0.2 + 0.5 * std::ceil((beats[i].timeSeconds - 0.2) / 0.5);
        const double early = stroke - beats[i].timeSeconds;
        EXPECT_GE(early, 0.05 * 0.5 - 2 * kHopSeconds) << i;
        EXPECT_LE(early, 0.05 * 0.5 + kFrameSeconds + 2 * kHopSeconds) << i;
    }
    EXPECT_EQ(onStrokes, 18); // the strokes at 1.2, 1.7, ... 9.7
    const std::size_t lastFrame = (samples.size() - 1024) / 128;
    EXPECT_DOUBLE_EQ(beats.back().timeSeconds, static_cast<double>(lastFrame) * 128 / 44100);
}

TEST(AnalyzerWholeStreamTest, DownBeatsAreBeatsThatLieABarApart) {
    WholeRun run(kRhythm);
    run.push({test::Drums(12, 120, 3)});
    EXPECT_EQ(finish(run).status, 0);
    const std::vector<Event> beats = run.only("beat data").events.at(0);
    const std::vector<Event> downBeats = run.only("down beat data").events.at(0);
    ASSERT_GE(downBeats.size(), 5u); // eight bars, but those of the odd ends
    std::vector<std::ptrdiff_t> places;
    for (const Event& downBeat : downBeats) {
        const auto beat = std::find(beats.begin(), beats.end(), downBeat);
        ASSERT_NE(beat, beats.end());
        places.push_back(beat - beats.begin());
    }
    for (std::size_t i = 1; i < places.size(); ++i) {
        EXPECT_EQ(places[i] - places[i - 1], 3);
    }
    const auto strongest = std::max_element(
        beats.begin(), beats.end(), [](Event a, Event b) { return a.strength < b.strength; });
    EXPECT_EQ((strongest - beats.begin()) % 3, places[0] % 3);
}

TEST(AnalyzerWholeStreamTest, ChannelsHaveTempiAndBeatsOfTheirOwn) {
    const std::vector<float> left = test::Drums(12, 120, 3);
    const std::vector<float> right = test::Drums(12, 150, 3);
    WholeRun both({"global tempo", "beat data"}, 2);
    both.push({left, right});
    EXPECT_EQ(finish(both).status, 0);
    EXPECT_EQ(both.only("global tempo").value("global tempo 1", 0), 120);
    EXPECT_EQ(both.only("global tempo").value("global tempo 1", 1), 150);
    WholeRun alone({"beat data"});
    alone.push({right});
    EXPECT_EQ(finish(alone).status, 0);
    EXPECT_EQ(both.only("beat data").events.at(1), alone.only("beat data").events.at(0));
    EXPECT_NE(both.only("beat data").events.at(0), both.only("beat data").events.at(1));
}

TEST(AnalyzerWholeStreamTest, CopiesOutliveTheAnalyzer) {
    std::vector<Event> events;
    StoredResult stored;
    {
        Analyzer analyzer({"beat data"}, {.sampleRateHz = 44100, .maxFrames = 1 << 20});
        analyzer.onResult([&](const Result& result) {
            events = result.events();
            stored = result.store();
        });
        analyzer.push(test::Drums(6, 120, 4));
        analyzer.finish();
    }
    EXPECT_GE(events.size(), 11u);
    EXPECT_EQ(stored.events.at(0), events);
}

TEST(AnalyzerWholeStreamTest, AShortStreamSilenceAndNaNHaveNoTempoAndSaySo) {
    std::vector<float> spoiled = test::Drums(6, 120, 4);
    spoiled[1000] = std::numeric_limits<float>::quiet_NaN();
    for (const std::vector<float>& samples :
         {test::Drums(2, 120, 4), std::vector<float>(4 * 44100), spoiled, std::vector<float>()}) {
        WholeRun run(kRhythm);
        if (!samples.empty()) {
            run.push({samples});
        }
        const Outcome outcome = finish(run);
        EXPECT_EQ(outcome.status, kStatusNoTempo);
        EXPECT_NE(outcome.text.find("no tempo found"), std::string::npos) << outcome.text;
        EXPECT_TRUE(run.order.empty());
    }
}

TEST(AnalyzerWholeStreamTest, TheShortestStreamWithATempoIsThatOfTheDocumentedLength) {
    // round(2.1 * 44100 / 128) frames.
    constexpr std::size_t kLeast = 1024 + 128 * (724 - 1);
    const std::vector<float> samples = test::Drums(3, 220, 4);
    WholeRun enough(kTempoAlone);
    enough.push({{samples.begin(), samples.begin() + kLeast}});
    EXPECT_EQ(finish(enough).status, 0);
    EXPECT_EQ(enough.order, kTempoAlone);
    WholeRun tooShort(kTempoAlone);
    tooShort.push({{samples.begin(), samples.begin() + kLeast - 1}});
    EXPECT_EQ(finish(tooShort).status, kStatusNoTempo);
}

TEST(AnalyzerWholeStreamTest, WithoutAMeterTheMeterIsZeroAndTheErrorSaysSo) {
    WholeRun run({"global number of beats per bar"});
    run.push({std::vector<float>(4 * 44100)});
    const Outcome outcome = finish(run);
    EXPECT_EQ(outcome.status, kStatusNoMeter);
    EXPECT_NE(outcome.text.find("no number of beats per bar found"), std::string::npos);
    EXPECT_EQ(run.only("global number of beats per bar").counts, std::vector<std::uint32_t>{0});
}

TEST(AnalyzerWholeStreamTest, ResultsOfOtherGroupsStayWhenThereIsNoTempo) {
    WholeRun run({"global tempo", "spectrum flux properties"});
    run.push({std::vector<float>(4096)});
    EXPECT_EQ(finish(run).status, kStatusNoTempo);
    EXPECT_EQ(run.results["spectrum flux properties"].size(), 7u); // (4096 - 1024) / 512 + 1
}

TEST(AnalyzerWholeStreamTest, AStopReachesTheLibraryAndNothingIsDelivered) {
    WholeRun run(kTempoAlone);
    run.push({test::Drums(4, 120, 4)});
    int reports = 0;
    EXPECT_FALSE(run.analyzer.finish([&](float) {
        ++reports;
        return false;
    }));
    EXPECT_EQ(reports, 1);
    EXPECT_TRUE(run.order.empty());
    // What was stored is still there.
    EXPECT_EQ(finish(run).status, 0);
    EXPECT_EQ(run.order, kTempoAlone);
}

TEST(AnalyzerWholeStreamTest, AStopInTheSearchForTheMeterIsNoError) {
    WholeRun run({"global number of beats per bar"});
    run.push({test::Drums(12, 120, 3)});
    EXPECT_FALSE(run.analyzer.finish([](float percent) { return percent < 20; }));
    EXPECT_TRUE(run.order.empty());
}

TEST(AnalyzerWholeStreamTest, AnExceptionOfTheProgressCallbackStopsTheLibraryToo) {
    WholeRun run(kTempoAlone);
    run.push({test::Drums(4, 120, 4)});
    EXPECT_THROW(run.analyzer.finish([](float) -> bool { throw 7; }), int);
    EXPECT_TRUE(run.order.empty());
    // A library that had gone on would have delivered, into the void, and begun anew.
    EXPECT_EQ(finish(run).status, 0);
    EXPECT_EQ(run.order, kTempoAlone);
}

TEST(AnalyzerWholeStreamTest, ProgressStaysWithinItsPercentages) {
    WholeRun run(kRhythm);
    run.push({test::Drums(12, 120, 3)});
    std::vector<float> reports;
    EXPECT_TRUE(run.analyzer.finish([&](float percent) {
        reports.push_back(percent);
        return true;
    }));
    ASSERT_GT(reports.size(), 10u);
    EXPECT_GE(*std::min_element(reports.begin(), reports.end()), 0);
    EXPECT_EQ(*std::max_element(reports.begin(), reports.end()), 100);
    EXPECT_EQ(reports.back(), 100);
}

TEST(AnalyzerWholeStreamTest, TooLittleAudioForAResultBeforeTheEndIsAnError) {
    Analyzer analyzer(kTempoAlone,
                      {.sampleRateHz = 44100, .maxFrames = 4410, .lengthFrames = 44100 * 4});
    analyzer.push(test::Noise(4410, 1.0f, 1));
    try {
        analyzer.process();
        FAIL() << "no error";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), kAudioAnalysisErr_NotEnoughData);
    }
}

TEST(AnalyzerWholeStreamTest, ASecondStretchCarriesOnFromTheLastFrameOfTheFirst) {
    const std::vector<float> samples = test::Drums(6, 120, 4);
    std::vector<StoredResult> results;
    Analyzer analyzer({"beat data"}, {.sampleRateHz = 44100,
                                      .maxFrames = 1 << 20,
                                      .lengthFrames = static_cast<std::uint32_t>(samples.size())});
    analyzer.onResult([&](const Result& result) { results.push_back(result.store()); });
    analyzer.push(samples);
    EXPECT_TRUE(analyzer.process());
    analyzer.push(samples);
    EXPECT_TRUE(analyzer.finish());
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[1].frameIndex, 1u);
    EXPECT_EQ(results[1].timeSeconds, 0);
    // Samples that had made no frame of the first stretch do not count in the second one's times.
    const std::size_t frames = (samples.size() - 1024) / 128 + 1;
    const std::vector<Event>& first = results[0].events.at(0);
    const std::vector<Event>& second = results[1].events.at(0);
    ASSERT_EQ(second.size(), first.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        // Two roundings of doubles of some seconds.
        EXPECT_NEAR(second[i].timeSeconds,
                    first[i].timeSeconds + static_cast<double>(frames) * kHopSeconds, 1e-12);
    }
}

TEST(AnalyzerWholeStreamTest, GenreHintOfZeroLooksForSlowTempi) {
    WholeRun run(kTempoAlone);
    EXPECT_EQ(run.analyzer.parameterNames(), Keys{"Genre Hint"});
    EXPECT_EQ(run.analyzer.parameter("Genre Hint"), 1);
    run.analyzer.setParameter("Genre Hint", 0);
    EXPECT_EQ(run.analyzer.parameter("Genre Hint"), 0);
    run.push({test::Drums(12, 120, 1)});
    EXPECT_EQ(finish(run).status, 0);
    // 120 lies beyond the 110 BPM of that range: every other stroke is a beat, or every fourth.
    const StoredResult& tempo = run.only("global tempo");
    EXPECT_EQ(tempo.value("global tempo 1"), 60);
    EXPECT_EQ(tempo.value("global tempo 2"), 30);
}

TEST(AnalyzerWholeStreamTest, ResetStartsAStreamThatGivesTheSameResult) {
    WholeRun run(kTempoAlone);
    for (int stream = 0; stream < 2; ++stream) {
        run.push({test::Drums(4, 120, 4)});
        EXPECT_EQ(finish(run).status, 0);
        run.analyzer.reset();
    }
    const auto& results = run.results["global tempo"];
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[1].frameIndex, 0u);
    EXPECT_EQ(results[0].channels, results[1].channels);
}

} // namespace
} // namespace qel
