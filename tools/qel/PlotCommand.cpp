#include "tools/qel/PlotCommand.h"

#include "output/files/Interrupt.h"
#include "tools/qel/Arguments.h"
#include "tools/qel/ToolError.h"

#include <fmt/format.h>

#include <csignal>
#include <cstring>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qel::tool {
namespace {

// Runs the module qelaudio.plot. What is missing is said before, in one line. The current directory
// is no place for modules: whatever lies beside the songs is not to be run.
constexpr const char* kProgram = R"(import sys
if sys.path and sys.path[0] == "":
    del sys.path[0]
if sys.version_info < (3, 10):
    sys.exit("qel: qel plot needs Python 3.10 or later, and %s is %d.%d; --python names another one"
             % (sys.executable, sys.version_info[0], sys.version_info[1]))
import importlib.util
for name, remedy in (("qelaudio", 'run pip install ".[plot]" in the sources of qel'),
                     ("matplotlib", "pip install matplotlib")):
    if importlib.util.find_spec(name) is None:
        sys.exit('qel: %s has no package "%s": %s, or name another Python with --python'
                 % (sys.executable, name, remedy))
import runpy
runpy.run_module("qelaudio.plot", run_name="__main__", alter_sys=True)
)";

// An option whose value goes to the Python package as it is.
void AddForwarded(CLI::App* command, PlotOptions& options, const std::string& name,
                  const std::string& type, const std::string& text) {
    command
        ->add_option_function<std::string>(
            name,
            [&options, name](const std::string& value) {
                options.values.push_back(name + "=" + value);
            },
            text)
        ->type_name(type);
}

// A picture that is written is a new file, whatever was there before.
struct PictureState {
    ino_t number = 0;          // 0: no file
    bool mayBeReplaced = true; // a device is written to
};

PictureState StateOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return {};
    }
    return {status.st_ino, S_ISREG(status.st_mode)};
}

// Runs a program to its end. A signal that asks this one to end is passed on.
int RunInterpreter(char* const* arguments) {
    pid_t child = 0;
    const int error = posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments, environ);
    if (error != 0) {
        throw ToolError(fmt::format("cannot start the Python interpreter \"{}\" ({}): install "
                                    "Python 3.10 or later, or name one with --python",
                                    arguments[0], std::strerror(error)));
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (output::Interrupt::IsRequested()) {
            kill(child, SIGTERM);
        }
    }
    output::Interrupt::Check();
    if (WIFSIGNALED(status)) {
        output::Interrupt::Die(WTERMSIG(status));
    }
    return WEXITSTATUS(status);
}

} // namespace

CLI::App* AddPlot(CLI::App& app, PlotOptions& options) {
    CLI::App* command = app.add_subcommand(
        "plot", "Draw what the page of a song shows, by the Python package qelaudio");
    command->add_option("FILE", options.file, "Audio file")->required();
    command
        ->add_option("--output", options.output,
                     "The picture; the end of its name, .png, .svg or .pdf, is its format")
        ->required()
        ->type_name("PICTURE");
    AddForwarded(command, options, "--lanes", "LIST",
                 "The lanes, separated by commas: waveform, spectrogram, reassigned, constantq, "
                 "chroma, keys, tempo, loudness. Default: all but reassigned");
    AddForwarded(command, options, "--marks", "LIST",
                 "The lines, separated by commas: beats, downBeats, onsets. Default: "
                 "beats,downBeats");
    AddForwarded(command, options, "--begin", "SECONDS", "Where to begin; default 0");
    AddForwarded(command, options, "--end", "SECONDS",
                 "Where to end; default: the end of the song");
    AddForwarded(command, options, "--width", "INCHES", "Width, 3 to 100, default 12");
    AddForwarded(command, options, "--dpi", "N", "Pixels per inch, 20 to 1200, default 150");
    command->add_flag("--dark", options.dark, "Light colours on dark ground");
    command->add_flag("--overwrite", options.overwrite,
                      "Replace an existing picture; without this option it is refused");
    command
        ->add_option("--python", options.python,
                     "The Python interpreter that has qelaudio and matplotlib; default python3")
        ->type_name("PATH");
    return command;
}

int RunPlot(const PlotOptions& options) {
    std::vector<std::string> words{options.python, "-c", kProgram, "--output=" + options.output};
    words.insert(words.end(), options.values.begin(), options.values.end());
    if (options.dark) {
        words.emplace_back("--dark");
    }
    if (options.overwrite) {
        words.emplace_back("--overwrite");
    }
    words.insert(words.end(), {"--", options.file});
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const PictureState before = StateOf(options.output);
    const int status = RunInterpreter(arguments.data());
    if (status == 0 && before.mayBeReplaced && StateOf(options.output).number == before.number) {
        throw ToolError(fmt::format("\"{}\" has ended and written no picture: it is no Python "
                                    "interpreter; name one with --python",
                                    options.python));
    }
    return status;
}

} // namespace qel::tool
