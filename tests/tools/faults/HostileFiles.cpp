#include "tests/tools/faults/HostileFiles.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/WavBytes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>

namespace qel::tool {
namespace {

using namespace test;

// Under a checker everything takes several times as long, and address space without end.
constexpr unsigned int kSeconds = QEL_SANITIZED ? 200 : 30;
constexpr unsigned long kAddressSpace = QEL_SANITIZED ? 0 : 2uL << 30;

// The lines of standard error that are no warnings.
std::vector<std::string> Complaints(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.find(": warning: ") == std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

} // namespace

void ExpectAnswers(const std::vector<HostileFile>& files, const std::string& keys) {
    const TempDirectory directory;
    std::vector<HostileFile> all = files;
    all.push_back({"good.wav", WavBytes().Bytes(), 4800});
    std::vector<std::string> arguments{"analyze", "--keys", keys};
    for (const HostileFile& file : all) {
        WriteFile(directory.File(file.name), file.bytes);
        arguments.push_back(directory.File(file.name));
    }
    const ChildResult result =
        RunTool(arguments, {.addressSpace = kAddressSpace, .seconds = kSeconds});
    ASSERT_EQ(result.signal, 0) << result.err;
    const Json document = Json::parseOrNull(result.out);
    const Json entries = document.contains("files") ? document["files"] : Json::array();
    ASSERT_EQ(entries.size(), all.size()) << result.err;
    std::vector<std::string> complaints;
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(entries[i].value("frames", kRefused), all[i].frames)
            << all[i].name << ": " << entries[i].value("error", std::string());
        if (entries[i].contains("error")) {
            const auto error = entries[i]["error"].get<std::string>();
            complaints.push_back("qel: " + directory.File(all[i].name) + ": " + error);
        }
    }
    EXPECT_EQ(Complaints(result.err), complaints);
    EXPECT_EQ(result.status, complaints.empty() ? 0 : 1);
}

} // namespace qel::tool
