#pragma once
// A job under a modal progress dialog:
//
//     MyJob job{...};
//     LProcessDialog<MyJob> dialog("Verstärken", job);
//     LProcessResult result = dialog.Open();
//
// Open() runs Process(iface, job) on a worker thread while the main thread
// runs a nested modal loop, so the program stays responsive whatever the job
// does. The job's reports reach the dialog on the main thread in order. The
// stop button, Close() and Ctrl-C all set the job's stop flag; a job that
// honours it ends with LProcessStopped. With WindowMode::WhenLong the window
// appears only for jobs that look set to take more than two seconds.
// Call Open() on the main thread.
#include "base/LProcessThread.h"
#include "base/LProgressDialog.h"

#include <atomic>

class LProcessDialogRunInterface : public LProgressDialog {
public:
    enum class WindowMode { Always, WhenLong };

    LProcessDialogRunInterface(const char* title, WindowMode mode);

    // Shows the window (unless deferred), runs MainFunction with Ctrl-C
    // turned into a stop request, closes the window and returns the result.
    LProcessResult Open();
    LProcessResult Result() const { return result_; }

    // Both also stop a running worker.
    void RequestStop() override;
    void Close() override;

protected:
    virtual LProcessResult MainFunction() = 0;
    // Runs `worker`'s job on its thread while the main thread runs a modal
    // loop (or, without a platform, on this thread with this dialog).
    LProcessResult RunOnWorker(LProcessThreadBase& worker);

private:
    LProcessResult result_ = LProcessFailed;
    std::atomic<LProcessThreadBase*> worker_{nullptr};
};

template <class T>
class LProcessDialog : public LProcessDialogRunInterface {
public:
    LProcessDialog(const char* title, T& job, WindowMode mode = WindowMode::Always)
        : LProcessDialogRunInterface(title, mode), job_(job) {}

protected:
    LProcessResult MainFunction() override {
        LProcessThread<T> worker(this, job_);
        return RunOnWorker(worker);
    }

private:
    T& job_;
};
