#include <QelReadings.hpp>

namespace qel::readings {

std::vector<std::string> Answers::warnings() const {
    std::vector<std::string> lines;
    if (channelsCancel) {
        lines.emplace_back("the two channels are of opposite phase and cancel in their mean; only "
                           "the first was read, except for the loudness");
    }
    return lines;
}

} // namespace qel::readings
