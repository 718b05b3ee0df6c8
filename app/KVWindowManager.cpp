#include "app/KVWindowManager.h"

#include "base/LPlatform.h"

#include <algorithm>

KVWindowManager::~KVWindowManager() = default;

int KVWindowManager::GetFileCount() const {
    int count = 0;
    for (const auto& window : windows_) count += static_cast<int>(window->files.size());
    return count;
}

bool KVWindowManager::CheckMaxFiles() {
    if (GetFileCount() < kMaxFiles) return true;
    LAlert("Kelvane",
           "Max. Dateianzahl überschritten. Bitte schließen Sie einige Dateien, bevor Sie weitere laden.");
    return false;
}

KVTabbedFileWindow& KVWindowManager::AddEmptyTabbedWindow() {
    windows_.push_back(std::make_unique<KVTabbedFileWindow>());
    current_ = windows_.back().get();
    return *current_;
}

KVFileGUI& KVWindowManager::AddFileWindow(KVTabbedFileWindow& window, KVFileRef file,
                                          KVControllerInterface& controller) {
    window.files.push_back(std::make_unique<KVFileGUI>(std::move(file), controller));
    window.current = window.files.back().get();
    current_ = &window;
    return *window.current;
}

void KVWindowManager::RemoveFileWindow(KVFileGUI& view) {
    for (auto w = windows_.begin(); w != windows_.end(); ++w) {
        auto& files = (*w)->files;
        auto it = std::find_if(files.begin(), files.end(), [&](const auto& f) { return f.get() == &view; });
        if (it == files.end()) continue;
        const size_t index = static_cast<size_t>(it - files.begin());
        files.erase(it);
        if (files.empty()) {
            const bool wasCurrent = current_ == w->get();
            windows_.erase(w);
            if (wasCurrent) current_ = windows_.empty() ? nullptr : windows_.back().get();
        } else if ((*w)->current == &view) {
            (*w)->current = files[std::min(index, files.size() - 1)].get();
        }
        return;
    }
}

void KVWindowManager::SetCurrentFileWindow(KVFileGUI& view) {
    for (const auto& window : windows_) {
        for (const auto& file : window->files) {
            if (file.get() != &view) continue;
            window->current = file.get();
            current_ = window.get();
            return;
        }
    }
}

KVFileGUI* KVWindowManager::FindFileWindow(const std::string& path) const {
    for (KVFileGUI* view : FileWindows()) {
        if (view->GetFile() && view->GetFile()->GetPath() == path) return view;
    }
    return nullptr;
}

std::vector<KVFileGUI*> KVWindowManager::FileWindows() const {
    std::vector<KVFileGUI*> views;
    for (const auto& window : windows_) {
        for (const auto& file : window->files) views.push_back(file.get());
    }
    return views;
}
