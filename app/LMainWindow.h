#pragma once
// The application's main window, in the part that isn't specific to audio:
// one instance per user (a later start hands its arguments over and ends),
// the run lock, the start-up and shutdown order, and the launch requests that
// reach a running instance. MainDialog derives from it.
//
// Everything here runs on the main thread, except where noted.
#include "app/CopyData.h"
#include "app/LMainWindowPipeListenerThread.h"
#include "app/LPipeListenerWithThreads.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

class LMainWindow {
public:
    // How long a later start waits for its hand-over to go through.
    static constexpr unsigned kHandOverWaitMilliseconds = 10000;

    enum class HandOver { kNone, kSent, kFailed };

    LMainWindow();
    virtual ~LMainWindow();
    LMainWindow(const LMainWindow&) = delete;
    LMainWindow& operator=(const LMainWindow&) = delete;

    // The window of this process while it exists and isn't being destroyed.
    static LMainWindow* Current();

    // Start-up. False when another instance took this start's arguments (see
    // LastHandOver); the caller then ends the process at once.
    bool MainWindowInit();
    HandOver LastHandOver() const { return handOver_; }

    // A whole command line in one string (from a URL request or a launch
    // parameter): split, then either a URI for LURISchemeHandler or a vector
    // for EvRunArguments(argv, argc).
    void EvRunArguments(const char* line);
    // Interprets an argument vector; argv[0] is the sender's program path.
    virtual void EvRunArguments(const char* const* argv, int argc) = 0;
    // Arguments from the socket or from this start.
    void MainWindowReceivedArguments(const CopyData& data);

    // Brings the application forward (nothing to do without a screen).
    virtual void CmOpen() {}
    virtual void ShowWindow(bool /*show*/) {}
    virtual void SetClientSize(int /*width*/, int /*height*/) {}
    virtual bool IsWindowOnScreen() const { return false; }

    // Ends the application unless a modal dialog runs or CmCancel declines.
    virtual bool CmExit();
    // Saves and closes everything; false when the user declined.
    virtual bool CmCancel() { return true; }
    void Close();

    // Launch requests of the desktop. An open-documents request reaches a
    // running instance as an argument hand-over; these are kept for requests
    // that a desktop integration delivers to the process itself.
    void EvOpenApplication(const char* launchArguments);
    void EvOpenDocuments(const std::vector<std::string>& paths);
    void EvQuitRequest(bool forLogoutRestartOrShutdown);
    void EvOpenURL(const char* url);
    virtual void EvLoadFile(const char* path) = 0;

    bool IsReady() const { return ready_; }
    bool IsBeingDestroyed() const { return destroying_; }
    bool IsClosed() const { return closed_; }
    bool QuitForSessionEnd() const { return quitReasonSet_[0] && quitReasonSet_[1]; }
    // The process's exit status once the loop has ended.
    virtual int ExitStatus() const { return 0; }

    // Socket and run lock paths; set before MainWindowInit (tests point them
    // elsewhere), by default in the user's temporary folder.
    void SetPaths(std::string socketPath, std::string runLockPath);

protected:
    virtual void InitDialog() {}
    virtual void DestroyDialog() {}
    // Whether a modal dialog other than the main window runs.
    virtual bool IsModalRunning() const;
    // Shows an alert through the alert service; returns the button index.
    virtual int Alert(const char* title, const char* text, std::initializer_list<const char*> buttons);
    std::string GetSetting(const char* section, const char* key, const char* defaultValue);
    void SetSetting(const char* section, const char* key, const char* value);

private:
    bool HandArgumentsToRunningInstance();
    void StartListener();
    void TakeRunLock();
    void PlayPendingLaunchRequests();
    void RunURIArguments(const std::vector<std::string>& arguments);
    void StopPipeThreads();
    // The setting MainWindowShownAtStartup.
    bool IsShownAtStartup();

    using Listener = LPipeListenerWithThreads<LMainWindowPipeListenerThread>;
    std::unique_ptr<Listener> listener_;
    std::string socketPath_;
    std::string runLockPath_;
    HandOver handOver_ = HandOver::kNone;

    bool ready_ = false;
    bool destroying_ = false;
    bool closed_ = false;
    bool documentsPending_ = false;
    std::vector<std::string> pendingDocuments_;
    std::string pendingLaunchArguments_;  // empty: none pending
    bool quitReasonSet_[2] = {false, false};
};
