#pragma once

#include <QelMedia.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace qel::tool {

// The command line of "qel batch", before it is checked.
struct BatchOptions {
    std::vector<std::string> sources;
    std::vector<std::string> lists;
    std::vector<std::string> matches;
    std::vector<std::string> keyLists;
    std::vector<std::string> readings; // comma-separated lists of words
    std::vector<std::string> parameters;
    std::string out;
    std::string shard = "1/1";
    std::string fileList; // a list that --list-only has written
    media::ChannelMix mix = media::ChannelMix::Mono;
    std::uint32_t blockSamples = 4096;
    unsigned int jobs = 0;       // 0: one for each processor
    unsigned int slurmTasks = 0; // 0: run here; otherwise write a script for so many
    double timeLimitSeconds = 900;
    std::uint64_t memoryLimitMiB = 4096;
    bool isNullSeparated = false;
    bool listsOnly = false;
    bool allKeys = false;
    bool hashes = false;
    bool retriesErrors = false;
    bool quiet = false;
};

// The command line of "qel merge".
struct MergeOptions {
    std::vector<std::string> datasets;
    std::string out;
    bool replaces = false;
};

} // namespace qel::tool
