#include "tools/read/FileReadings.h"

#include "output/files/Interrupt.h"
#include "page/FileReader.h"
#include "tools/qel/FileAnalyzer.h"
#include "tools/qel/FileRun.h"
#include "tools/qel/ToolError.h"

#include <QelMedia.hpp>

namespace qel::tool {
FileReadings ReadOneFile(const std::string& path, std::span<const readings::Reading> asked,
                         ProgressBar& progress) try {
    const FileWarnings fileWarnings;
    media::Reader file(path, {.isCancelled = output::Interrupt::IsRequested});
    readings::Reader reader = page::ReaderOf(asked, file);
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
    found.warnings = fileWarnings.Of(report);
    for (const std::string& warning : found.answers.warnings()) {
        found.warnings.push_back(warning);
    }
    progress.Clear();
    return found;
} catch (const page::SongError& error) {
    throw ToolError(error.what());
}

} // namespace qel::tool
