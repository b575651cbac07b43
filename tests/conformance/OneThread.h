// GoogleTest makes its Notification, for tests of several threads alone, of std::mutex. The Windows
// builds have Windows' own thread model, whose C++ run-time hasn't got that, and one thread.
#pragma once

#define GTEST_HAS_NOTIFICATION_ 1

namespace testing::internal {

class Notification {
public:
    void Notify() {}
    void WaitForNotification() {}
};

}  // namespace testing::internal
