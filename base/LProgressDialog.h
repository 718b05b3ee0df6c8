#pragma once
// Progress dialogs: the job interface of the main thread. A job run directly
// under an LProgressDialog keeps the program responsive because IsToStop()
// and the waits dispatch pending events, so such a job must call IsToStop()
// often and expect re-entrant event handling. The window itself comes from the
// current platform (LPlatform::CreateProgressWindow). Main thread only.
//
// LProgressDialogMaybe opens its window only when the job turns out to be
// long: quick jobs never flash one.
#include "base/LPlatform.h"
#include "base/LProcessInterface.h"
#include "base/LSignalObject.h"

#include <cstdint>
#include <memory>
#include <string>

class LProgressDialog : public LProcessInterface {
public:
    explicit LProgressDialog(const char* title);
    ~LProgressDialog() override;
    LProgressDialog(const LProgressDialog&) = delete;
    LProgressDialog& operator=(const LProgressDialog&) = delete;

    // Opens the window (a no-op when it is open or there is no platform).
    void OpenWindow();
    void CloseWindow();
    bool IsWindowOpen() const { return window_ != nullptr; }

    // The user asked to stop (stop button, Ctrl-C): sets the stop flag.
    virtual void RequestStop();
    // Greys the stop button and sets the stop flag.
    virtual void Close();
    LSignalObjectRef StopSignal() const { return stop_.Ref(); }
    const std::string& Title() const { return title_; }

    bool IsToStop() override;
    bool ProcessWait(unsigned int milliseconds) override;
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) override;
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) override;
    // An alert with the button "Fortfahren"; the job waits until it is answered.
    void SetError(char const* text) override;
    // Lines 0 and 1 are shown; higher lines are ignored.
    void SetStatus(char const* text, int line) override;
    void SetProgress(double fraction) override;
    void SetProgressIndeterminateOn() override;
    void SetProgressIndeterminateOff() override;

protected:
    // Opens no window until the job looks set to take more than two seconds
    // in all (judged in SetProgress); until then IsToStop dispatches nothing.
    void DeferWindowUntilLong();
    bool IsWindowDeferred() const { return deferred_; }
    // Milliseconds of a steady clock, as 32 bits (it may wrap). Tests replace
    // it and then call DeferWindowUntilLong() again to restart the clock.
    virtual uint32_t NowMilliseconds() const;
    void PumpEvents();

    std::unique_ptr<LProgressWindow> window_;

private:
    // Runs events until stop (1), a member of the group (0) or time-out (2).
    int WaitPumping(LSignalObjectGroup& group, unsigned int milliseconds);

    std::string title_;
    std::string lines_[2];
    double progress_ = 0.0;
    bool indeterminate_ = false;
    bool deferred_ = false;
    uint32_t start_ = 0;
    LSignalObject stop_;
};

class LProgressDialogMaybe : public LProgressDialog {
public:
    explicit LProgressDialogMaybe(const char* title) : LProgressDialog(title) { DeferWindowUntilLong(); }
};
