#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace qel::test {

// How a program ended, and what it said.
struct ChildResult {
    int status = -1; // exit status; -1 if a signal ended it
    int signal = 0;  // the signal that ended it, or 0
    double processorSeconds = 0;
    long peakKilobytes = 0; // of resident memory; that of the test itself at least
    std::string out;
    std::string err;
};

// How a program is started.
struct ChildSetup {
    std::string temporaryDirectory{}; // its TMPDIR; empty: as for the test itself
    std::string outPath{};            // where its standard output goes; empty: into the result
    int errDescriptor = -1;           // where its standard error goes; -1: into the result
    int outDescriptor = -1;           // where its standard output goes, before outPath
    unsigned long largestFile = 0;    // limit on the size of its files in bytes; 0: none
    std::string inPath{};             // what it reads as standard input; empty: as the test
    std::string workingDirectory{};   // where it starts; empty: where the test is
    std::vector<int> closed{};        // standard descriptors it begins without
    unsigned long addressSpace = 0;   // limit on its memory in bytes of addresses; 0: none
    unsigned long openFiles = 0;      // limit on its open files; 0: none
    unsigned int seconds = 0;         // after these, SIGALRM ends it as hung; 0: never
    bool heedsPermissions = false;    // root's child, too, is held by the permissions of files
};

// A program that runs beside the test. It is killed if nobody waits for it.
class ChildProcess {
public:
    // Finds the program like a shell does. Throws std::runtime_error if no process can be made;
    // a program that is not there ends with status 127.
    explicit ChildProcess(const std::vector<std::string>& command, const ChildSetup& setup = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void Send(int signal) const;
    pid_t Id() const { return mProcess; }
    ChildResult Wait();

private:
    [[noreturn]] void Become(const std::vector<std::string>& command, const ChildSetup& setup);

    pid_t mProcess = -1;
    int mOut = -1;
    int mErr = -1;
};

// Runs a program to its end.
ChildResult RunChild(const std::vector<std::string>& command, const ChildSetup& setup = {});

// Where the tool is that was built.
std::string ToolPath();

// Runs the tool that was built, with these arguments.
ChildResult RunTool(std::vector<std::string> arguments, const ChildSetup& setup = {});

} // namespace qel::test
