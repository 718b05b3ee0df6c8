#pragma once
// LSaveTransaction: saving over a user's file without ever putting it at
// risk. The writer writes a hidden file of the same extension beside the
// target; Commit() syncs it and renames it over the target in one step. Until
// then, and whenever anything fails (the writer, the disk, the process being
// killed half-way), the old file stays exactly as it was. The new file keeps
// the old one's permission bits, and a target that is a symbolic link is
// followed, so the link stays and the file it names is replaced.
//
// One thread; the transaction owns its temporary file until Commit or
// destruction (which removes it).
#include "base/LFileReplace.h"

#include <memory>
#include <string>

class LSaveTransaction {
public:
    // Prepares the temporary file beside `target`; check IsOpen().
    explicit LSaveTransaction(const std::string& target);
    ~LSaveTransaction() = default;
    LSaveTransaction(const LSaveTransaction&) = delete;
    LSaveTransaction& operator=(const LSaveTransaction&) = delete;

    bool IsOpen() const { return replace_ && replace_->IsOpen(); }
    // Where the writer writes (it may open the path anew).
    const std::string& WritePath() const { return replace_->TempPath(); }
    // The file that will be replaced: the target with its links followed.
    const std::string& Target() const { return target_; }

    // Syncs the written file and renames it over the target. False (the
    // target untouched, the temporary file gone) on any failure.
    bool Commit();

private:
    std::string target_;
    std::unique_ptr<LFileReplace> replace_;
};
