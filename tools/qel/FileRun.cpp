#include "tools/qel/FileRun.h"

#include "output/files/FileIdentities.h"
#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"
#include "tools/qel/StandardStreams.h"
#include "tools/qel/ToolError.h"

#include <QelAudioAnalysis/Error.hpp>
#include <QelMedia.hpp>

#include <fmt/format.h>

#include <new>
#include <unistd.h>

namespace qel::tool {
namespace {

constexpr const char* kCodecWithMemory = "codec2"; // its decoder draws random phases

} // namespace

void RefuseToOverwriteInput(const std::vector<std::string>& files, const std::string& output) {
    const bool isStandard = output == "-";
    for (const std::string& file : files) {
        const output::FileIdentities input({file});
        if (isStandard && input.HasDescriptor(STDOUT_FILENO)) {
            throw UsageError(
                fmt::format("standard output is one of the files to analyze: {}", file));
        }
        if (!isStandard && input.HasPath(output)) {
            throw UsageError(fmt::format("--output {} is one of the files to analyze", file));
        }
    }
}

FileWarnings::FileWarnings() : mIsProcessSpent(media::isProcessSpent()) {}

std::vector<std::string> FileWarnings::Of(const media::Report& report) const {
    std::vector<std::string> lines;
    for (const media::Warning& warning : report.warnings) {
        lines.push_back(warning.text);
    }
    if (mIsProcessSpent && report.codec == kCodecWithMemory) {
        lines.emplace_back("its results depend on the Codec 2 files before it; run the command for "
                           "it alone, or use qel batch");
    }
    return lines;
}

bool TryFile(const std::string& path, ProgressBar& progress,
             const std::function<std::vector<std::string>()>& work,
             const std::function<void(const std::string& reason)>& fail) {
    const auto say = [&](const std::string& line) {
        progress.Clear();
        StandardStreams::Complain(fmt::format("{}: {}", path, line));
    };
    std::string reason;
    try {
        for (const std::string& warning : work()) {
            say(fmt::format("warning: {}", warning));
        }
        return true;
    } catch (const output::OutputError&) {
        throw;
    } catch (const output::OutputExists& error) {
        reason = error.what();
    } catch (const ToolError& error) {
        reason = error.what();
    } catch (const media::Error& error) {
        if (error.fault() == media::Fault::Cancelled) {
            output::Interrupt::Check();
        }
        reason = error.what();
    } catch (const Error& error) {
        reason = error.what();
    } catch (const std::bad_alloc&) { // all that was taken for this file has been given back
        reason = "out of memory";
    }
    say(reason);
    fail(reason);
    return false;
}

} // namespace qel::tool
