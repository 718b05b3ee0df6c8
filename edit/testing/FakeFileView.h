#pragma once
// Shared by the document tests: a view over a document and a controller that
// writes down every kvc... call it receives.
#include "edit/KVControllerInterface.h"
#include "edit/KVFile.h"
#include "edit/KVFileViewInterface.h"

#include <string>
#include <vector>

class RecordingController : public KVControllerInterface {
public:
    void kvcSendFileMessage(KVFileViewInterface&, int message) override { Add("message " + std::to_string(message)); }
    void kvcFileApply(bool changed) override { Add(changed ? "apply changed" : "apply saved"); }
    void kvcUpdateUndoMenuItem() override { Add("undo menu"); }
    void kvcEnableEditEffectsOptions() override { Add("enable"); }
    void kvcStartPlay() override { Add("play"); }
    void kvcHintWorkingDirectoryLowDiskSpace(KVFileViewInterface&) override { Add("low space"); }

    std::vector<std::string> Take() {
        std::vector<std::string> out;
        out.swap(calls_);
        return out;
    }

private:
    void Add(std::string call) { calls_.push_back(std::move(call)); }
    std::vector<std::string> calls_;
};

class FakeFileView : public KVFileViewInterface {
public:
    explicit FakeFileView(KVFile* file) : file_(file) {}
    KVFile* GetFile() override { return file_; }
    bool IsClosing() const override { return closing_; }
    KVControllerInterface& GetController() override { return controller_; }

    RecordingController& Controller() { return controller_; }
    void SetClosing(bool closing) { closing_ = closing; }

private:
    KVFile* file_;
    bool closing_ = false;
    RecordingController controller_;
};
