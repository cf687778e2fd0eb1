#include "output/files/ResultFiles.h"

#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"
#include "output/files/OutputName.h"

#include <fmt/format.h>

#include <algorithm>

namespace qel::output {

void ResultFiles::Begin(const std::string& input) {
    Drop();
    if (mOutput != "-") {
        mPath = std::filesystem::path(mOutput) / OutputName(input);
        mDirectory.emplace(mPath);
    }
}

void ResultFiles::Add(const std::string& name) {
    if (mOutput == "-") {
        mFiles.emplace_back(mOutput);
        return;
    }
    const std::string whole = (mPath / name).string();
    if (mInputs.HasPath(whole)) {
        throw OutputError(fmt::format("{}: is one of the files to analyze", whole));
    }
    mFiles.emplace_back(whole, mExisting);
}

// All that can take time, be interrupted or find the disk full comes before the first name.
void ResultFiles::Commit() {
    for (AtomicFile& file : mFiles) {
        file.Close();
    }
    Publish();
    Drop();
}

// A signal among the names would leave some of the files, and the same command would then refuse to
// complete them.
void ResultFiles::Publish() {
    const Interrupt::Hold hold;
    try {
        for (AtomicFile& file : mFiles) {
            file.Publish();
        }
    } catch (...) {
        for (AtomicFile& file : mFiles) {
            file.Withdraw();
        }
        throw;
    }
}

void ResultFiles::Drop() {
    mFiles.clear();
    mDirectory.reset();
}

std::string ResultFiles::KeyName(std::string_view key) {
    std::string name(key);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string ResultFiles::ChannelSuffix(std::size_t channel, std::size_t channels) {
    return channels == 1 ? std::string() : fmt::format("-ch{}", channel);
}

} // namespace qel::output
