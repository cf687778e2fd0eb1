#pragma once

#include "page/ComparedRun.h"
#include "page/pictures/Picture.h"
#include "page/pictures/WaveformBuilder.h"

#include <QelMedia.hpp>
#include <QelReadings.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace qel::page {

// Everything that the page of a song shows, but its sound.
struct Song {
    std::string path;
    double sampleRateHz = 0;
    std::size_t channels = 0; // of the file
    std::int64_t frames = 0;
    std::uint64_t bytes = 0; // size of the file
    media::Report report;
    readings::Answers answers;
    Waveform waveform;
    std::map<std::string, Picture> pictures; // by the id of the lane
    std::vector<ComparedRun> runs;           // to compare with, beside this one
};

} // namespace qel::page
