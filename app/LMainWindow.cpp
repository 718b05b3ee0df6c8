#include "app/LMainWindow.h"

#include "app/KVArguments.h"
#include "app/LCommandLineArgumentStringExpander.h"
#include "app/LHangDetector.h"
#include "app/LMainWindowSendThread.h"
#include "app/LNamedPipeRef.h"
#include "app/LURISchemeHandler.h"
#include "base/LDebugThreads.h"
#include "base/LFile.h"
#include "base/LPlatform.h"
#include "base/LSettings.h"

#include <unistd.h>

#include <atomic>
#include <cstring>

namespace {

std::atomic<LMainWindow*> gMainWindow{nullptr};

std::vector<const char*> Pointers(const std::vector<std::string>& arguments) {
    std::vector<const char*> argv;
    argv.reserve(arguments.size());
    for (const auto& argument : arguments)
        argv.push_back(argument.c_str());
    return argv;
}

}  // namespace

LMainWindow::LMainWindow() { gMainWindow = this; }

LMainWindow::~LMainWindow() {
    destroying_ = true;
    LMainWindow* self = this;
    gMainWindow.compare_exchange_strong(self, nullptr);
    StopPipeThreads();
}

LMainWindow* LMainWindow::Current() {
    LMainWindow* window = gMainWindow.load();
    return window && !window->destroying_ ? window : nullptr;
}

void LMainWindow::SetPaths(std::string socketPath, std::string runLockPath) {
    socketPath_ = std::move(socketPath);
    runLockPath_ = std::move(runLockPath);
}

// --- Start-up -----------------------------------------------------------------

bool LMainWindow::MainWindowInit() {
    if (socketPath_.empty())
        socketPath_ = LNamedPipeRef::ApplicationPath();
    if (runLockPath_.empty())
        runLockPath_ = LHangDetector::MakePath(LFile::GetTempFolder());

    if (HandArgumentsToRunningInstance())
        return false;
    StartListener();

    gwDebugCurrentCommand = kDebugCommandGuiInit;
    TakeRunLock();
    SetSetting("Settings", "FirstRun", "1");
    InitDialog();
    ready_ = true;

    LPostToMainThread([this] {
        if (Current() == this)
            PlayPendingLaunchRequests();
    });
    if (IsShownAtStartup())
        ShowWindow(true);
    if (pendingLaunchArguments_.empty()) {
        // Even a start without arguments takes this road, so the first
        // argument run always happens inside the running event loop.
        auto data = std::make_shared<CopyData>();
        data->Fill(gargc, gargv);
        LPostToMainThread([this, data] {
            if (Current() == this)
                MainWindowReceivedArguments(*data);
        });
    }
    gwDebugCurrentCommand = kDebugCommandIdle;
    return true;
}

bool LMainWindow::HandArgumentsToRunningInstance() {
    int fd = -1;
    if (LNamedPipeRef::Connect(socketPath_, &fd) != LNamedPipeRef::ConnectResult::kConnected)
        return false;
    {
        LMainWindowSendThread sender(fd, gargc, gargv);
        if (sender.Start(LMainWindowSendThread::kPriority))
            sender.WaitFor(kHandOverWaitMilliseconds);
        handOver_ = sender.Sent() ? HandOver::kSent : HandOver::kFailed;
    }  // stops the sender if it is still trying
    close(fd);
    return true;
}

void LMainWindow::StartListener() {
    listener_ = std::make_unique<Listener>(socketPath_, [](std::unique_ptr<CopyData> data) {
        // On a worker thread: the record goes to the main thread, where it is
        // used only if the window still exists, and freed in either case.
        std::shared_ptr<CopyData> block(std::move(data));
        LPostToMainThread([block] {
            if (LMainWindow* window = Current())
                window->MainWindowReceivedArguments(*block);
        });
    });
    listener_->Start(LPipeListener::kPriority);
}

void LMainWindow::TakeRunLock() {
    // Whether the last run crashed is for the recovery prompt to tell; the
    // lock is taken (or left to a live holder) either way.
    LHangDetector::Instance().Start(runLockPath_);
}

// --- Arguments ------------------------------------------------------------------

void LMainWindow::MainWindowReceivedArguments(const CopyData& data) {
    const std::vector<const char*> argv = data.ArgumentPointers();
    const int count = static_cast<int>(argv.size());
    if (count == 1)
        CmOpen();  // a start without arguments raises the running instance
    if (count == 2 && LURISchemeHandler::HasScheme(argv[1])) {
        // A URL request of the desktop reaches us as "kelvane <uri>".
        RunURIArguments({argv[0], argv[1]});
        return;
    }
    EvRunArguments(argv.data(), count);
}

void LMainWindow::EvRunArguments(const char* line) {
    const std::vector<std::string> arguments = LCommandLineArgumentStringExpander::Split(line);
    if (arguments.empty())
        return;
    if (arguments.size() == 2 && LURISchemeHandler::HasScheme(arguments[1].c_str())) {
        RunURIArguments(arguments);
        return;
    }
    const std::vector<const char*> argv = Pointers(arguments);
    EvRunArguments(argv.data(), static_cast<int>(argv.size()));
}

void LMainWindow::RunURIArguments(const std::vector<std::string>& arguments) {
    // An unknown path is dropped without a word.
    LURISchemeHandler::Instance().Dispatch(arguments[1].c_str());
}

// --- Launch requests ------------------------------------------------------------

void LMainWindow::EvOpenApplication(const char* launchArguments) {
    if (IsShownAtStartup())
        CmOpen();
    if (launchArguments && *launchArguments)
        pendingLaunchArguments_ = launchArguments;
}

void LMainWindow::EvOpenDocuments(const std::vector<std::string>& paths) {
    if (documentsPending_)
        return;
    documentsPending_ = true;
    pendingDocuments_ = paths;
    if (ready_)
        PlayPendingLaunchRequests();
}

void LMainWindow::PlayPendingLaunchRequests() {
    if (documentsPending_) {
        const std::vector<std::string> paths = std::move(pendingDocuments_);
        pendingDocuments_.clear();
        for (const auto& path : paths)
            EvLoadFile(path.substr(0, CopyData::kSlotSize - 1).c_str());
        documentsPending_ = false;
    }
    if (!pendingLaunchArguments_.empty()) {
        const std::string line = std::move(pendingLaunchArguments_);
        pendingLaunchArguments_.clear();
        EvRunArguments(line.c_str());
    }
}

void LMainWindow::EvQuitRequest(bool forLogoutRestartOrShutdown) {
    if (forLogoutRestartOrShutdown)
        quitReasonSet_[0] = quitReasonSet_[1] = true;
    CmOpen();
    CmExit();
}

void LMainWindow::EvOpenURL(const char* url) {
    // "Kelvane " stands where a program path would, so that the split yields
    // the two arguments the URI rule asks for.
    EvRunArguments((std::string("Kelvane ") + (url ? url : "")).c_str());
}

// --- Shutdown -------------------------------------------------------------------

bool LMainWindow::CmExit() {
    if (IsModalRunning())
        return false;
    if (!CmCancel())
        return false;
    if (IsWindowOnScreen())
        ShowWindow(true);  // restored from the dock before it goes
    Close();
    LPostToMainThread([] {
        if (LPlatform* platform = LPlatform::Current())
            platform->QuitMainLoop(0);
    });
    return true;
}

void LMainWindow::Close() {
    if (closed_ || destroying_)
        return;
    if (IsModalRunning()) {
        // Try again once the modal dialogs have closed.
        LPostToMainThread([this] {
            if (Current() == this)
                Close();
        });
        return;
    }
    // From here on, arguments that arrive are dropped.
    destroying_ = true;
    if (LPlatform* platform = LPlatform::Current())
        platform->DispatchPendingEvents();
    ShowWindow(false);
    DestroyDialog();
    StopPipeThreads();
    LHangDetector::Instance().Remove();
    gwDebugCurrentCommand = kDebugCommandGuiDestroy;
    closed_ = true;
}

void LMainWindow::StopPipeThreads() {
    if (listener_) {
        listener_->Shutdown();
        listener_.reset();
    }
}

// --- Platform services ----------------------------------------------------------

bool LMainWindow::IsModalRunning() const {
    const LPlatform* platform = LPlatform::Current();
    return platform && platform->ModalDepth() > 0;
}

int LMainWindow::Alert(const char* title, const char* text, std::initializer_list<const char*> buttons) {
    return LAlert(title, text, buttons);
}

bool LMainWindow::IsShownAtStartup() {
    // Only a value that begins with '0' hides the window; empty shows it.
    return GetSetting("Settings", "MainWindowShownAtStartup", "").rfind('0', 0) != 0;
}

std::string LMainWindow::GetSetting(const char* section, const char* key, const char* defaultValue) {
    return LUserSettingGetString(section, key, defaultValue);
}

void LMainWindow::SetSetting(const char* section, const char* key, const char* value) {
    LUserSettingSetString(section, key, value);
}
