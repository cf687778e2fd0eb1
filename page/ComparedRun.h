#pragma once

#include <nlohmann/json_fwd.hpp>

#include <stdexcept>
#include <string>
#include <vector>

namespace qel::page {

// A file that has no run to compare with. what() is one line that names the file and says what to
// do.
struct RunError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Another run over a song: by another version, or with other parameters.
struct ComparedRun {
    struct Stretch {
        double beginSeconds = 0;
        double endSeconds = 0;
        std::string key;
    };

    std::string file;       // name of the song's file; empty: not known
    std::string label;      // shown; the name of its file and what wrote it
    double tempoBpm = 0;    // 0: none
    double beatsPerBar = 0; // 0: none
    std::string key;        // empty: none
    std::vector<double> beatSeconds;
    std::vector<double> downBeatSeconds;
    std::vector<Stretch> keySegments;
};

// From a document of "qel read --format json --beats", with or without "--key-segments". Of several
// songs in it, the one whose file has the name of `song` is taken. Throws RunError.
ComparedRun ReadComparedRun(const std::string& path, const std::string& song);

// What the page says about runs, beside the blocks of their beats.
nlohmann::ordered_json DescribeRuns(const std::vector<ComparedRun>& runs);

} // namespace qel::page
