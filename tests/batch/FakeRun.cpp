#include "tests/batch/FakeRun.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace qel {

using namespace test;

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kStep = std::size_t{16} << 20;

[[noreturn]] void Hang() {
    for (;;) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

void TakeAllMemory() {
    std::vector<std::string> taken;
    for (;;) {
        taken.emplace_back(kStep, 'x');
    }
}

// As far as there are pieces of this size. Nothing gives them back, and operator new does not know.
void ExhaustMemory(std::size_t smallest) {
    for (std::size_t size = kStep; size >= smallest; size /= 2) {
        while (std::malloc(size) != nullptr) {
        }
    }
}

void Crash(const std::string& mark) {
    if (mark.empty() || !fs::exists(mark)) {
        if (!mark.empty()) {
            WriteFile(mark, "");
        }
        std::signal(SIGSEGV, SIG_DFL); // a checker has its own handler
        raise(SIGSEGV);
    }
}

int gSpent = 0; // of this process

void Note(const std::string& log, const std::string& path) {
    std::FILE* const file = std::fopen(log.c_str(), "ab");
    std::fputs((path + '\n').c_str(), file);
    std::fclose(file);
}

void Work(const std::string& log, const std::string& path, batch::Row& row,
          std::vector<output::Array>& arrays) {
    Note(log, path);
    const std::string content = ReadFile(path);
    std::istringstream words(content);
    std::string what;
    words >> what;
    if (what == "error") {
        throw batch::FileFault(batch::status::kNotAudio, "is no audio file");
    }
    if (what == "crash") {
        Crash("");
    } else if (what == "crash-once") {
        Crash(log + "-crashed");
    } else if (what == "hang") {
        Hang();
    } else if (what == "memory") {
        TakeAllMemory();
    } else if (what == "exhaust") {
        ExhaustMemory(16);
    } else if (what == "blame") {
        ExhaustMemory(std::size_t{1} << 20);
        throw batch::FileFault(batch::status::kNotAudio, "cannot be decoded");
    } else if (what == "slow") {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    row["duration_seconds"] = 1.5;
    row["readings"] = {{"content", what == "spend" ? std::to_string(++gSpent) : content}};
    arrays.push_back(
        {.name = "content", .type = "|u1", .shape = {content.size()}, .data = content});
}

} // namespace

FakeRun::FakeRun() {
    fs::create_directory(mPlace.File("music"));
}

void FakeRun::Spend() {
    ++gSpent;
}

void FakeRun::Add(const std::string& name, const std::string& content) const {
    fs::create_directories(fs::path(Path(name)).parent_path());
    WriteFile(Path(name), content);
}

batch::BatchSetup FakeRun::Setup(const std::string& dataset) const {
    batch::BatchSetup setup;
    setup.dataset = Dataset(dataset);
    setup.settings.Add("--keys", "content");
    setup.settings.Add(batch::Settings::kShard, "1/1");
    setup.sources = {mPlace.File("music")};
    setup.matches = {"*"};
    setup.jobs = 2;
    setup.limits.seconds = 20;
    setup.readingColumns = {"content"};
    setup.work.passes = {[log = mPlace.File("log")](const std::string& path, batch::Row& row,
                                                    std::vector<output::Array>& arrays) {
        Work(log, path, row, arrays);
    }};
    setup.work.isProcessSpent = [] { return gSpent > 0; };
    return setup;
}

std::vector<std::string> FakeRun::Begun() const {
    const std::string log = mPlace.File("log");
    std::vector<std::string> paths;
    if (fs::exists(log)) {
        std::istringstream lines(ReadFile(log));
        for (std::string line; std::getline(lines, line);) {
            paths.push_back(fs::path(line).lexically_relative(mPlace.File("music")).string());
        }
        fs::remove(log);
    }
    return paths;
}

std::map<std::string, batch::Row> FakeRun::Rows(const std::string& dataset) const {
    std::map<std::string, batch::Row> rows;
    const std::string file = batch::Dataset::TablesOf(Dataset(dataset));
    batch::Tables(Dataset(dataset), file).ForEachRow([&](const batch::Row& row) {
        batch::Row kept = row;
        for (const char* name : {"seconds", "tries", "modified_ns"}) {
            kept.erase(name);
        }
        rows[fs::path(batch::TextOf(row, "path"))
                 .lexically_relative(mPlace.File("music"))
                 .string()] = kept;
    });
    return rows;
}

batch::Row FakeRun::WholeRow(const std::string& name, const std::string& dataset) const {
    batch::Row found;
    const std::string file = batch::Dataset::TablesOf(Dataset(dataset));
    batch::Tables(Dataset(dataset), file).ForEachRow([&](const batch::Row& row) {
        if (batch::TextOf(row, "path") == Path(name)) {
            found = row;
        }
    });
    return found;
}

namespace {

batch::Settings RunOneFile(const FakeRun& run) {
    run.Add("a", "ok");
    batch::RunBatch(run.Setup());
    return batch::Dataset::SettingsOf(run.Dataset());
}

} // namespace

OneFileDataset::OneFileDataset()
    : mSettings(RunOneFile(mRun)), mDataset(mRun.Dataset(), mSettings) {}

void OneFileDataset::Publish(const std::function<void()>& rows) const {
    const batch::Tables::Content content{.dataset = mDataset.Directory(),
                                         .settings = mSettings,
                                         .list = {},
                                         .readings = {},
                                         .rows = [&](const auto&) { rows(); }};
    mDataset.Publish("attempt", content);
}

pid_t InChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            work();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
            _exit(1);
        }
        _exit(0);
    }
    return child;
}

int WaitFor(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

} // namespace qel
