// Any bytes as an audio file for "qel analyze": what it answers is JSON of the documented shape,
// and fits the status and standard error.

#include "tests/fuzz/JsonShape.h"
#include "tests/fuzz/MemoryFile.h"
#include "tests/fuzz/Require.h"
#include "tools/qel/AnalyzeCommand.h"
#include "tools/qel/ToolError.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

// Where a checker writes; standard error is the tool's while it works.
extern "C" [[gnu::weak]] void __sanitizer_set_report_fd(void* descriptor);

namespace {

using qel::fuzz::CheckEntry;
using qel::fuzz::MemoryFile;
using qel::fuzz::Require;
using Json = nlohmann::json;

constexpr std::size_t kOutcomes = 4096;
[[gnu::section("__libfuzzer_extra_counters")]] std::uint8_t gOutcomes[kOutcomes];

void NoteOutcome(const std::string& text) {
    gOutcomes[std::hash<std::string>()(text) % kOutcomes] = 1;
}

// A directory for results, for as long as the program runs.
class ResultDirectory {
public:
    ResultDirectory() {
        std::string name = std::filesystem::temp_directory_path() / "qel-fuzz.XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        mPath = name;
    }
    ~ResultDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    ResultDirectory(const ResultDirectory&) = delete;
    ResultDirectory& operator=(const ResultDirectory&) = delete;

    std::string File() const { return mPath / "results.json"; }

private:
    std::filesystem::path mPath;
};

// Has standard error go into memory.
class CapturedErrors {
public:
    CapturedErrors() : mOriginal(dup(STDERR_FILENO)) {
        if (__sanitizer_set_report_fd != nullptr) {
            __sanitizer_set_report_fd(reinterpret_cast<void*>(std::intptr_t{mOriginal}));
        }
        dup2(mFile.Descriptor(), STDERR_FILENO);
    }
    ~CapturedErrors() {
        dup2(mOriginal, STDERR_FILENO);
        if (__sanitizer_set_report_fd != nullptr) {
            __sanitizer_set_report_fd(reinterpret_cast<void*>(std::intptr_t{STDERR_FILENO}));
        }
        close(mOriginal);
    }
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    std::string Text() const { return mFile.Text(); }

private:
    MemoryFile mFile;
    int mOriginal;
};

struct Run {
    int status = -1;
    std::string errors;
};

Run Analyze(const qel::tool::AnalyzeOptions& options) {
    const CapturedErrors errors;
    Run run;
    run.status = qel::tool::RunAnalyze(options);
    run.errors = errors.Text();
    return run;
}

// The end of the bytes chooses what is asked, so that the front stays a file.
qel::tool::AnalyzeOptions OptionsFor(const std::string& path, const std::string& output,
                                     std::size_t choice) {
    static const char* const kKeys[] = {
        "temporal properties",
        "spectrum flux properties,generic spectrum properties",
        "audio range,temporal properties",
        "partials,spectrum",
        "onset data,global key,dominant key",
    };
    constexpr std::uint32_t kBlocks[] = {512, 4096, 65536};
    qel::tool::AnalyzeOptions options;
    options.files = {path};
    options.output = output;
    options.keyLists = {kKeys[choice % std::size(kKeys)]};
    options.blockSamples = kBlocks[choice / std::size(kKeys) % std::size(kBlocks)];
    options.mix = choice % 2 == 0 ? qel::media::ChannelMix::Mono : qel::media::ChannelMix::Keep;
    options.quiet = true;
    options.overwrite = true; // the results of the input before
    return options;
}

std::string ReadAll(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void CheckErrors(const Run& run, const Json& entry, const std::string& path) {
    const std::string start = "qel: " + path + ": ";
    if (entry.contains("error")) {
        Require(run.errors == start + entry["error"].get<std::string>() + "\n",
                "an error is one line, with the file's name and the same words");
        return;
    }
    std::istringstream lines(run.errors);
    for (std::string line; std::getline(lines, line);) {
        Require(line.starts_with(start + "warning: "), "what else is said is a warning");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ResultDirectory directory;
    qel::media::silenceLibraries();
    const MemoryFile file({data, size});
    const std::size_t choice = size > 0 ? data[size - 1] : 0;
    const Run run = Analyze(OptionsFor(file.Path(), directory.File(), choice));
    const Json document = Json::parse(ReadAll(directory.File()), nullptr, false);
    Require(!document.is_discarded(), "the results are JSON");
    Require(document.at("files").size() == 1, "a file has one entry");
    const Json& entry = document["files"][0];
    CheckEntry(entry);
    Require(run.status ==
                (entry.contains("error") ? qel::tool::kExitFailure : qel::tool::kExitSuccess),
            "the status tells of the error");
    CheckErrors(run, entry, file.Path());
    NoteOutcome(entry.value("error", entry.contains("decoder") ? entry["decoder"].dump() : ""));
    return 0;
}
