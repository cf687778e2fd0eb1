// "tempo" of several channels, of silence, and what a curve without peaks repeats.

#include "tests/rhythm/tempomap/TempoTesting.h"

#include <algorithm>

namespace qel::test {
namespace {

constexpr std::size_t kLength = 12 * 44100;

void ExpectAgreement(const Audio& audio) {
    TestAnalyzer analyzer({kRunningTempoKey},
                          {kAccentTestRate, static_cast<UInt32>(audio.size()), 4096, 0});
    analyzer.PushInBlocks(audio, 4096);
    const std::vector<std::vector<TempoStep>> expected = ReferenceTempi(audio);
    for (std::size_t c = 0; c < audio.size(); ++c) {
        SCOPED_TRACE(c);
        ExpectTempi(expected[c], Tempi(analyzer, c));
    }
}

std::vector<std::vector<float>> ChannelTempi(const Audio& audio) {
    TestAnalyzer analyzer({kRunningTempoKey},
                          {kAccentTestRate, static_cast<UInt32>(audio.size()), 4096, 0});
    analyzer.PushInBlocks(audio, 4096);
    std::vector<std::vector<float>> tempi;
    for (std::size_t c = 0; c < audio.size(); ++c) {
        tempi.push_back(Tempi(analyzer, c));
    }
    return tempi;
}

Audio Together(const std::vector<Audio>& channels) {
    Audio audio;
    for (const Audio& channel : channels) {
        audio.push_back(channel.at(0));
    }
    return audio;
}

// As long as every channel's curve has a peak, no channel repeats what another one found.
TEST(TempoMapChannelsStreamTest, ChannelsWithPeaksAreIndependent) {
    const Audio audio =
        Together({Clicks(86 * kAccentSamples, kLength), MusicLike(kAccentTestRate, 1, kLength, 8),
                  Clicks(104 * kAccentSamples, kLength)});
    const std::vector<std::vector<TempoStep>> reference = ReferenceTempi(audio);
    const std::vector<std::vector<float>> together = ChannelTempi(audio);
    for (std::size_t c = 0; c < audio.size(); ++c) {
        const std::vector<float> alone = TempiOf({audio[c]});
        ASSERT_EQ(alone.size(), together[c].size());
        std::size_t compared = 0;
        for (std::size_t n = 0; n < alone.size(); ++n) {
            // Where rounding might take the only peak, it might take it in both.
            if (!reference[c][n].peakLags.empty() && reference[c][n].possibleBPM.size() == 1) {
                ASSERT_EQ(alone[n], together[c][n]) << "channel " << c << ", accent " << n;
                ++compared;
            }
        }
        EXPECT_GT(compared, alone.size() * 3 / 4) << "channel " << c;
    }
    EXPECT_EQ(120.0f, together[0].back());
    EXPECT_EQ(10320.0f / 104.0f, together[2].back());
}

// One list of peaks serves all channels: a channel without peaks repeats whatever won last.
TEST(TempoMapChannelsStreamTest, ASilentChannelRepeatsTheWinnerOfTheChannelBeforeIt) {
    const std::vector<std::vector<float>> tempi =
        ChannelTempi(Together({Clicks(86 * kAccentSamples, kLength), Silence(1, kLength)}));
    EXPECT_EQ(120.0f, tempi[0].back());
    EXPECT_EQ(tempi[0], tempi[1]);
}

TEST(TempoMapChannelsStreamTest, ASilentFirstChannelRepeatsTheWinnerOfTheAccentBefore) {
    const std::vector<std::vector<float>> tempi =
        ChannelTempi(Together({Silence(1, kLength), MusicLike(kAccentTestRate, 1, kLength, 2)}));
    EXPECT_EQ(kLowestBPM, tempi[0][0]);
    for (std::size_t n = 1; n < tempi[0].size(); ++n) {
        ASSERT_EQ(tempi[1][n - 1], tempi[0][n]) << n;
    }
    EXPECT_GT(std::set<float>(tempi[0].begin(), tempi[0].end()).size(), 3u);
}

TEST(TempoMapChannelsStreamTest, ChannelsThatFallSilentInTurnAgreeWithTheRecomputation) {
    const Audio music = MusicLike(kAccentTestRate, 2, Seconds(5.0), 6);
    const Audio silence = Silence(1, Seconds(5.0));
    ExpectAgreement({Joined({music[0]}, silence)[0], Joined(silence, {music[1]})[0]});
}

// Not until an index has a whole window of others below it, is it a peak: the first one is at lag
// 21, so nothing can be found in less than as many accents.
TEST(TempoMapChannelsStreamTest, TheFirstAccentsHaveTheLowestTempo) {
    const std::vector<float> tempi = TempiOf(MusicLike(kAccentTestRate, 1, Seconds(4.0)));
    for (std::size_t n = 0; n < 20; ++n) {
        EXPECT_EQ(kLowestBPM, tempi[n]) << n;
    }
    EXPECT_NE(kLowestBPM, tempi.back());
}

// Silence keeps all accents, combs and energies at zero.
TEST(TempoMapChannelsStreamTest, SilenceInFrontOnlyDelaysTheTempi) {
    constexpr std::size_t kFrames = 301;
    const Audio music = MusicLike(kAccentTestRate, 1, Seconds(6.0));
    // The frames that reach over into the music begin with the first hop of it.
    Audio audio = Joined(Silence(1, kFrames * kAccentHopSize), music);
    const std::vector<float> late = TempiOf(audio);
    const std::vector<float> whole = TempiOf(Joined(Silence(1, 1 * kAccentHopSize), music));
    ASSERT_EQ(whole.size() + 2 * (kFrames - 1), late.size());
    for (std::size_t n = 0; n < late.size(); ++n) {
        const std::size_t start = 2 * (kFrames - 1);
        ASSERT_EQ(n < start ? kLowestBPM : whole[n - start], late[n]) << n;
    }
}

TEST(TempoMapChannelsStreamTest, SilenceAfterSoundKeepsATempo) {
    const Audio audio =
        Joined(Clicks(86 * kAccentSamples, Seconds(10.0)), Silence(1, Seconds(60.0)));
    const std::vector<float> tempi = TempiOf(audio);
    // The curve sinks below zero at last, and on its way there rounding decides a lot.
    const std::size_t compared = AccentAt(14.0);
    std::vector<TempoStep> reference =
        ReferenceTempi({{audio[0].begin(), audio[0].begin() + static_cast<long>(Seconds(15.0))}})
            .at(0);
    reference.resize(compared);
    ExpectTempi(reference, {tempi.begin(), tempi.begin() + static_cast<long>(compared)});
    for (const float tempo : tempi) {
        ASSERT_GE(tempo, kLowestBPM);
        ASSERT_LE(tempo, kHighestBPM);
    }
    // Once only the leaky energy is left, the curve falls with the lag and has no peak.
    for (std::size_t n = tempi.size() / 2; n < tempi.size(); ++n) {
        ASSERT_EQ(tempi.back(), tempi[n]) << n;
    }
}

// The leaky energy halves every 516 accents, and leaves the normal numbers after six minutes.
TEST(TempoMapChannelsStreamTest, MinutesOfSilenceKeepTheTempo) {
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    analyzer.PushInBlocks(Clicks(86 * kAccentSamples, Seconds(10.0)), 4096);
    const Audio silence = Silence(1, Seconds(60.0));
    analyzer.PushInBlocks(silence, 4096);
    const float kept = Tempi(analyzer).back();
    for (int minute = 1; minute < 9; ++minute) {
        analyzer.Forget();
        analyzer.PushInBlocks(silence, 4096);
        for (const float tempo : Tempi(analyzer)) {
            ASSERT_EQ(kept, tempo) << "minute " << minute;
        }
    }
    // And the next sound is heard.
    analyzer.PushInBlocks(Clicks(104 * kAccentSamples, Seconds(10.0)), 4096);
    EXPECT_EQ(10320.0f / 104.0f, Tempi(analyzer).back());
}

} // namespace
} // namespace qel::test
