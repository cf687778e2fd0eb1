#include "tests/harness/ChildProcess.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <linux/capability.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace qel::test {
namespace {

// A nameless file: unlike a pipe, it never makes the child wait for the test.
int NamelessFile() {
    std::string name = "/tmp/qel-test-stream.XXXXXX";
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) {
        throw std::runtime_error("no temporary file");
    }
    unlink(name.c_str());
    return descriptor;
}

std::string ReadAll(int descriptor) {
    std::string text;
    std::array<char, 65536> chunk{};
    off_t position = 0;
    for (ssize_t n = 0; (n = pread(descriptor, chunk.data(), chunk.size(), position)) > 0;) {
        text.append(chunk.data(), static_cast<std::size_t>(n));
        position += n;
    }
    return text;
}

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

void Limit(__rlimit_resource resource, unsigned long most) {
    if (most != 0) {
        const rlimit limit{most, most};
        setrlimit(resource, &limit);
    }
}

// What the setup says of streams. They come before limits, which might forbid them.
void SetStreams(const ChildSetup& setup, int ownOut, int ownErr) {
    int out = setup.outDescriptor >= 0 ? setup.outDescriptor : ownOut;
    if (!setup.outPath.empty()) {
        out = open(setup.outPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    }
    dup2(out, STDOUT_FILENO);
    dup2(setup.errDescriptor >= 0 ? setup.errDescriptor : ownErr, STDERR_FILENO);
    if (!setup.inPath.empty()) {
        dup2(open(setup.inPath.c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    }
    for (const int descriptor : setup.closed) {
        close(descriptor);
    }
}

void SetLimits(const ChildSetup& setup) {
    Limit(RLIMIT_FSIZE, setup.largestFile);
    Limit(RLIMIT_AS, setup.addressSpace);
    Limit(RLIMIT_NOFILE, setup.openFiles);
    if (setup.heedsPermissions) {
        // They fail for anybody but root, who has no such powers in the first place.
        prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
        prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
    }
    alarm(setup.seconds);
}

// A shell lets what it starts by nohup, or with & in a script, ignore signals. A program hands that
// down, and the tool goes on ignoring them.
void HeedSignals() {
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ}) {
        std::signal(signal, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, const ChildSetup& setup)
    : mOut(NamelessFile()), mErr(NamelessFile()) {
    mProcess = fork();
    if (mProcess < 0) {
        throw std::runtime_error("no process");
    }
    if (mProcess == 0) {
        Become(command, setup);
    }
}

void ChildProcess::Become(const std::vector<std::string>& command, const ChildSetup& setup) {
    HeedSignals();
    SetStreams(setup, mOut, mErr);
    if (!setup.temporaryDirectory.empty()) {
        setenv("TMPDIR", setup.temporaryDirectory.c_str(), 1);
    }
    if (!setup.workingDirectory.empty() && chdir(setup.workingDirectory.c_str()) != 0) {
        _exit(127);
    }
    SetLimits(setup);
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    _exit(127);
}

ChildProcess::~ChildProcess() {
    if (mProcess > 0) {
        kill(mProcess, SIGKILL);
        waitpid(mProcess, nullptr, 0);
    }
    close(mOut);
    close(mErr);
}

void ChildProcess::Send(int signal) const {
    kill(mProcess, signal);
}

ChildResult ChildProcess::Wait() {
    int status = 0;
    rusage usage{};
    wait4(std::exchange(mProcess, -1), &status, 0, &usage);
    ChildResult result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.processorSeconds = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
    result.peakKilobytes = usage.ru_maxrss;
    result.out = ReadAll(mOut);
    result.err = ReadAll(mErr);
    return result;
}

ChildResult RunChild(const std::vector<std::string>& command, const ChildSetup& setup) {
    return ChildProcess(command, setup).Wait();
}

std::string ToolPath() {
    return QEL_PROGRAM;
}

ChildResult RunTool(std::vector<std::string> arguments, const ChildSetup& setup) {
    arguments.insert(arguments.begin(), ToolPath());
    return RunChild(arguments, setup);
}

} // namespace qel::test
