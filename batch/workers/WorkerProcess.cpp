#include "batch/workers/WorkerProcess.h"

#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <new>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace qel::batch {
namespace {

constexpr int kTaskDescriptor = 3; // of the worker, with kAnswerDescriptor
constexpr int kAnswerDescriptor = 4;
constexpr int kExitOfMemory = 3; // of a worker without memory for a row

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kLimitsMemory = false; // the checker's own tables are above any limit
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kLimitsMemory = false;
#else
constexpr bool kLimitsMemory = true;
#endif
#else
constexpr bool kLimitsMemory = true;
#endif

// The data of a process: heap and private mappings, without the code of libraries.
void LimitMemory(std::uint64_t bytes) {
    const rlimit limit{bytes, bytes};
    if (kLimitsMemory) {
        setrlimit(RLIMIT_DATA, &limit);
    }
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none); // a crash is expected, and told
}

// Nothing but the pipes is left open: the other workers' pipes must end with the driver.
// They are closed first, as a process that may have no more could not copy its two.
void KeepDescriptors(int tasks, int answers) {
    const auto closeAll = [](int first, int last) {
        if (first <= last) {
            close_range(static_cast<unsigned>(first), static_cast<unsigned>(last), 0);
        }
    };
    const int lower = std::min(tasks, answers);
    const int upper = std::max(tasks, answers);
    closeAll(kTaskDescriptor, lower - 1);
    closeAll(lower + 1, upper - 1);
    closeAll(upper + 1, std::numeric_limits<int>::max());
    const int farTasks = fcntl(tasks, F_DUPFD, kAnswerDescriptor + 1);
    const int farAnswers = fcntl(answers, F_DUPFD, kAnswerDescriptor + 1);
    dup2(farTasks, kTaskDescriptor);
    dup2(farAnswers, kAnswerDescriptor);
    close_range(kAnswerDescriptor + 1, ~0u, 0);
}

[[noreturn]] void FailToMake(int error) {
    throw output::OutputError(fmt::format(
        "cannot make a worker: {}; repeat the command with fewer --jobs", std::strerror(error)));
}

// Both ends of a pipe, closed with the object unless they are taken.
class Pipe {
public:
    Pipe() {
        if (pipe2(mEnds.data(), O_CLOEXEC) != 0) {
            FailToMake(errno);
        }
    }
    ~Pipe() {
        for (const int end : mEnds) {
            if (end >= 0) {
                close(end);
            }
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int Reading() const { return mEnds[0]; }
    int Writing() const { return mEnds[1]; }
    int TakeReading() { return std::exchange(mEnds[0], -1); }
    int TakeWriting() { return std::exchange(mEnds[1], -1); }

private:
    std::array<int, 2> mEnds{-1, -1};
};

} // namespace

WorkerProcess::WorkerProcess(const WorkerSetup& setup) {
    Pipe tasks;
    Pipe answers;
    const pid_t driver = getpid();
    mProcess = fork();
    if (mProcess == 0) {
        BecomeWorker(setup, tasks.Reading(), answers.Writing(), driver);
    }
    if (mProcess < 0) {
        FailToMake(errno);
    }
    mTasks = tasks.TakeWriting();
    mAnswers = answers.TakeReading();
    fcntl(mAnswers, F_SETFL, O_NONBLOCK);
}

void WorkerProcess::BecomeWorker(const WorkerSetup& setup, int tasks, int answers, pid_t driver) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != driver) { // it died before it could be asked for
        _exit(0);
    }
    // A terminal's signals are for the driver, which ends the workers.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGHUP, SIG_IGN);
    LimitMemory(setup.limits.memoryBytes);
    KeepDescriptors(tasks, answers);
    try {
        Worker(setup, kTaskDescriptor, kAnswerDescriptor).Run();
    } catch (const output::Interrupt::Requested&) {
        _exit(0);
    } catch (const std::bad_alloc&) { // where there is no file to blame
        _exit(kExitOfMemory);
    } catch (const std::exception&) {
        _exit(1);
    }
    _exit(0);
}

WorkerProcess::~WorkerProcess() {
    close(mTasks);
    close(mAnswers);
    if (!mIsGone) {
        Kill();
        Wait();
    }
}

void WorkerProcess::Send(const Task& task) {
    mTask = task;
    mHash = task.pass == 0 ? "" : TextOf(task.row, "hash");
    mSince = Clock::now();
    const std::string framed = Worker::Packed(task);
    for (std::size_t done = 0; done < framed.size();) {
        const ssize_t written = write(mTasks, framed.data() + done, framed.size() - done);
        if (written < 0 && errno != EINTR) {
            return;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

bool WorkerProcess::Receive() {
    std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t count = read(mAnswers, buffer.data(), buffer.size());
        if (count > 0) {
            mRecords.Feed({buffer.data(), static_cast<std::size_t>(count)});
        } else if (count == 0) {
            return false;
        } else if (errno != EINTR) {
            return errno == EAGAIN;
        }
    }
}

std::optional<Row> WorkerProcess::Answer() {
    while (const auto record = mRecords.Next()) {
        Row answer = Row::from_msgpack(record->begin(), record->end());
        if (!answer.contains("hash")) {
            return answer;
        }
        mHash = TextOf(answer, "hash");
    }
    return std::nullopt;
}

double WorkerProcess::Seconds() const {
    return std::chrono::duration<double>(Clock::now() - mSince).count();
}

void WorkerProcess::Signal(int signal) const {
    if (!mIsGone) { // the number may be another process's then
        kill(mProcess, signal);
    }
}

void WorkerProcess::AskToEnd() const {
    Signal(SIGTERM);
}

void WorkerProcess::Kill() const {
    Signal(SIGKILL);
}

int WorkerProcess::Wait() {
    while (!mIsGone) {
        const pid_t ended = waitpid(mProcess, &mStatus, 0);
        mIsGone = ended == mProcess || errno != EINTR;
    }
    return mStatus;
}

bool WorkerProcess::HadNoMemory() {
    const int ended = Wait();
    return WIFEXITED(ended) && WEXITSTATUS(ended) == kExitOfMemory;
}

std::string WorkerProcess::Reason() {
    const int ended = Wait();
    if (WIFSIGNALED(ended)) {
        return fmt::format("the worker was ended by signal {} ({})", WTERMSIG(ended),
                           strsignal(WTERMSIG(ended)));
    }
    return fmt::format("the worker ended with status {}", WEXITSTATUS(ended));
}

} // namespace qel::batch
