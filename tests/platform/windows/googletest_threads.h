// Stands in for a class of GoogleTest that needs std::mutex, which this thread model lacks. Only GoogleTest's
// own tests use it.
#pragma once

namespace testing::internal {

class Notification {
 public:
  void Notify() {}
  void WaitForNotification() {}
};

}  // namespace testing::internal
