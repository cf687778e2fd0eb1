#include "page/FileReader.h"

#include "output/formats/Texts.h"

#include <fmt/format.h>

#include <algorithm>

namespace qel::page {

readings::Reader ReaderOf(std::span<const readings::Reading> asked, const media::Reader& file) {
    const std::int64_t length = std::max<std::int64_t>(file.expectedFrames(), 0);
    try {
        return {asked,
                {.sampleRateHz = static_cast<double>(file.sampleRateHz()),
                 .channels = static_cast<std::uint32_t>(file.channels()),
                 .lengthFrames = static_cast<std::uint64_t>(length)}};
    } catch (const std::invalid_argument&) {
        throw SongError(
            fmt::format("has {} at {} Hz; 1 to 64 channels at 8000 to 768000 "
                        "Hz can be read",
                        output::CountText(static_cast<std::int64_t>(file.channels()), "channel"),
                        file.sampleRateHz()));
    }
}

} // namespace qel::page
