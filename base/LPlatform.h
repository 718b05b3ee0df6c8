#pragma once
// What the general library needs from the windowing toolkit, as one abstract
// interface: the main thread's event loop (posted closures, timers, nested
// modal loops), alerts, and the window of a progress dialog. The toolkit layer
// implements it; LHeadlessPlatform implements it for tests and for runs
// without a display. One platform is current per process (a designed global),
// set once by the program's entry before anything posts or alerts.
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

// One question to the user: a title, a text and the buttons, left to right.
struct LAlertRequest {
    std::string title;
    std::string text;
    std::vector<std::string> buttons;  // never empty when shown; "OK" if none given
    int defaultButton = 0;             // index into buttons
    // The answer when nobody can answer (no display, a script or a batch
    // run): -1 means the default button.
    int unattendedButton = -1;
    // A check box under the text ("Für alle wiederholen"); none when empty.
    // Its answer comes back through LAlertWithCheckBox.
    std::string checkBox;
};

// One line of a file dialog's format list: a name and its extensions, each
// with its point (".wav").
struct LFileFilter {
    std::string name;
    std::vector<std::string> extensions;
};

// A format's options window without its widgets: the settings keys of one
// section with their values as text. The toolkit lays it out; whoever asks
// for it stores the answers.
struct LOptionsField {
    std::string key;                   // settings key within the section
    std::string value;                 // the value shown, and the answer
    std::vector<std::string> choices;  // the allowed values; empty: any text
};
struct LOptionsForm {
    std::string windowClass;  // names the window, e.g. "LFlacEncoderOptionsWindow"
    std::string section;      // settings section of the fields
    std::vector<LOptionsField> fields;
};

// The visible part of a progress dialog: two text lines, a bar, a stop button.
// Created and used on the main thread only.
class LProgressWindow {
public:
    virtual ~LProgressWindow() = default;
    // Line 0 is the main line, 1 the detail line.
    virtual void SetLine(int line, const char* text) = 0;
    virtual void SetProgress(double fraction) = 0;
    virtual void SetIndeterminate(bool on) = 0;
    // Greys the stop button once a stop has been asked for.
    virtual void DisableStop() = 0;
};

class LPlatform {
public:
    using Closure = std::function<void()>;
    using TimerId = uint64_t;

    virtual ~LPlatform() = default;

    // --- Main-thread event loop -------------------------------------------
    // Runs `closure` on the main thread after the current event. Callable from
    // any thread; closures run in posting order.
    virtual void Post(Closure closure) = 0;
    virtual bool IsMainThread() const = 0;
    // Calls `closure` on the main thread after `milliseconds`, once or every
    // `milliseconds`. Main thread only. Ids are never 0.
    virtual TimerId StartTimer(unsigned int milliseconds, bool periodic, Closure closure) = 0;
    // Ends a timer; unknown or finished ids are ignored. May be called from
    // the timer's own closure.
    virtual void StopTimer(TimerId id) = 0;
    // Runs the main loop until QuitMainLoop; returns the exit code given there.
    virtual int RunMainLoop() = 0;
    // Ends the main loop and every modal loop running inside it. Any thread.
    virtual void QuitMainLoop(int exitCode = 0) = 0;
    // Runs a nested loop until `done()` is true (true is returned) or the loop
    // is quit (false). `done` is checked before each event, so whoever makes
    // it true from another thread should Post() something to wake the loop.
    virtual bool RunModalLoop(const std::function<bool()>& done) = 0;
    // Ends the innermost modal loop. Any thread.
    virtual void QuitModalLoop() = 0;
    // How many modal loops are running (0 outside any).
    virtual int ModalDepth() const = 0;
    // Runs what is waiting now (posted closures, due timers) without blocking.
    virtual void DispatchPendingEvents() = 0;

    // --- User interface -----------------------------------------------------
    // Shows an alert and returns the index of the chosen button.
    virtual int Alert(const LAlertRequest& request) = 0;
    // Like Alert; `checked` (never null) gets the check box's state, which
    // starts unticked. The default shows the alert without the box.
    virtual int AlertWithCheckBox(const LAlertRequest& request, bool* checked);
    // A modal open dialog allowing several files; the chosen paths in the
    // order given, empty when cancelled. The default cancels.
    virtual std::vector<std::string> BrowseOpenFiles(const std::string& title, const std::string& folder,
                                                     const std::vector<LFileFilter>& filters);
    // A modal save dialog that asks before overwriting; the chosen path, or
    // empty when cancelled. `filterIndex` goes in as the preselected filter and
    // comes back as the chosen one. The default cancels.
    virtual std::string BrowseSaveFile(const std::string& title, const std::string& folder, const std::string& name,
                                       const std::vector<LFileFilter>& filters, int* filterIndex);
    // Shows an options window, modal; true when the user confirmed, with the
    // answers in the fields. Main thread only. A platform that can't ask
    // confirms what stands.
    virtual bool EditOptions(LOptionsForm& form);
    // A progress window; `onStop` runs on the main thread when the user asks
    // to stop.
    virtual std::unique_ptr<LProgressWindow> CreateProgressWindow(const char* title, Closure onStop) = 0;

    // --- The process's platform ---------------------------------------------
    static LPlatform* Current();
    static void SetCurrent(LPlatform* platform);
};

// Makes a platform current for a scope and restores the previous one after.
class LPlatformScope {
public:
    explicit LPlatformScope(LPlatform& platform) : previous_(LPlatform::Current()) { LPlatform::SetCurrent(&platform); }
    ~LPlatformScope() { LPlatform::SetCurrent(previous_); }
    LPlatformScope(const LPlatformScope&) = delete;
    LPlatformScope& operator=(const LPlatformScope&) = delete;

private:
    LPlatform* previous_;
};

// Alerts through the current platform; returns the chosen button's index.
// Without a platform the text goes to stderr and the default button is taken.
int LAlert(const LAlertRequest& request);
int LAlert(const char* title, const char* text, std::initializer_list<const char*> buttons = {"OK"},
           int defaultButton = 0);
// An alert with its check box; `checked` gets the box's state.
int LAlertWithCheckBox(const LAlertRequest& request, bool* checked);
// Posts to the current platform's main thread; false (closure dropped) when
// there is no platform.
bool LPostToMainThread(LPlatform::Closure closure);
