#pragma once
// LFileReplace: writes a file's new content beside it and swaps it in whole.
//
// The content goes to a temporary file in the target's folder (same file
// system, so rename is atomic), is flushed to disk, and only Commit() renames
// it over the target. Until then the old file stays untouched; an object
// destroyed without Commit() removes its temporary file. Readers therefore
// always see either the complete old file or the complete new one.
#include "base/LFile.h"

#include <string>

class LFileReplace {
public:
    enum class TempName {
        Suffix,  // "<target>.tmp-XXXXXX"
        // ".<name>-XXXXXX<extension>": hidden from folder listings, and of the
        // target's type for whatever looks at the extension.
        HiddenSameExtension,
    };
    // Opens the temporary file; check IsOpen(). An existing target's
    // permission bits carry over to the new file, otherwise 0666 & ~umask.
    explicit LFileReplace(const std::string& targetPath, TempName naming = TempName::Suffix);
    ~LFileReplace();
    LFileReplace(const LFileReplace&) = delete;
    LFileReplace& operator=(const LFileReplace&) = delete;

    bool IsOpen() const { return file_.IsOpen(); }
    // The temporary file, for writing (and seeking, for formats that patch
    // their header at the end).
    LFile& File() { return file_; }
    const std::string& TempPath() const { return tempPath_; }

    // fsync, close, rename over the target, fsync the folder. False (target
    // unchanged, temporary removed) on any failure.
    bool Commit();
    // Drops the new content; the target stays as it was.
    void Discard();

private:
    std::string targetPath_;
    std::string tempPath_;
    LFile file_;
};
