#pragma once

#include <string>
#include <vector>

namespace qel::page {

// One lane of the page: what is drawn over the time of a song.
struct Lane {
    std::string id;
    std::string kind;        // "waveform", "picture", "overlay", "strip", "curves"
    std::string source;      // a key, or what else it is made of
    int rows = 0;            // of a picture
    double spanDecibels = 0; // of a picture of levels; 0: values from 0 to 1
    double fullScale = 1;    // the value of a key that is 0 dB
};

// The sound of a click.
struct Click {
    double frequencyHz = 0;
    double seconds = 0;
    double gain = 0; // peak, 1 is full scale
};

// Moments that are drawn as lines and can be heard as clicks.
struct Mark {
    std::string id; // "beats", "downBeats", "onsets"
    Click click;
};

// The one list of lanes, which report/lanes.json has: the page draws them, the tool fills them.
class LaneList {
public:
    // The list that was built in.
    static const LaneList& Get();

    // Its text.
    static std::string Text();

    // From the text of such a file. Throws std::exception for one that is none.
    explicit LaneList(const std::string& json);

    const std::vector<Lane>& Lanes() const { return mLanes; }
    const std::vector<Mark>& Marks() const { return mMarks; }

    // Throw std::out_of_range for an id that is not in the list.
    const Lane& LaneOf(const std::string& id) const;
    const Mark& MarkOf(const std::string& id) const;

private:
    std::vector<Lane> mLanes;
    std::vector<Mark> mMarks;
};

} // namespace qel::page
