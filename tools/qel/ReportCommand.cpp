#include "tools/qel/ReportCommand.h"

#include "output/files/AtomicFile.h"
#include "output/files/OutputDirectory.h"
#include "output/files/OutputName.h"
#include "page/AudioCopy.h"
#include "page/ComparedRun.h"
#include "page/IndexPage.h"
#include "page/PageReader.h"
#include "page/SongCollector.h"
#include "page/SongDescription.h"
#include "page/SongPage.h"
#include "tools/qel/Arguments.h"
#include "tools/qel/FileRun.h"
#include "tools/qel/StandardStreams.h"
#include "tools/qel/ToolError.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>
#include <optional>
#include <unistd.h>

namespace qel::tool {
namespace {

constexpr std::size_t kMostRuns = 4; // to compare with: as many as a screen has lanes for

// Writes the pages of a run: of one song, or of several and the table of them.
class Reporter {
public:
    explicit Reporter(const ReportOptions& options)
        : mOptions(options), mTemplate(options.pageTemplate),
          mProgress(STDERR_FILENO, isatty(STDERR_FILENO) != 0 && !options.quiet) {}

    int Run() {
        for (const std::string& path : mOptions.compared) {
            AddRun(path);
        }
        const bool isOne = mOptions.files.size() == 1;
        if (!isOne) {
            RequireOnePageEach();
        }
        bool good = true;
        for (const std::string& path : mOptions.files) {
            good =
                Report(path, isOne ? std::filesystem::path(mOptions.output) : PageOf(path)) && good;
        }
        if (!isOne) {
            Write(mOptions.output, [&](page::PageWriter& page) { WriteIndexPage(page, mEntries); });
        }
        return good ? kExitSuccess : kExitFailure;
    }

private:
    // A run may be that of a copy in another format: its name is told, and it is taken.
    void AddRun(const std::string& path) {
        const std::string& song = mOptions.files.front();
        mRuns.push_back(page::ReadComparedRun(path, song));
        const std::string& its = mRuns.back().file;
        if (!its.empty() && its != std::filesystem::path(song).filename().string()) {
            StandardStreams::Complain(
                fmt::format("{}: warning: is a run over {}, not over {}", path, its, song));
        }
    }

    void RequireOnePageEach() const {
        std::map<std::string, std::string> files; // by their pages
        for (const std::string& path : mOptions.files) {
            const auto [at, isNew] = files.emplace(PageOf(path).string(), path);
            if (!isNew) {
                throw UsageError(at->second == path
                                     ? fmt::format("{}: is named twice; name each file once", path)
                                     : fmt::format("{} and {}: would have the same page; name "
                                                   "each file once",
                                                   at->second, path));
            }
        }
    }

    // "songs.html" has the pages of its songs in "songs-pages".
    std::filesystem::path Folder() const {
        const std::filesystem::path index(mOptions.output);
        return index.parent_path() / (index.stem().string() + "-pages");
    }

    std::filesystem::path PageOf(const std::string& path) const {
        constexpr std::size_t kMostBytes = 250; // of a name, before ".html"
        const std::string name = output::OutputName(path);
        return Folder() / (name.substr(name.size() - std::min(name.size(), kMostBytes)) + ".html");
    }

    std::string LinkTo(const std::filesystem::path& target) const {
        return (Folder().filename() / target.filename()).string();
    }

    // Lists the page that is there, if it is still that of the file.
    bool IsKept(const std::string& path, const std::filesystem::path& target) {
        // Which runs a page compares is not written in it.
        if (!mOptions.update || !mRuns.empty()) {
            return false;
        }
        const auto song = page::CurrentSongOf(target, path, !mOptions.noAudio);
        if (song) {
            mEntries.push_back({LinkTo(target), "", *song});
        }
        return song.has_value();
    }

    bool Report(const std::string& path, const std::filesystem::path& target) {
        if (IsKept(path, target)) {
            return true;
        }
        const auto work = [&] { return WriteSong(path, target); };
        const auto fail = [&](const std::string& reason) {
            const std::string name = std::filesystem::path(path).filename().string();
            mEntries.push_back({"", reason, {{"name", page::ShownText(name)}}});
        };
        return TryFile(path, mProgress, work, fail);
    }

    std::vector<std::string> WriteSong(const std::string& path,
                                       const std::filesystem::path& target) try {
        const FileWarnings fileWarnings;
        page::Song song = page::CollectSong(
            path, {.begin = [&](std::int64_t frames,
                                int rateHz) { mProgress.Begin(path, frames, rateHz); },
                   .advance = [&](std::int64_t frames) { mProgress.Advance(frames); }});
        song.runs = mRuns;
        std::optional<page::AudioCopy> audio;
        if (!mOptions.noAudio) {
            audio.emplace(path, song.report);
        }
        Write(target.string(), [&](page::PageWriter& page) {
            WriteSongPage(page, song, audio ? &*audio : nullptr);
        });
        mEntries.push_back({LinkTo(target), "", DescribeSong(song)});
        mProgress.Clear();
        return fileWarnings.Of(song.report);
    } catch (const page::SongError& error) {
        throw ToolError(error.what());
    }

    template <typename Fill>
    void Write(const std::string& path, Fill fill) {
        std::optional<output::OutputDirectory> directory; // outlives the file
        if (path != "-") {
            directory.emplace(std::filesystem::path(path).parent_path());
        }
        output::AtomicFile file(path, mOptions.overwrite || mOptions.update
                                          ? output::Existing::Replace
                                          : output::Existing::Refuse);
        page::PageWriter page(file.Sink(), mTemplate);
        fill(page);
        file.Commit();
    }

    const ReportOptions& mOptions;
    const page::PageTemplate mTemplate;
    ProgressBar mProgress;
    std::vector<page::IndexEntry> mEntries;
    std::vector<page::ComparedRun> mRuns;
};

} // namespace

CLI::App* AddReport(CLI::App& app, ReportOptions& options) {
    CLI::App* command = app.add_subcommand(
        "report", "Write a page of HTML that shows a song; of several songs, a page each and a "
                  "table of them");
    command->add_option("FILE", options.files, "Audio files")->required();
    command
        ->add_option("--output", options.output,
                     "The page. With several files: the table of the songs; their pages are in the "
                     "directory \"NAME-pages\" beside it. Missing directories are created")
        ->required()
        ->type_name("PAGE.html");
    AddRepeatable(command, "--compare", options.compared,
                  "Another run over the song, to show beneath this one: the output of qel read "
                  "--format json --beats --key-segments, by another version; repeatable, up to 4")
        ->type_name("RUN.json");
    command->add_flag("--no-audio", options.noAudio, "Write the page without its sound");
    command
        ->add_option("--template", options.pageTemplate,
                     "The template to fill. Default: the one that was built with the tool")
        ->type_name("PATH");
    command->add_flag("--overwrite", options.overwrite,
                      "Replace existing pages; without this option they are refused");
    command->add_flag(
        "--update", options.update,
        "Like --overwrite, but keep pages that this version has written from the same "
        "files: of a table of songs, only new and changed ones are analyzed");
    command->add_flag("--quiet", options.quiet, "Draw no progress bar");
    return command;
}

int RunReport(const ReportOptions& options) try {
    if (options.output.empty()) {
        throw UsageError("--output is empty");
    }
    if (options.output == "-" && options.files.size() > 1) {
        throw UsageError("--output - is for the page of one file; for several files, name a file");
    }
    if (!options.compared.empty() && options.files.size() > 1) {
        throw UsageError("--compare is for one file");
    }
    if (options.compared.size() > kMostRuns) {
        throw UsageError(fmt::format("--compare takes up to {} runs", kMostRuns));
    }
    RefuseToOverwriteInput(options.files, options.output);
    RefuseToOverwriteInput(options.compared, options.output);
    return Reporter(options).Run();
} catch (const page::TemplateError& error) {
    throw ToolError(error.what());
} catch (const page::RunError& error) {
    throw ToolError(error.what());
}

} // namespace qel::tool
