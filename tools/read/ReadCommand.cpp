#include "tools/read/ReadCommand.h"

#include "output/files/AtomicFile.h"
#include "output/files/OutputDirectory.h"
#include "output/files/OutputError.h"
#include "tools/qel/FileRun.h"
#include "tools/qel/ToolError.h"
#include "tools/read/FileReadings.h"
#include "tools/read/ReadingFormat.h"

#include <filesystem>
#include <optional>
#include <unistd.h>

namespace qel::tool {
namespace {

// The text of a run, in the file that takes it.
class ReadingOutput {
public:
    explicit ReadingOutput(const ReadOptions& options)
        : mDirectory(DirectoryOf(options.output)),
          mFile(options.output,
                options.overwrite ? output::Existing::Replace : output::Existing::Refuse),
          mFormat(MakeReadingFormat(options)) {
        mFile.Sink().Append(mFormat->Begin());
    }

    void Add(const FileReadings& file) {
        const std::string entry = mFormat->Entry(file, mIsFirst);
        mIsFirst = mIsFirst && entry.empty();
        mFile.Sink().Append(entry);
        mFile.Sink().Flush();
    }

    void Finish() {
        mFile.Sink().Append(mFormat->End());
        mFile.Commit();
    }

private:
    static std::optional<std::filesystem::path> DirectoryOf(const std::string& path) {
        return path == "-" ? std::nullopt
                           : std::optional(std::filesystem::path(path).parent_path());
    }

    std::optional<output::OutputDirectory> mDirectory; // outlives the file
    output::AtomicFile mFile;
    std::unique_ptr<ReadingFormat> mFormat;
    bool mIsFirst = true;
};

} // namespace

int RunRead(const ReadOptions& options) {
    const std::vector<readings::Reading> asked = AskedReadings(options);
    RequireListsFit(options);
    if (options.output.empty()) {
        throw UsageError("--output is empty");
    }
    RefuseToOverwriteInput(options.files, options.output);
    ReadingOutput output(options);
    ProgressBar progress(STDERR_FILENO, isatty(STDERR_FILENO) != 0 && !options.quiet);
    bool good = true;
    for (const std::string& path : options.files) {
        const auto read = [&] {
            const FileReadings file = ReadOneFile(path, asked, progress);
            output.Add(file);
            return file.warnings;
        };
        const auto fail = [&](const std::string& reason) {
            FileReadings failed;
            failed.path = path;
            failed.error = reason;
            output.Add(failed);
        };
        good = TryFile(path, progress, read, fail) && good;
    }
    output.Finish();
    return good ? kExitSuccess : kExitFailure;
}

} // namespace qel::tool
