#pragma once
// KVWindowManager: the open documents, as tabbed windows of document views.
// It knows which view is current and enforces the limit of 60 open
// documents. It decides nothing about loading or saving; the controller,
// which derives from it, does that. Main thread only.
#include "views/KVFileGUI.h"

#include <memory>
#include <string>
#include <vector>

// One tabbed window: its document views in tab order, and the one in front.
struct KVTabbedFileWindow {
    std::vector<std::unique_ptr<KVFileGUI>> files;
    KVFileGUI* current = nullptr;
};

class KVWindowManager {
public:
    static constexpr int kMaxFiles = 60;

    virtual ~KVWindowManager();

    // Documents open in all windows.
    int GetFileCount() const;
    // True below the limit; at it, says so and returns false.
    virtual bool CheckMaxFiles();

    KVTabbedFileWindow& AddEmptyTabbedWindow();
    // A new view of `file` on `window`, which becomes its current view and,
    // with the window, the current one.
    KVFileGUI& AddFileWindow(KVTabbedFileWindow& window, KVFileRef file, KVControllerInterface& controller);
    // Takes the view off its window (the window goes with its last view).
    void RemoveFileWindow(KVFileGUI& view);

    KVTabbedFileWindow* GetCurrentTabbedWindow() const { return current_; }
    // The current window's current view, or nullptr.
    KVFileGUI* GetCurrentFileGUI() const { return current_ ? current_->current : nullptr; }
    void SetCurrentFileWindow(KVFileGUI& view);
    // The view of the document saved at exactly this path, or nullptr.
    KVFileGUI* FindFileWindow(const std::string& path) const;
    // Every view, window by window, in tab order.
    std::vector<KVFileGUI*> FileWindows() const;

private:
    std::vector<std::unique_ptr<KVTabbedFileWindow>> windows_;
    KVTabbedFileWindow* current_ = nullptr;
};
