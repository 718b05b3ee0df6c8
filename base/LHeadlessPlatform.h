#pragma once
// The platform without a display: an event loop on the thread that created
// it, alerts on stderr answered with the default button, and a progress window
// that draws a one-line bar on stderr when stderr is a terminal (and stays
// quiet otherwise). Tests can script alert answers and read what was shown.
#include "base/LPlatform.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

class LHeadlessPlatform : public LPlatform {
public:
    // The calling thread becomes the main thread.
    LHeadlessPlatform();
    ~LHeadlessPlatform() override;

    void Post(Closure closure) override;
    bool IsMainThread() const override { return std::this_thread::get_id() == mainThread_; }
    TimerId StartTimer(unsigned int milliseconds, bool periodic, Closure closure) override;
    void StopTimer(TimerId id) override;
    int RunMainLoop() override;
    void QuitMainLoop(int exitCode = 0) override;
    bool RunModalLoop(const std::function<bool()>& done) override;
    void QuitModalLoop() override;
    int ModalDepth() const override { return modalDepth_; }
    void DispatchPendingEvents() override;

    // Alerts take the scripted answers in order; once they run out, the
    // unattended answer (the default button unless the alert names one).
    int Alert(const LAlertRequest& request) override;
    int AlertWithCheckBox(const LAlertRequest& request, bool* checked) override;
    // File dialogs take scripted answers in order and cancel once they run out.
    std::vector<std::string> BrowseOpenFiles(const std::string& title, const std::string& folder,
                                             const std::vector<LFileFilter>& filters) override;
    std::string BrowseSaveFile(const std::string& title, const std::string& folder, const std::string& name,
                               const std::vector<LFileFilter>& filters, int* filterIndex) override;
    std::unique_ptr<LProgressWindow> CreateProgressWindow(const char* title, Closure onStop) override;

    // Answers for the next alerts, in order; `checked` for one with a check box.
    void ScriptAlertAnswer(int button, bool checked = false);
    // Answers for the next file dialogs; an empty answer cancels.
    void ScriptOpenAnswer(std::vector<std::string> paths);
    void ScriptSaveAnswer(std::string path, int filterIndex = -1);
    // Every alert shown so far.
    std::vector<LAlertRequest> AlertsShown() const;
    // Options windows: confirmed as they stand unless an answer is scripted;
    // a scripted answer may change the fields first.
    bool EditOptions(LOptionsForm& form) override;
    void ScriptOptionsAnswer(std::function<bool(LOptionsForm&)> answer);
    // Every options form shown so far, as it was shown.
    std::vector<LOptionsForm> OptionsShown() const;
    // Keeps alerts off stderr (tests).
    void SetQuiet(bool quiet) { quiet_ = quiet; }
    // How many progress windows were opened so far.
    int ProgressWindowsOpened() const { return progressWindowsOpened_; }

private:
    using Clock = std::chrono::steady_clock;
    struct Timer {
        Clock::time_point due;
        std::chrono::milliseconds interval;
        bool periodic;
        Closure closure;
    };

    // Runs one event, waiting for one at most until `wakeBy` when `block`.
    // False when nothing ran.
    bool DispatchOne(bool block);
    bool TakeDueTimer(Closure* closure);
    // Loops until `done` or a quit of this level or of the main loop.
    bool RunLoop(const std::function<bool()>& done, int level);

    const std::thread::id mainThread_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Closure> queue_;
    std::map<TimerId, Timer> timers_;
    TimerId nextTimerId_ = 1;
    bool quitMain_ = false;
    int exitCode_ = 0;
    std::atomic<int> modalDepth_{0};  // changed on the main thread under mutex_
    std::vector<bool> quitLevels_;    // index = modal depth, guarded by mutex_
    struct ScriptedAlert {
        int button;
        bool checked;
    };
    struct ScriptedSave {
        std::string path;
        int filterIndex;
    };
    int TakeAlertAnswer(const LAlertRequest& request, bool* checked);

    std::deque<ScriptedAlert> scriptedAnswers_;
    std::deque<std::vector<std::string>> scriptedOpens_;
    std::deque<ScriptedSave> scriptedSaves_;
    std::vector<LAlertRequest> alertsShown_;
    std::deque<std::function<bool(LOptionsForm&)>> scriptedOptions_;
    std::vector<LOptionsForm> optionsShown_;
    bool quiet_ = false;
    int progressWindowsOpened_ = 0;
};
