#include "base/LProcessDialog.h"

#include "base/LStopOnInterrupt.h"

LProcessDialogRunInterface::LProcessDialogRunInterface(const char* title, WindowMode mode) : LProgressDialog(title) {
    if (mode == WindowMode::WhenLong)
        DeferWindowUntilLong();
}

LProcessResult LProcessDialogRunInterface::Open() {
    // WhenLong opens from SetProgress; Always opens here.
    if (!IsWindowDeferred())
        OpenWindow();
    result_ = MainFunction();
    CloseWindow();
    return result_;
}

void LProcessDialogRunInterface::RequestStop() {
    LProgressDialog::RequestStop();
    if (LProcessThreadBase* worker = worker_.load())
        worker->Stop();
}

void LProcessDialogRunInterface::Close() {
    LProgressDialog::Close();
    if (LProcessThreadBase* worker = worker_.load())
        worker->Stop();
}

LProcessResult LProcessDialogRunInterface::RunOnWorker(LProcessThreadBase& worker) {
    LPlatform* platform = LPlatform::Current();
    if (!platform || !platform->IsMainThread()) {
        // No event loop to keep alive: run the job here, reporting directly.
        LStopOnInterrupt interrupt(StopSignal());
        return worker.RunJobHere(*this);
    }
    // Ctrl-C goes straight to the worker's stop signal.
    LStopOnInterrupt interrupt(worker.StopSignal());
    worker_ = &worker;
    bool done = false;
    worker.SetOnDone([&done] { done = true; });
    if (StopSignal().IsSignaled() || !worker.Start()) {
        worker_ = nullptr;
        return StopSignal().IsSignaled() ? LProcessStopped : LProcessFailed;
    }
    // The modal loop ends when the worker's "done" closure has run, i.e.
    // after every report it posted before it.
    if (!platform->RunModalLoop([&done] { return done; }))
        worker.Stop();  // the main loop is quitting: don't leave the job behind
    worker.Wait();
    worker_ = nullptr;
    return worker.Result();
}
