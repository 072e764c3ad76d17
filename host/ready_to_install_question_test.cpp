#include "host/ready_to_install_question.h"

#include <gtest/gtest.h>

#include <thread>

#include "pellam/main_thread_queue.h"
#include "tests/support/coordinator_fakes.h"

namespace pellam {
namespace {

using namespace testing_support;
using Lines = std::vector<std::string>;

class ReadyToInstallQuestionTest : public testing::Test {
 protected:
  // Asks on a worker while this thread is the main thread; true when the user agreed, false when cancelled.
  bool ask() {
    bool isAgreed = false;
    std::thread worker([&] {
      try {
        ReadyToInstallQuestion(display_).ask(window_, source_.token());
        isAgreed = true;
      } catch (const OperationCancelled&) {
        isAgreed = false;
      }
      mainThread_->stop();
    });
    mainThread_->run();
    worker.join();
    return isAgreed;
  }

  std::shared_ptr<MainThreadQueue> mainThread_ = std::make_shared<MainThreadQueue>();
  ProgressDisplay display_{mainThread_, std::make_shared<FakeBundles>(), {}};
  std::shared_ptr<RecordingWindow> window_ = std::make_shared<RecordingWindow>();
  CancellationSource source_;
  const Lines question_ = {"Ready to Install|Install and Relaunch", "attention"};
};

TEST_F(ReadyToInstallQuestionTest, GoesOnWhenTheButtonIsPressed) {
  EXPECT_TRUE(ask());
  EXPECT_EQ(window_->shown, question_);
}

TEST_F(ReadyToInstallQuestionTest, WithoutAWindowNobodyIsAsked) {
  window_ = nullptr;
  source_.cancel();
  EXPECT_TRUE(ask()) << "the caller looks at the cancellation";
}

TEST_F(ReadyToInstallQuestionTest, ACancellationBeforehandShowsNoButton) {
  source_.cancel();
  EXPECT_FALSE(ask());
  EXPECT_EQ(window_->shown, Lines{});
}

TEST_F(ReadyToInstallQuestionTest, ACancellationEndsTheWaitAndAPressComesTooLate) {
  std::function<void()> press;
  window_->onReady = [&](const std::function<void()>& action) {
    press = action;
    source_.cancel();
    press();
  };
  EXPECT_FALSE(ask());
  EXPECT_EQ(window_->shown, question_);
  press();  // the window is still there for a moment
}

TEST_F(ReadyToInstallQuestionTest, APressHoldsWhateverIsCancelledAfterwards) {
  window_->onReady = [&](const std::function<void()>& action) {
    action();
    source_.cancel();
    action();
  };
  EXPECT_TRUE(ask());
}

}  // namespace
}  // namespace pellam
