#include "media/checks/MovieTiming.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

namespace qel::media {
namespace {

constexpr std::int64_t kTrack = 7;

std::string Number(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) {
        text += static_cast<char>(i < 8 ? value >> (8 * i) & 0xFF : 0);
    }
    return text;
}

std::string Box(const std::string& name, const std::string& content) {
    return Number(8 + content.size(), 4) + name + content;
}

// "mvhd" and "mdhd": version, dates, clock, duration.
std::string ClockBox(const std::string& name, std::uint64_t clock, std::uint64_t duration,
                     bool wide = false) {
    const int bytes = wide ? 8 : 4;
    return Box(name, Number(wide ? 1 << 24 : 0, 4) + Number(0, 2 * bytes) + Number(clock, 4) +
                         Number(duration, bytes));
}

std::string EditBox(const std::string& entries, std::uint64_t count) {
    return Box("edts", Box("elst", Number(0, 4) + Number(count, 4) + entries));
}

std::string Edit(std::uint64_t duration, std::uint64_t mediaTime) {
    return Number(duration, 4) + Number(mediaTime, 4) + Number(1 << 16, 4);
}

std::string Track(std::uint64_t id, const std::string& edits, const std::string& clock) {
    return Box("trak", Box("tkhd", Number(0, 12) + Number(id, 4)) + edits + Box("mdia", clock));
}

std::optional<MovieTiming> Read(const std::string& file) {
    std::istringstream stream(file);
    return MovieTiming::Read(stream, kTrack);
}

// 14700 samples at 44100 Hz are 333.33 ms; the movie's clock of milliseconds says 333.
std::string RoundedMovie(const std::string& more = "") {
    return Box("ftyp", "M4A ") + Box("mdat", "audio") +
           Box("moov", ClockBox("mvhd", 1000, 334) +
                           Track(3, EditBox(Edit(1, 0), 1), ClockBox("mdhd", 600, 1)) +
                           Track(kTrack, EditBox(Edit(333, 1024), 1),
                                 ClockBox("mdhd", 44100, 1024 + 14700)) +
                           more);
}

TEST(MovieTimingTest, TheTracksClockTellsWhatTheMoviesClockRounded) {
    const auto timing = Read(RoundedMovie());
    ASSERT_TRUE(timing.has_value());
    EXPECT_EQ(timing->length, 14700);
    EXPECT_EQ(timing->clock, 44100);
}

TEST(MovieTimingTest, WideFieldsAreReadAsWell) {
    const auto timing = Read(Box("moov", ClockBox("mvhd", 1000, 334, true) +
                                             Track(kTrack, EditBox(Edit(333, 1024), 1),
                                                   ClockBox("mdhd", 44100, 15724, true))));
    ASSERT_TRUE(timing.has_value());
    EXPECT_EQ(timing->length, 14700);
}

TEST(MovieTimingTest, APauseInFrontIsPassedOver) {
    const auto timing =
        Read(Box("moov", ClockBox("mvhd", 1000, 334) +
                             Track(kTrack, EditBox(Edit(50, 0xFFFFFFFF) + Edit(333, 1024), 2),
                                   ClockBox("mdhd", 44100, 15724))));
    ASSERT_TRUE(timing.has_value());
    EXPECT_EQ(timing->length, 14700);
}

TEST(MovieTimingTest, AnEditThatEndsBeforeTheTrackIsLeftToOthers) {
    // 330 ms end 147 samples before the track does, more than a millisecond's 44.1.
    EXPECT_FALSE(
        Read(Box("moov", ClockBox("mvhd", 1000, 330) + Track(kTrack, EditBox(Edit(330, 1024), 1),
                                                             ClockBox("mdhd", 44100, 15724)))));
}

TEST(MovieTimingTest, SeveralEditsAreLeftToOthers) {
    EXPECT_FALSE(Read(Box("moov", ClockBox("mvhd", 1000, 333) +
                                      Track(kTrack, EditBox(Edit(100, 0) + Edit(333, 1024), 2),
                                            ClockBox("mdhd", 44100, 15724)))));
}

TEST(MovieTimingTest, AFragmentedFileDoesNotKnowItsLength) {
    EXPECT_FALSE(Read(RoundedMovie(Box("mvex", ""))));
}

std::string Repeated(const std::string& text, std::size_t times) {
    std::string repeated;
    for (std::size_t i = 0; i < times; ++i) {
        repeated += text;
    }
    return repeated;
}

TEST(MovieTimingTest, AFewThousandBoxesInFrontArePassedOver) {
    EXPECT_TRUE(Read(Repeated(Box("free", ""), 5000) + RoundedMovie()).has_value());
}

// Each is a read of its own, and a file of the usual size has room for millions.
TEST(MovieTimingTest, BoxesAndPausesBeyondReasonAreNotFollowed) {
    constexpr std::size_t kMany = 200000;
    EXPECT_FALSE(Read(Repeated(Box("free", ""), kMany) + RoundedMovie()).has_value());
    const std::string pauses = Repeated(Edit(0, 0xFFFFFFFF), kMany);
    EXPECT_FALSE(Read(Box("moov", ClockBox("mvhd", 1000, 334) +
                                      Track(kTrack, EditBox(pauses + Edit(333, 1024), kMany + 1),
                                            ClockBox("mdhd", 44100, 15724))))
                     .has_value());
}

TEST(MovieTimingTest, EveryCutOfAFileIsReadWithoutFault) {
    const std::string whole = RoundedMovie();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(Read(whole.substr(0, size)).has_value()) << size;
    }
}

TEST(MovieTimingTest, EveryByteMayBeDamagedWithoutFault) {
    const std::string whole = RoundedMovie();
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (const char damage : {'\xFF', '\x80', '\0'}) {
            std::string damaged = whole;
            damaged[i] = damage;
            const auto timing = Read(damaged);
            EXPECT_TRUE(!timing.has_value() || timing->length > 0) << i;
        }
    }
}

} // namespace
} // namespace qel::media
