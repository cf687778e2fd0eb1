// No key of the table is without a contract, and so without the tests of this folder.

#include "tests/keys/KeyContract.h"

#include <QelAudioAnalysisKeyTable.h>

#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <string>

namespace qel::test {
namespace {

#define QEL_KEY(symbol, text, slot, payload, bytes, delivery, results, companion) text,
const char* const kTexts[] = {QEL_KEY_TABLE(QEL_KEY)};
#undef QEL_KEY

TEST(KeyTableContractTest, EveryRowHasItsContractInTheOrderOfTheTable) {
    ASSERT_EQ(std::size(kTexts), AllContracts().size());
    for (std::size_t i = 0; i < std::size(kTexts); ++i) {
        EXPECT_EQ(kTexts[i], AllContracts()[i].key);
    }
}

TEST(KeyTableContractTest, EveryKeyOfTheLibraryHasAContract) {
    const CFOwner<CFMutableArrayRef> keys(QelAudioAnalysisGlobalCopyKeys());
    ASSERT_EQ(static_cast<CFIndex>(AllContracts().size()), CFArrayGetCount(keys.Get()));
    for (CFIndex i = 0; i < CFArrayGetCount(keys.Get()); ++i) {
        EXPECT_EQ(ToText(static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys.Get(), i))),
                  AllContracts()[static_cast<std::size_t>(i)].key);
    }
}

TEST(KeyTableContractTest, EveryContractSaysWhatSilenceAndAConstantGive) {
    for (const KeyContract& contract : AllContracts()) {
        EXPECT_NE(nullptr, contract.checkSilence) << contract.key;
        EXPECT_NE(nullptr, contract.checkConstant) << contract.key;
    }
}

TEST(KeyTableContractTest, EveryKeyIsTriedUnderANameOfItsOwn) {
    std::set<std::string> names;
    for (const KeyParameter& parameter : AllKeyParameters()) {
        names.insert(parameter.Name());
    }
    EXPECT_EQ(std::size(kTexts), names.size());
}

} // namespace
} // namespace qel::test
