#include "tools/read/FileReadings.h"

#include "output/files/Interrupt.h"
#include "output/formats/Texts.h"
#include "tools/qel/FileAnalyzer.h"
#include "tools/qel/ToolError.h"

#include <QelMedia.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace qel::tool {
namespace {

readings::Reader MakeReader(std::span<const readings::Reading> asked, const media::Reader& file) {
    const std::int64_t length = std::max<std::int64_t>(file.expectedFrames(), 0);
    try {
        return {asked,
                {.sampleRateHz = static_cast<double>(file.sampleRateHz()),
                 .channels = static_cast<std::uint32_t>(file.channels()),
                 .lengthFrames = static_cast<std::uint64_t>(length)}};
    } catch (const std::invalid_argument&) {
        throw ToolError(
            fmt::format("has {} at {} Hz; 1 to 64 channels at 8000 to 768000 "
                        "Hz can be read",
                        output::CountText(static_cast<std::int64_t>(file.channels()), "channel"),
                        file.sampleRateHz()));
    }
}

} // namespace

FileReadings ReadOneFile(const std::string& path, std::span<const readings::Reading> asked,
                         ProgressBar& progress) {
    media::Reader file(path, {.isCancelled = output::Interrupt::IsRequested});
    readings::Reader reader = MakeReader(asked, file);
    FileReadings found;
    found.path = path;
    found.sampleRateHz = file.sampleRateHz();
    found.channels = file.channels();
    progress.Begin(path, file.expectedFrames(), file.sampleRateHz());
    std::int64_t frames = 0;
    for (media::Block block = file.read(); block.frames > 0; block = file.read()) {
        reader.push(block.channels, block.frames);
        frames += static_cast<std::int64_t>(block.frames);
        progress.Advance(frames);
    }
    {
        const output::Interrupt::AtOnce atOnce; // what follows cannot be asked to stop
        found.answers = reader.finish();
    }
    const media::Report report = file.report();
    found.decoder = FactsOf(report);
    for (const media::Warning& warning : report.warnings) {
        found.warnings.push_back(warning.text);
    }
    for (const std::string& warning : found.answers.warnings()) {
        found.warnings.push_back(warning);
    }
    progress.Clear();
    return found;
}

} // namespace qel::tool
