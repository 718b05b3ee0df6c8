#include "base/LHeadlessPlatform.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

// A one-line bar on stderr, redrawn in place with a carriage return. When
// stderr is not a terminal (logs, pipes, test runs) nothing is written, so
// redirected output is not flooded with control characters.
class HeadlessProgressWindow : public LProgressWindow {
public:
    explicit HeadlessProgressWindow(const char* title)
        : draw_(::isatty(STDERR_FILENO) == 1), title_(title ? title : "") {
        Draw();
    }
    ~HeadlessProgressWindow() override {
        if (draw_ && drawn_)
            std::fputs("\n", stderr);
    }
    void SetLine(int line, const char* text) override {
        if (line == 0)
            main_ = text ? text : "";
        else if (line == 1)
            detail_ = text ? text : "";
        Draw();
    }
    void SetProgress(double fraction) override {
        fraction_ = std::clamp(fraction, 0.0, 1.0);
        Draw();
    }
    void SetIndeterminate(bool on) override {
        indeterminate_ = on;
        Draw();
    }
    void DisableStop() override {}

private:
    void Draw() {
        if (!draw_)
            return;
        constexpr int kWidth = 30;
        char bar[kWidth + 1];
        const int filled = indeterminate_ ? 0 : static_cast<int>(fraction_ * kWidth);
        for (int i = 0; i < kWidth; ++i)
            bar[i] = indeterminate_ ? '~' : (i < filled ? '#' : '-');
        bar[kWidth] = 0;
        std::string status = main_.empty() ? title_ : main_;
        if (!detail_.empty())
            status += " - " + detail_;
        if (status.size() > 60)
            status.resize(60);
        std::fprintf(stderr, "\r[%s] %3d%% %-60s", bar, static_cast<int>(fraction_ * 100.0), status.c_str());
        std::fflush(stderr);
        drawn_ = true;
    }

    const bool draw_;
    bool drawn_ = false;
    bool indeterminate_ = false;
    double fraction_ = 0.0;
    std::string title_, main_, detail_;
};

}  // namespace

LHeadlessPlatform::LHeadlessPlatform() : mainThread_(std::this_thread::get_id()), quitLevels_(1, false) {}

LHeadlessPlatform::~LHeadlessPlatform() = default;

void LHeadlessPlatform::Post(Closure closure) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        queue_.push_back(std::move(closure));
    }
    wake_.notify_all();
}

LPlatform::TimerId LHeadlessPlatform::StartTimer(unsigned int milliseconds, bool periodic, Closure closure) {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto interval = std::chrono::milliseconds(std::max(1u, milliseconds));
    const TimerId id = nextTimerId_++;
    timers_[id] = Timer{Clock::now() + interval, interval, periodic, std::move(closure)};
    wake_.notify_all();
    return id;
}

void LHeadlessPlatform::StopTimer(TimerId id) {
    std::lock_guard<std::mutex> lock(mutex_);
    timers_.erase(id);
}

bool LHeadlessPlatform::TakeDueTimer(Closure* closure) {
    const auto now = Clock::now();
    auto due = timers_.end();
    for (auto it = timers_.begin(); it != timers_.end(); ++it)
        if (it->second.due <= now && (due == timers_.end() || it->second.due < due->second.due))
            due = it;
    if (due == timers_.end())
        return false;
    *closure = due->second.closure;
    if (due->second.periodic)
        due->second.due = std::max(due->second.due + due->second.interval, now);
    else
        timers_.erase(due);
    return true;
}

bool LHeadlessPlatform::DispatchOne(bool block) {
    Closure closure;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            // Posted closures go before timers: they are already late.
            if (!queue_.empty()) {
                closure = std::move(queue_.front());
                queue_.pop_front();
                break;
            }
            if (TakeDueTimer(&closure))
                break;
            if (!block || quitMain_ || quitLevels_[modalDepth_])
                return false;
            auto next = Clock::time_point::max();
            for (const auto& [id, timer] : timers_)
                next = std::min(next, timer.due);
            if (next == Clock::time_point::max())
                wake_.wait(lock);
            else
                wake_.wait_until(lock, next);
            // Waking is an event too: the caller re-checks its condition.
            if (queue_.empty())
                return false;
        }
    }
    if (closure)
        closure();
    return true;
}

bool LHeadlessPlatform::RunLoop(const std::function<bool()>& done, int level) {
    for (;;) {
        if (done && done())
            return true;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (quitMain_)
                return false;
            if (quitLevels_[level]) {
                quitLevels_[level] = false;
                return false;
            }
        }
        DispatchOne(true);
    }
}

int LHeadlessPlatform::RunMainLoop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        quitMain_ = false;
    }
    RunLoop(nullptr, modalDepth_);
    std::lock_guard<std::mutex> lock(mutex_);
    return exitCode_;
}

void LHeadlessPlatform::QuitMainLoop(int exitCode) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        quitMain_ = true;
        exitCode_ = exitCode;
    }
    wake_.notify_all();
}

bool LHeadlessPlatform::RunModalLoop(const std::function<bool()>& done) {
    int level;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        level = ++modalDepth_;
        if (static_cast<int>(quitLevels_.size()) <= level)
            quitLevels_.resize(level + 1, false);
        quitLevels_[level] = false;
    }
    const bool result = RunLoop(done, level);
    std::lock_guard<std::mutex> lock(mutex_);
    quitLevels_[level] = false;
    --modalDepth_;
    return result;
}

void LHeadlessPlatform::QuitModalLoop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (modalDepth_ > 0)
            quitLevels_[modalDepth_] = true;
    }
    wake_.notify_all();
}

void LHeadlessPlatform::DispatchPendingEvents() {
    // Only what waits now: closures posted by the closures run here wait for
    // the next call, so a job that calls this per block cannot be starved.
    size_t count;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        count = queue_.size() + 1;
    }
    while (count-- > 0 && DispatchOne(false)) {
    }
}

int LHeadlessPlatform::TakeAlertAnswer(const LAlertRequest& request, bool* checked) {
    std::lock_guard<std::mutex> lock(mutex_);
    alertsShown_.push_back(request);
    if (!quiet_)
        std::fprintf(stderr, "%s: %s\n", request.title.c_str(), request.text.c_str());
    *checked = false;
    if (scriptedAnswers_.empty())
        return request.unattendedButton >= 0 ? request.unattendedButton : request.defaultButton;
    const ScriptedAlert answer = scriptedAnswers_.front();
    scriptedAnswers_.pop_front();
    *checked = answer.checked && !request.checkBox.empty();
    return answer.button;
}

int LHeadlessPlatform::Alert(const LAlertRequest& request) {
    bool checked = false;
    return TakeAlertAnswer(request, &checked);
}

int LHeadlessPlatform::AlertWithCheckBox(const LAlertRequest& request, bool* checked) {
    return TakeAlertAnswer(request, checked);
}

void LHeadlessPlatform::ScriptAlertAnswer(int button, bool checked) {
    std::lock_guard<std::mutex> lock(mutex_);
    scriptedAnswers_.push_back({button, checked});
}

std::vector<std::string> LHeadlessPlatform::BrowseOpenFiles(const std::string&, const std::string&,
                                                            const std::vector<LFileFilter>&) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (scriptedOpens_.empty()) return {};
    std::vector<std::string> answer = std::move(scriptedOpens_.front());
    scriptedOpens_.pop_front();
    return answer;
}

std::string LHeadlessPlatform::BrowseSaveFile(const std::string&, const std::string&, const std::string&,
                                              const std::vector<LFileFilter>&, int* filterIndex) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (scriptedSaves_.empty()) return {};
    ScriptedSave answer = std::move(scriptedSaves_.front());
    scriptedSaves_.pop_front();
    if (filterIndex && answer.filterIndex >= 0) *filterIndex = answer.filterIndex;
    return answer.path;
}

void LHeadlessPlatform::ScriptOpenAnswer(std::vector<std::string> paths) {
    std::lock_guard<std::mutex> lock(mutex_);
    scriptedOpens_.push_back(std::move(paths));
}

void LHeadlessPlatform::ScriptSaveAnswer(std::string path, int filterIndex) {
    std::lock_guard<std::mutex> lock(mutex_);
    scriptedSaves_.push_back({std::move(path), filterIndex});
}

std::vector<LAlertRequest> LHeadlessPlatform::AlertsShown() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return alertsShown_;
}

std::unique_ptr<LProgressWindow> LHeadlessPlatform::CreateProgressWindow(const char* title, Closure /*onStop*/) {
    // Without a stop button, a stop comes from Ctrl-C (see LStopOnInterrupt).
    ++progressWindowsOpened_;
    return std::make_unique<HeadlessProgressWindow>(title);
}

bool LHeadlessPlatform::EditOptions(LOptionsForm& form) {
    std::function<bool(LOptionsForm&)> answer;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        optionsShown_.push_back(form);
        if (!scriptedOptions_.empty()) {
            answer = std::move(scriptedOptions_.front());
            scriptedOptions_.pop_front();
        }
    }
    return answer ? answer(form) : true;
}

void LHeadlessPlatform::ScriptOptionsAnswer(std::function<bool(LOptionsForm&)> answer) {
    std::lock_guard<std::mutex> lock(mutex_);
    scriptedOptions_.push_back(std::move(answer));
}

std::vector<LOptionsForm> LHeadlessPlatform::OptionsShown() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return optionsShown_;
}
