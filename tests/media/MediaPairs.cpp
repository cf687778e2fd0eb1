#include "tests/media/MediaPairs.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TestAudio.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qel::media {

using namespace test;
std::vector<MediaPair> MediaPairs() {
    std::ifstream list(QEL_MEDIA_PAIRS);
    std::vector<MediaPair> pairs;
    for (std::string line; std::getline(list, line);) {
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        std::istringstream words(line);
        MediaPair& pair = pairs.emplace_back();
        words >> pair.name >> pair.rateHz >> pair.channels;
        for (std::string word; words >> word;) {
            pair.arguments.push_back(word);
        }
    }
    return pairs;
}

std::vector<MediaPair> MediaPairs(const std::vector<std::string>& names) {
    const std::vector<MediaPair> all = MediaPairs();
    std::vector<MediaPair> chosen;
    for (const std::string& name : names) {
        const auto found = std::find_if(all.begin(), all.end(),
                                        [&](const MediaPair& pair) { return pair.name == name; });
        if (found == all.end()) {
            throw std::runtime_error("no pair " + name);
        }
        chosen.push_back(*found);
    }
    return chosen;
}

void EncodePairs(const std::vector<MediaPair>& pairs, std::size_t frames,
                 const TempDirectory& directory) {
    const std::string wav = directory.File("audio.in");
    std::vector<float> right = Noise(frames, 0.4f);
    std::reverse(right.begin(), right.end());
    WriteWav(wav, 44100, {Noise(frames, 0.3f), right});
    std::vector<std::string> command{"ffmpeg", "-nostdin", "-v", "error", "-y", "-i", wav};
    for (const MediaPair& pair : pairs) {
        for (const std::string& word :
             {std::string("-ar"), pair.rateHz, std::string("-ac"), pair.channels}) {
            command.push_back(word);
        }
        command.insert(command.end(), pair.arguments.begin(), pair.arguments.end());
        command.push_back(directory.File("audio." + pair.name));
    }
    const ChildResult result = RunChild(command);
    if (result.status != 0) {
        throw std::runtime_error("ffmpeg: " + result.err);
    }
}

} // namespace qel::media
