// The host questions the tool asks, answered the same way on every system.
#include "platform/host.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/debug_output.h"

TEST(Host, ClockPathProcessAndExitStatus) {
    std::tm t{};
    t.tm_year = 2016 - 1900;
    t.tm_mon = 7;
    t.tm_mday = 17;
    t.tm_hour = 15;
    EXPECT_EQ(fenxi::platform::UtcSeconds(t), 1471446000);  // 2016-08-17 15:00 UTC, whatever the local zone

    const std::string exe = fenxi::platform::ExecutablePath().filename().string();
    EXPECT_EQ(exe.rfind("fenxi_tests", 0), 0u) << exe;
    EXPECT_GT(fenxi::platform::ProcessId(), 0);
    EXPECT_EQ(fenxi::platform::ExitStatus(std::system("exit 3")), 3);
#if defined(_WIN32)
    EXPECT_TRUE(fenxi::platform::DebugOutputListened());  // the system debugger always listens
#endif
}
