#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

namespace qel::trust {

// From one request for memory that is refused to the next: QEL_TRUST_STRIDE, the stride of the
// build, times that of the run, which script/test puts into the environment as QEL_TEST_STRIDE. A
// run that has to be whole says so with QEL_TEST_WHOLE, and fails with a stride of its own.
inline long RequestStride() {
    const char* const text = std::getenv("QEL_TEST_STRIDE");
    const long ofRun = text != nullptr ? std::atol(text) : 1;
    EXPECT_GE(ofRun, 1) << "QEL_TEST_STRIDE is " << text;
    if (std::getenv("QEL_TEST_WHOLE") != nullptr) {
        EXPECT_EQ(1, ofRun) << "QEL_TEST_WHOLE and QEL_TEST_STRIDE exclude each other";
    }
    return QEL_TRUST_STRIDE * (ofRun >= 1 ? ofRun : 1);
}

} // namespace qel::trust
