#include "base/LHeadlessPlatform.h"
#include "base/LProcessDialog.h"
#include "base/LProcessInterfaceNested.h"
#include "base/LProcessThread.h"
#include "base/LProgressDialog.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <string>
#include <vector>

namespace {

// Writes down every report it gets.
class RecordingInterface : public LProcessInterfaceVoid {
public:
    std::vector<std::string> calls;
    void SetError(char const* text) override { calls.push_back(std::string("error ") + text); }
    void SetStatus(char const* text, int line) override {
        calls.push_back("status" + std::to_string(line) + " " + text);
    }
    void SetProgress(double fraction) override { calls.push_back("progress " + std::to_string(fraction)); }
    void SetProgressIndeterminateOn() override { calls.push_back("indeterminate on"); }
    void SetProgressIndeterminateOff() override { calls.push_back("indeterminate off"); }
};

TEST(LProcessInterfaceSubProcess, MapsProgressAndShiftsLines) {
    RecordingInterface outer;
    LProcessInterfaceSubProcess step(outer, 0.5, 0.25);
    step.SetProgress(1.0);
    step.SetProgress(0.0);
    step.SetStatus("detail", 0);
    LProcessInterfaceRecursiveSubProcess inner(outer, 0.0, 0.5);
    inner.SetProgress(0.5);
    inner.SetStatusF(0, "%d%%", 42);
    EXPECT_EQ(outer.calls, (std::vector<std::string>{"progress 0.750000", "progress 0.500000", "status1 detail",
                                                     "progress 0.250000", "status2 42%"}));
    // Nested steps compose: half of the second quarter.
    LProcessInterfaceSubProcess quarter(outer, 0.25, 0.25);
    LProcessInterfaceSubProcess half(quarter, 0.0, 0.5);
    outer.calls.clear();
    half.SetProgress(1.0);
    EXPECT_EQ(outer.calls, (std::vector<std::string>{"progress 0.375000"}));
}

struct ReportingJob {
    int rounds = 5;
    std::string longStatus = std::string(400, 'x');
};

LProcessResult Process(LProcessInterface& iface, ReportingJob& job) {
    iface.SetStatus("Kopieren", 0);
    iface.SetStatus(job.longStatus.c_str(), 1);
    iface.SetProgressIndeterminateOn();
    iface.SetProgressIndeterminateOff();
    for (int i = 1; i <= job.rounds; ++i)
        iface.SetProgress(i / double(job.rounds));
    iface.SetErrorF("Fehler %d", 7);
    return LProcessFailed;
}

TEST(LProcessThread, ReportsArriveOnMainThreadInOrder) {
    LHeadlessPlatform platform;
    LPlatformScope scope(platform);
    RecordingInterface owner;
    ReportingJob job;
    LProcessThread<ReportingJob> worker(&owner, job);
    bool done = false;
    worker.SetOnDone([&] { done = true; });
    ASSERT_TRUE(worker.Start());
    platform.RunModalLoop([&] { return done; });
    EXPECT_EQ(worker.Result(), LProcessFailed);
    std::vector<std::string> expected = {"status0 Kopieren", "status1 " + std::string(259, 'x'), "indeterminate on",
                                         "indeterminate off"};
    for (int i = 1; i <= 5; ++i)
        expected.push_back("progress " + std::to_string(i / 5.0));
    expected.push_back("error Fehler 7");
    EXPECT_EQ(owner.calls, expected);
}

TEST(LProcessThread, DropsReportsAfterStopAndUnknownCodes) {
    LHeadlessPlatform platform;
    LPlatformScope scope(platform);
    RecordingInterface owner;
    ReportingJob job;
    LProcessThread<ReportingJob> worker(&owner, job);
    worker.EvQueuedNotifyData(9, {});
    double half = 0.5;
    std::vector<uint8_t> bytes(reinterpret_cast<uint8_t*>(&half), reinterpret_cast<uint8_t*>(&half) + 8);
    worker.EvQueuedNotifyData(LNotifyProgress, bytes);
    worker.Stop();
    worker.EvQueuedNotifyData(LNotifyProgress, bytes);
    EXPECT_EQ(owner.calls, (std::vector<std::string>{"progress 0.500000"}));
}

// Runs until stopped, reporting as it goes.
struct EndlessJob {
    int rounds = 0;
};

LProcessResult Process(LProcessInterface& iface, EndlessJob& job) {
    iface.SetStatus("Warten", 0);
    while (!iface.ProcessWait(2)) {
        ++job.rounds;
        iface.SetProgress(0.5);
    }
    return LProcessStopped;
}

TEST(LProcessDialog, InterruptStopsTheJob) {
    LHeadlessPlatform platform;
    LPlatformScope scope(platform);
    EndlessJob job;
    LProcessDialog<EndlessJob> dialog("Test", job);
    // Ctrl-C while the job runs: the handler writes to the job's stop signal.
    platform.StartTimer(20, false, [] { ::raise(SIGINT); });
    EXPECT_EQ(dialog.Open(), LProcessStopped);
    EXPECT_EQ(dialog.Result(), LProcessStopped);
    EXPECT_FALSE(dialog.IsWindowOpen());
    EXPECT_EQ(platform.ProgressWindowsOpened(), 1);
    EXPECT_EQ(platform.ModalDepth(), 0);
}

TEST(LProcessDialog, StopRequestFromTheWindowStopsTheJob) {
    LHeadlessPlatform platform;
    LPlatformScope scope(platform);
    EndlessJob job;
    LProcessDialog<EndlessJob> dialog("Test", job);
    platform.StartTimer(10, false, [&] { dialog.Close(); });
    EXPECT_EQ(dialog.Open(), LProcessStopped);
}

TEST(LProcessDialog, ErrorsBecomeAlertsWithFortfahren) {
    LHeadlessPlatform platform;
    platform.SetQuiet(true);
    LPlatformScope scope(platform);
    ReportingJob job;
    LProcessDialog<ReportingJob> dialog("Speichern", job, LProcessDialog<ReportingJob>::WindowMode::WhenLong);
    EXPECT_EQ(dialog.Open(), LProcessFailed);
    auto alerts = platform.AlertsShown();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].title, "Speichern");
    EXPECT_EQ(alerts[0].text, "Fehler 7");
    EXPECT_EQ(alerts[0].buttons, (std::vector<std::string>{"Fortfahren"}));
}

// A dialog whose clock the test sets.
class ClockedMaybe : public LProgressDialogMaybe {
public:
    ClockedMaybe() : LProgressDialogMaybe("Test") { DeferWindowUntilLong(); }
    uint32_t now = 1000;

protected:
    uint32_t NowMilliseconds() const override { return now; }
};

TEST(LProgressDialogMaybe, WindowOnlyForLongJobs) {
    LHeadlessPlatform platform;
    LPlatformScope scope(platform);
    {
        ClockedMaybe quick;  // done in 10 ms: never a window
        for (int i = 1; i <= 10; ++i) {
            quick.now += 1;
            quick.SetProgress(i / 10.0);
            EXPECT_FALSE(quick.IsToStop());
        }
        EXPECT_FALSE(quick.IsWindowOpen());
    }
    {
        ClockedMaybe stuck;  // no progress at all, however long: no window
        stuck.now += 100000;
        stuck.SetProgress(0.0);
        EXPECT_FALSE(stuck.IsWindowOpen());
    }
    {
        ClockedMaybe slow;
        slow.now += 1000;
        slow.SetProgress(0.5);  // on pace for exactly two seconds: not yet
        EXPECT_FALSE(slow.IsWindowOpen());
        slow.now += 1;
        slow.SetProgress(0.5);  // behind that pace
        EXPECT_TRUE(slow.IsWindowOpen());
    }
    {
        ClockedMaybe wrapped;
        wrapped.now -= 5;  // the clock went backwards
        wrapped.SetProgress(0.0);
        EXPECT_TRUE(wrapped.IsWindowOpen());
    }
    EXPECT_EQ(platform.ProgressWindowsOpened(), 2);
}

TEST(LProgressDialogMaybe, FastJobUnderDialogShowsNoWindow) {
    LHeadlessPlatform platform;
    platform.SetQuiet(true);
    LPlatformScope scope(platform);
    ReportingJob job;
    job.rounds = 1;  // one report of 1.0: a window only if that came after two seconds
    LProcessDialog<ReportingJob> dialog("Schnell", job, LProcessDialog<ReportingJob>::WindowMode::WhenLong);
    dialog.Open();
    EXPECT_EQ(platform.ProgressWindowsOpened(), 0);
}

TEST(LProgressDialog, WaitsPumpEventsAndSeeSignalsAndStop) {
    LHeadlessPlatform platform;
    LPlatformScope scope(platform);
    LProgressDialog dialog("Test");
    dialog.OpenWindow();
    LSignalObject signal;
    bool ran = false;
    platform.Post([&] {
        ran = true;
        signal.Signal();
    });
    EXPECT_EQ(dialog.ProcessWaitSignal(signal, LWaitForever), 0);
    EXPECT_TRUE(ran);
    EXPECT_EQ(dialog.ProcessWaitSignal(LSignalObject().Ref(), 5), 2);
    platform.Post([&] { dialog.RequestStop(); });
    EXPECT_TRUE(dialog.ProcessWaitUntilStopped());
    EXPECT_TRUE(dialog.IsToStop());
}

}  // namespace
