#pragma once
// The application controller. This part of it interprets argument vectors,
// from this start or handed over by a later one, and carries each argument
// out at once, in order, so that "file.wav -save -exit" loads, saves, exits.
//
// The operations that arguments lead to are virtual: features that this
// build lacks say so through the alert service and count as failed, and the
// tests replace them with recorders.
#include "app/KVWindowManager.h"
#include "app/LMainWindow.h"
#include "base/LPlatform.h"
#include "edit/KVControllerInterface.h"

#include <cstdint>
#include <string>
#include <vector>

class MainDialog : public LMainWindow, public KVWindowManager, public KVControllerInterface {
public:
    // Forced record setting that "-record" asks for.
    static constexpr int kForcedRecordFromCommandLine = 3;

    // What "-batch" collected, for the batch converter.
    struct BatchArguments {
        std::vector<std::string> inputFiles;
        std::string scriptPath;
        std::string inputFolder;
        std::string outputFolder;
        std::string outputFormat;
        bool run = false;
        bool quitWhenDone = false;
        bool fromCommandLine = false;
    };

    MainDialog();
    ~MainDialog() override;

    using LMainWindow::EvRunArguments;
    // Interprets argv[1..argc-1]; argv[0] is the sender's program path.
    // Main thread only.
    void EvRunArguments(const char* const* argv, int argc) override;

    const BatchArguments& Batch() const { return batch_; }
    const std::string& WorkingFolder() const { return workingFolder_; }
    const std::string& AutoSaveFolder() const { return autoSaveFolder_; }
    // Operations that failed since start: argument runs that failed make the
    // process end with a non-zero status.
    int FailedOperations() const { return failedOperations_; }
    int ExitStatus() const override { return failedOperations_ > 0 ? 1 : 0; }

    // Operations reached from the command line.
    virtual void RecoveryPrompt();
    virtual bool CmSave(bool prompt);
    virtual bool HasCurrentDocument();
    virtual bool SaveAs(const char* path);
    virtual bool CmPlay(int64_t position, bool selectionOnly);
    virtual bool CmRecord(int forcedRecordSetting);
    virtual bool Stop(bool askUser);
    virtual bool CmStart();
    virtual bool CmBatchConverter();
    bool CheckMaxFiles() override;
    // Opens a file as a document (or brings it forward when it is open
    // already); says why when it can't. Main thread.
    virtual bool LoadFile(const char* path, bool addToRecent, bool quiet);
    // The load itself: a new document, the load job, and a window for it.
    virtual bool AddFileToList(const char* path, bool addToRecent, bool quiet);
    // The Open command: a multiple-choice open dialog starting in `folder`
    // (or the last folder, or Music), then each chosen file in order.
    bool CmOpenFile(const char* folder);
    // Files and folders dropped on the window, in order.
    void EvDropFiles(const std::vector<std::string>& paths);
    // Every file below `folder`, leaving out hidden entries and "__MACOSX".
    void LoadFolderRecursively(const char* folder);
    void EvRecentFileOpen(const char* path);
    // The sound formats as the open dialog lists them.
    static std::vector<LFileFilter> OpenFilters();
    virtual bool LoadProject(const char* path);
    void EvLoadFile(const char* path) override;

    // Saves and closes every document, asking about unsaved changes; false
    // when the user cancelled (everything stays open).
    bool CmCancel() override { return CmCloseAll(); }
    bool CmCloseAll();
    // Closes one document view, asking first when it has unsaved changes.
    bool CmCloseFileWindow(KVFileGUI& view, int& yesToAll, int& noToAll, bool& cancelled);
    // Save As for the current document; the document is then closed and
    // loaded afresh from its new file, so that it shows what the format kept.
    bool CmSaveAs();
    // The refresh after any change of documents (views, controls).
    virtual void FileApply(bool applyToFile);

    // --- KVControllerInterface ---------------------------------------------------
    void kvcSendFileMessage(KVFileViewInterface& view, int message) override;
    void kvcFileApply(bool changed) override { FileApply(changed); }
    void kvcUpdateUndoMenuItem() override {}
    void kvcEnableEditEffectsOptions() override {}
    void kvcStartPlay() override { CmPlay(-1, false); }
    void kvcHintWorkingDirectoryLowDiskSpace(KVFileViewInterface& view) override;
    bool kvcStopPlay(bool askUser) override { return Stop(askUser); }
    void kvcAddToRecentFileList(const char* path) override;

protected:
    void DestroyDialog() override;
    // The working folder has less room than the documents need (message 109).
    virtual void EvLowDiskSpace() {}
    // Counts a failed operation (the exit status reports it).
    void NoteFailure() { ++failedOperations_; }
    // Tells the user that a feature is missing from this build; counts as failed.
    bool ReportUnavailable(const char* what, const char* subject = nullptr);
    // `SuppressSaveFormatPrompt`: empty or "0" means format prompts run on save.
    virtual bool SaveFormatPromptWanted();

private:
    // Each returns true when the scan is to go on.
    bool RunListFile(const char* path);
    void RunBatchArguments(const char* const* argv, int first, int argc);
    void OpenArgumentFile(const char* path);
    // Puts a loaded document into the current empty view, or a new one.
    void ShowDocument(KVFileRef file);
    // Message 109 when the working folder can't take the document and more.
    void CheckWorkingFolderSpace(const KVFile& file);
    bool TakeBatchOperand(const char* const* argv, int* index, int argc, std::string* out,
                          const char* title, const char* text);

    BatchArguments batch_;
    bool argumentsSeen_ = false;
    std::string workingFolder_;   // from the settings, fixed for the life of the process
    std::string autoSaveFolder_;  // <working folder>/autosave
    int failedOperations_ = 0;
};
