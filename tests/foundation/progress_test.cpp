// Progress lines: spinner and percent forms, padding, rate limit, no log.
#include "foundation/progress.h"

#include <gtest/gtest.h>

#include "support/outputcapture.h"

namespace corvane {
namespace {

TimeOfDay fakeNow;
TimeOfDay fakeClock() { return fakeNow; }
int hookCalls = 0;
void countHook() { ++hookCalls; }

// A fresh progress state on a fake clock that starts at 10:00:00.00.
class Progress : public ::testing::Test {
protected:
    void SetUp() override {
        progress = ProgressState();
        progress.clock = fakeClock;
        progress.hook = countHook;
        hookCalls = 0;
        fakeNow = TimeOfDay{0, 10, 0, 0, 0};
        markProgramStart();
    }
    void TearDown() override { progress = ProgressState(); }
    static void advance(std::int64_t hundredths) {
        std::int64_t total = ((fakeNow.hour * 60 + fakeNow.minute) * 60 + fakeNow.second) * 100 +
                             fakeNow.hundredth + hundredths;
        fakeNow.hundredth = total % 100;
        total /= 100;
        fakeNow.second = total % 60;
        fakeNow.minute = total / 60 % 60;
        fakeNow.hour = total / 3600;
    }
};

TEST_F(Progress, ReadyPrintsAtMostOnceASecond) {
    OutputCapture capture;
    ready(0, "Smoothing");
    advance(30);
    ready(0.25, "Smoothing");  // same second: nothing
    advance(80);
    ready(0.5, "Smoothing");
    advance(200);
    readyDone();
    EXPECT_EQ(capture.console(),
              "Smoothing. 0 % ready (0 sec of 0 sec).\r"
              "Smoothing. 50.00 % ready (1 sec of 1 sec).\r"
              "Smoothing. 100 % ready (3 sec of 3 sec).  \n");  // padded over the longer line
    EXPECT_EQ(capture.log(), "");  // progress never reaches the log
    EXPECT_TRUE(outputSettings.logActive);
    EXPECT_EQ(hookCalls, 2);
    EXPECT_EQ(progress.fraction, 1);
}

TEST_F(Progress, ShorterLineIsPaddedOverTheLongerOne) {
    OutputCapture capture;
    wait("A long running task");
    const std::string first = capture.console();
    wait("B");
    const std::string all = capture.console();
    const std::string second = all.substr(first.size());
    EXPECT_EQ(first, "Please wait. A long running task (0 sec). -\r");
    EXPECT_EQ(second, "Please wait. B (0 sec). -" + std::string(first.size() - 1 - 25, ' ') + "\r");
}

TEST_F(Progress, LinesAreCutAtEightyCharacters) {
    OutputCapture capture;
    ready(0.5, Text("x").padRight(120, 'x'));
    const std::string line = capture.console();
    EXPECT_EQ(line.size(), 81u);
    EXPECT_EQ(line.back(), '\r');
}

TEST_F(Progress, SpinnerTurnsOncePerSecond) {
    OutputCapture capture;
    wait("Task");
    EXPECT_EQ(progress.phase, 2);
    advance(100);
    wait("Task");
    EXPECT_EQ(progress.phase, 3);
    EXPECT_EQ(progress.fraction, 0.75);
    advance(10);
    wait("Task");
    EXPECT_EQ(progress.phase, 3);
    advance(100);
    wait("Task");
    advance(100);
    wait("Task");
    EXPECT_EQ(progress.phase, 1);  // wraps after 4
    advance(100);
    waitDone();
    const std::string text = capture.console();
    EXPECT_NE(text.find("Please wait. Task (1 sec of 1 sec). \\\r"), std::string::npos);
    EXPECT_NE(text.find("Please wait. Task (2 sec of 2 sec). |\r"), std::string::npos);
    EXPECT_NE(text.find("Please wait. Task (3 sec of 3 sec). /\r"), std::string::npos);
    EXPECT_NE(text.find("Please wait ready. Task (4 sec of 4 sec).\n"), std::string::npos);
    EXPECT_TRUE(progress.title.empty());
}

TEST_F(Progress, ClosingWithoutTitlePrintsNothing) {
    OutputCapture capture;
    readyDone();
    waitDone();
    EXPECT_EQ(capture.console(), "");
}

TEST_F(Progress, SilentWhenTheConsoleIsOff) {
    OutputCapture capture;
    outputSettings.consoleActive = false;
    ready(0.1, "Quiet");
    readyDone();
    EXPECT_EQ(capture.console(), "");
    EXPECT_EQ(capture.log(), "");
}

TEST(ProgressTimes, ElapsedDropsHundredthsAndCarriesDays) {
    const TimeOfDay from{1, 23, 59, 58, 50};
    const TimeOfDay to{2, 1, 0, 1, 20};
    const Duration d = elapsedBetween(from, to);
    EXPECT_EQ(d.days, 0);
    EXPECT_EQ(d.hours, 1);
    EXPECT_EQ(d.minutes, 0);
    EXPECT_EQ(d.seconds, 2);
    EXPECT_EQ(d.hundredths, 0);
    EXPECT_EQ(elapsedSince(from, to).toUtf8(), "1:0:2 h");
    EXPECT_EQ(elapsedSince(to, from).toUtf8(), "0 sec");
}

}  // namespace
}  // namespace corvane
