#pragma once
// LFileModifier: guards an edit that StartModifyFile has begun. Unless
// Commit() is called, the destructor puts the document back to the snapshot
// and forgets it (KVCoreUtils::RevertModifyFile), so an edit that fails or is
// stopped leaves no trace in the document or its undo ring.
//
//     if (!KVCoreUtils::StartModifyFile(view, "Verstärken")) return;
//     LFileModifier modifier(view);
//     if (Process(dialog, job) != LProcessOK) return;   // reverted here
//     KVCoreUtils::EndModifyFile(view);
//     modifier.Commit();
#include "edit/KVCoreUtils.h"

class LFileModifier {
public:
    explicit LFileModifier(KVFileViewInterface* view) : view_(view) {}
    ~LFileModifier() {
        if (!committed_) KVCoreUtils::RevertModifyFile(view_);
    }
    LFileModifier(const LFileModifier&) = delete;
    LFileModifier& operator=(const LFileModifier&) = delete;

    void Commit() { committed_ = true; }

private:
    KVFileViewInterface* view_;
    bool committed_ = false;
};
