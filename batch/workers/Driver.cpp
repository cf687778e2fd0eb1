#include "batch/workers/Driver.h"

#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <poll.h>
#include <sys/resource.h>
#include <thread>

namespace qel::batch {
namespace {

constexpr int kProgressMilliseconds = 100;
constexpr int kLongestWait = 60'000;             // milliseconds
constexpr std::chrono::milliseconds kGrace{300}; // for workers that are asked to end
constexpr std::chrono::milliseconds kLook{10};

// A system allows 1024 descriptors at first, as a rule, and many more if a process asks.
void AllowPipes(std::size_t jobs) {
    constexpr rlim_t kOthers = 64; // of tables and standard streams
    const rlim_t needed = 2 * jobs + kOthers;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < needed) {
        limit.rlim_cur = std::min(needed, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

} // namespace

void Driver::Run() {
    AllowPipes(mWorkers.size());
    try {
        RunAll();
        RunPostponed();
    } catch (const output::Interrupt::Requested&) {
        StopWorkers();
        throw;
    }
}

void Driver::RunAll() {
    for (;;) {
        for (Slot& slot : mWorkers) {
            if (slot && !slot->IsIdle()) {
                continue;
            }
            if (const std::optional<Task> task = Next()) {
                Give(slot, *task);
            }
        }
        if (!IsAnyBusy()) { // no other source of events is open
            break;
        }
        Serve();
    }
    for (Slot& slot : mWorkers) {
        slot.reset();
    }
}

void Driver::RunPostponed() {
    Slot& slot = mWorkers.front();
    while (const std::optional<Task> postponed = mCatalog.NextPostponed()) {
        for (std::optional<Task> task = postponed; task; task = Next()) {
            Give(slot, *task);
            while (IsAnyBusy()) {
                Serve();
            }
        }
        slot.reset();
    }
}

// What is to be done next, first of all the rest of files that were begun.
std::optional<Task> Driver::Next() {
    std::optional<Task> task;
    if (!mRest.empty()) {
        task = std::move(mRest.front());
        mRest.pop_front();
    } else if (mIsMore) {
        task = mCatalog.Next();
        mIsMore = task.has_value();
    }
    return task;
}

void Driver::Give(Slot& slot, const Task& task) {
    mPart.Begin(task.path);
    if (!slot) {
        slot = std::make_unique<WorkerProcess>(mSetup);
    }
    slot->Send(task);
}

bool Driver::IsAnyBusy() const {
    return std::ranges::any_of(mWorkers, [](const Slot& slot) { return slot && !slot->IsIdle(); });
}

void Driver::Serve() {
    Wait();
    output::Interrupt::Check();
    for (Slot& slot : mWorkers) {
        if (slot) {
            ServeOne(slot);
        }
    }
    mProgress.Draw();
}

// Until a worker says something, a file has had its time, or the line is to be drawn anew.
void Driver::Wait() {
    std::vector<pollfd> polled;
    for (const Slot& slot : mWorkers) {
        if (slot) {
            polled.push_back({.fd = slot->Descriptor(), .events = POLLIN, .revents = 0});
        }
    }
    output::Interrupt::Check();
    poll(polled.data(), polled.size(), MillisecondsToWait());
}

int Driver::MillisecondsToWait() const {
    double wait = mProgress.IsShown() ? kProgressMilliseconds : kLongestWait;
    for (const Slot& slot : mWorkers) {
        if (slot && !slot->IsIdle()) {
            wait = std::min(wait, 1000 * (mSetup.limits.seconds - slot->Seconds()));
        }
    }
    return static_cast<int>(std::ceil(std::max(wait, 0.0)));
}

void Driver::ServeOne(Slot& slot) {
    const bool isAlive = slot->Receive();
    while (slot) {
        const std::optional<Row> answer = slot->Answer();
        if (!answer) {
            break;
        }
        TakeAnswer(slot, *answer);
    }
    if (!slot) {
        return;
    }
    if (!isAlive && slot->HadNoMemory()) {
        Lose(slot, status::kMemory, MemoryText(mSetup.limits));
    } else if (!isAlive) {
        Lose(slot, status::kCrash, slot->Reason());
    } else if (!slot->IsIdle() && slot->Seconds() >= mSetup.limits.seconds) {
        Lose(slot, status::kTime, fmt::format("took longer than {} s", mSetup.limits.seconds));
    }
}

void Driver::TakeAnswer(Slot& slot, const Row& answer) {
    if (answer.contains("failure")) {
        throw output::OutputError(TextOf(answer, "failure"));
    }
    if (answer.contains("same")) {
        slot->Release();
        mProgress.Count(true, 0);
        return;
    }
    if (answer.contains("rest")) {
        Task rest = slot->Current();
        rest.pass = answer.at("pass").get<std::size_t>();
        rest.row = answer.at("rest");
        mRest.push_back(std::move(rest));
        slot.reset();
        return;
    }
    const Row& row = answer.at("row");
    if (TextOf(row, "status") == status::kMemory) {
        Lose(slot, status::kMemory, TextOf(row, "error"));
        return;
    }
    Finish(row);
    slot->Release();
    if (answer.value("spent", false)) {
        slot.reset();
    }
}

// Ends a worker, whose file is put aside or gets a row with the reason.
void Driver::Lose(Slot& slot, const char* status, const std::string& reason) {
    const Slot lost = std::move(slot);
    if (lost->IsIdle()) {
        return;
    }
    const Task& task = lost->Current();
    if (task.tries == 1) {
        mCatalog.Postpone(task.path);
        return;
    }
    Row row = mCatalog.Stamp(task.path);
    if (mSetup.hashes && !lost->Hash().empty()) {
        row["hash"] = lost->Hash();
    }
    row["status"] = status;
    row["error"] = reason;
    row["tries"] = task.tries;
    row["seconds"] = lost->Seconds();
    Finish(row);
}

void Driver::Finish(const Row& row) {
    mPart.Add(row);
    const Row duration = row.value("duration_seconds", Row());
    mProgress.Count(IsOk(row), duration.is_number() ? duration.get<double>() : 0);
}

// Workers remove what they have not finished, where it has a name.
void Driver::StopWorkers() {
    for (const Slot& slot : mWorkers) {
        if (slot) {
            slot->AskToEnd();
        }
    }
    const auto end = std::chrono::steady_clock::now() + kGrace;
    for (Slot& slot : mWorkers) {
        while (slot && slot->Receive() && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(kLook);
        }
        slot.reset();
    }
}

} // namespace qel::batch
