// What a program takes on by linking the libraries: nothing but what the table of licences names,
// and no thread.

#include "tests/trust/Life.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <link.h>
#include <string>
#include <vector>

namespace qel::trust {
namespace {

// The names of the objects in the process, without folders and versions.
std::vector<std::string> LoadedObjects() {
    std::vector<std::string> names;
    const auto add = [](dl_phdr_info* object, std::size_t, void* list) {
        const std::string name = std::filesystem::path(object->dlpi_name).filename();
        static_cast<std::vector<std::string>*>(list)->push_back(name.substr(0, name.find(".so")));
        return 0;
    };
    dl_iterate_phdr(add, &names);
    return names;
}

std::ptrdiff_t Threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(LoadingContractTest, LibrariesBringNoOthersThanThoseOfTheTableOfLicences) {
    const std::vector<std::string> libraries{"libQelAudioAnalysis", "libQelPlatform", "libhwy"};
    const std::vector<std::string> system{"libstdc++", "libgcc_s",        "libm",
                                          "libc",      "linux-vdso",      "libpthread",
                                          "libdl",     "librt",           "ld-linux-x86-64",
                                          "libasan",   "ld-linux-aarch64"};
    const auto isIn = [](const std::vector<std::string>& list, const std::string& name) {
        return std::ranges::find(list, name) != list.end();
    };
    int ours = 0;
    for (const std::string& name : LoadedObjects()) {
        const bool isTests = name.empty() || name.starts_with("libgtest"); // the program itself
        EXPECT_TRUE(isTests || isIn(libraries, name) || isIn(system, name)) << name;
        ours += isIn(libraries, name) ? 1 : 0;
    }
    EXPECT_EQ(ours, 3); // transforms are within one of them
}

TEST(LoadingContractTest, NoThreadRunsBesideTheClientsOwn) {
    if (QEL_THREAD_CHECKER) {
        GTEST_SKIP() << "the checker has a thread of its own";
    }
    EXPECT_EQ(Threads(), 1);
    const Life life;
    const auto keys = MakeKeyList(AllKeys());
    Client client(keys.Get(), life.Setup());
    const Outcome outcome = life.Run(client, 0, life.Find("Dispose"));
    EXPECT_EQ(outcome.statuses.at(life.Find("Initialize")), 0);
    EXPECT_EQ(Threads(), 1);
}

} // namespace
} // namespace qel::trust
