#include "base/LProgressDialog.h"

#include "base/LSteadyClock.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {
// While a job waits on the main thread, events are dispatched at least this often.
constexpr unsigned int kPumpSliceMs = 20;
}

LProgressDialog::LProgressDialog(const char* title) : title_(title ? title : "") {}

LProgressDialog::~LProgressDialog() { CloseWindow(); }

void LProgressDialog::OpenWindow() {
    if (window_)
        return;
    LPlatform* platform = LPlatform::Current();
    if (!platform)
        return;
    window_ = platform->CreateProgressWindow(title_.c_str(), [this] { RequestStop(); });
    if (!window_)
        return;
    // A window opened late shows what the job has reported so far.
    for (int line = 0; line < 2; ++line)
        if (!lines_[line].empty())
            window_->SetLine(line, lines_[line].c_str());
    window_->SetIndeterminate(indeterminate_);
    window_->SetProgress(progress_);
}

void LProgressDialog::CloseWindow() { window_.reset(); }

void LProgressDialog::RequestStop() { stop_.Signal(); }

void LProgressDialog::Close() {
    if (window_)
        window_->DisableStop();
    RequestStop();
}

void LProgressDialog::PumpEvents() {
    if (LPlatform* platform = LPlatform::Current())
        platform->DispatchPendingEvents();
}

bool LProgressDialog::IsToStop() {
    // A deferred dialog without a window has no events of its own to keep
    // alive; a stop by Ctrl-C or Close() still ends the job.
    if (!deferred_ || window_)
        PumpEvents();
    return stop_.IsSignaled();
}

int LProgressDialog::WaitPumping(LSignalObjectGroup& group, unsigned int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    const int count = group.Count();
    group.Add(stop_.Ref());  // when full, the stop flag is still read each slice
    int result = 2;
    for (;;) {
        PumpEvents();
        unsigned int slice = kPumpSliceMs;
        if (milliseconds != LWaitForever) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
            slice = static_cast<unsigned int>(std::clamp<long long>(left, 0, kPumpSliceMs));
        }
        const int fired = group.Wait(slice);
        if (stop_.IsSignaled()) {
            result = 1;
            break;
        }
        if (fired >= 0 && fired < count) {
            result = 0;
            break;
        }
        if (milliseconds != LWaitForever && Clock::now() >= deadline)
            break;
    }
    group.SetCount(count);
    return result;
}

bool LProgressDialog::ProcessWait(unsigned int milliseconds) {
    LSignalObjectGroup none;
    return WaitPumping(none, milliseconds) == 1;
}

int LProgressDialog::ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) {
    LSignalObjectGroup group;
    group.Add(signal);
    return WaitPumping(group, milliseconds);
}

int LProgressDialog::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) {
    return WaitPumping(group, milliseconds);
}

void LProgressDialog::SetError(char const* text) { LAlert(title_.c_str(), text ? text : "", {"Fortfahren"}, 0); }

void LProgressDialog::SetStatus(char const* text, int line) {
    if (line < 0 || line > 1)
        return;
    lines_[line] = text ? text : "";
    if (window_)
        window_->SetLine(line, lines_[line].c_str());
}

void LProgressDialog::DeferWindowUntilLong() {
    deferred_ = true;
    start_ = NowMilliseconds();
}

uint32_t LProgressDialog::NowMilliseconds() const {
    return LSteadyMilliseconds();
}

void LProgressDialog::SetProgress(double fraction) {
    if (deferred_ && !window_) {
        const int32_t elapsed = static_cast<int32_t>(NowMilliseconds() - start_);
        // Elapsed time t against the 2000 * fraction ms the job would have
        // used so far if it took two seconds in all: behind that pace means
        // longer than two seconds. The first 11 ms are too short to judge; a
        // clock that went backwards opens the window to be safe.
        const bool looksLong =
            fraction > 0.0 && elapsed >= 11 && std::trunc(2000.0 * fraction) < static_cast<double>(elapsed);
        if (elapsed < 0 || looksLong)
            OpenWindow();
    }
    progress_ = fraction;
    if (window_)
        window_->SetProgress(fraction);
}

void LProgressDialog::SetProgressIndeterminateOn() {
    indeterminate_ = true;
    if (window_)
        window_->SetIndeterminate(true);
}

void LProgressDialog::SetProgressIndeterminateOff() {
    indeterminate_ = false;
    if (window_)
        window_->SetIndeterminate(false);
}

