// GlTest: what tests of the GPU classes share.
#pragma once

#include <android/log.h>
#include <gtest/gtest.h>
#include <host/GlesCounts.h>
#include <host/GlesFaults.h>

#include "support/LogCapture.h"

namespace plexa {

// Reads the log, orders no fault beyond its own end, and sees to it that a test leaves nothing
// alive.
class GlTest : public testing::Test {
protected:
    ~GlTest() override {
        android::host::clearGlesFaults();
        EXPECT_EQ(android::host::glesCounts(), mBefore) << "EGL or GL objects are left";
    }
    bool hasError(std::string_view tag, std::string_view text) const {
        return mLog.contains(ANDROID_LOG_ERROR, tag, text);
    }
    bool hasWarning(std::string_view tag, std::string_view text) const {
        return mLog.contains(ANDROID_LOG_WARN, tag, text);
    }

    LogCapture mLog;

private:
    const android::host::GlesCounts mBefore = android::host::glesCounts();
};

}  // namespace plexa
