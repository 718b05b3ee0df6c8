#include "edit/KVFile.h"

#include "base/LSettings.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace {

constexpr const char* kSettingsSection = "Settings";
constexpr const char* kFileNameFormatKey = "FileNameFormat";
constexpr const char* kDefaultFileNameFormat = "Unbenannt_%autonumber%";
constexpr const char* kAutoNumberKey = "AutoNumber";
constexpr const char* kRedoRecordName = "Wiederholen";

// A stored selection that selects nothing comes back as the cursor.
KVSelection SelectionOrCursor(const KVSelection& selection, long long cursor) {
    KVSelection result = selection;
    if (result.IsEmpty()) result.SetCursor(cursor);
    return result;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

std::string TwoDigits(int value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%02d", value);
    return buffer;
}

// The last step of the naming pattern, as printf would do it with one int
// argument: "%%" is a "%", "%i" the number. Done by hand because the pattern
// comes from the user: a pattern naming the number twice must not make printf
// read a missing argument.
std::string ExpandNumber(const std::string& pattern, int number) {
    std::string out;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '%' && i + 1 < pattern.size() && pattern[i + 1] == '%') {
            out += '%';
            ++i;
        } else if (pattern[i] == '%' && i + 1 < pattern.size() && pattern[i + 1] == 'i') {
            out += std::to_string(number);
            ++i;
        } else {
            out += pattern[i];
        }
    }
    return out;
}

}  // namespace

KVFile::KVFile(const char* path, const LCutListAudio& list) : KVFileBase(list) {
    cutList.SetMP3LosslessContextRoot(&losslessRoot_);
    dirty = true;
    modified = true;
    SetPath(path);
}

KVFile::KVFile(const LCutListAudio& list) : KVFileBase(list) {
    cutList.SetMP3LosslessContextRoot(&losslessRoot_);
    dirty = true;
    modified = true;
    char name[kNameSize];
    GetNewFileName(name, true, nullptr, GetAutoNumber());
    SetPath(name);
}

KVFile::~KVFile() {
    // References on cache items go in this order: the undo records' first,
    // the document's own last, so closing returns the space of all its edits.
    for (KVFileUndo& record : ring_) record.Clear();
    for (KVFileUndo& record : aside_) record.Clear();
    bookmarks.clear();
    regions.clear();
    if (!tempFolder_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(tempFolder_, ignored);
    }
    cutList.ClearSegments();
}

void KVFile::SetPath(const char* path) {
    path_ = path ? std::string(path, strnlen(path, kPathSize - 1)) : std::string();
}

std::string KVFile::GetFileName() const {
    const size_t slash = path_.find_last_of('/');
    return slash == std::string::npos ? path_ : path_.substr(slash + 1);
}

// --- Undo ring ------------------------------------------------------------------

void KVFile::WriteSnapshot(KVFileUndo& record, const char* name) {
    // Assignments reuse the record's storage.
    record.cutList = cutList;
    record.dirty = dirty;
    record.modified = modified;
    record.selection = SelectionOrCursor(selection, cursor);
    record.cursor = cursor;
    record.viewPosition = viewPosition;
    record.bookmarks = bookmarks;
    record.regions = *liveRegions_;
    record.SetName(name);
}

void KVFile::RestoreFrom(const KVFileUndo& record) {
    cutList = record.cutList;
    dirty = record.dirty;
    modified = record.modified;
    selection = SelectionOrCursor(record.selection, record.cursor);
    cursor = record.cursor;
    viewPosition = record.viewPosition;
    bookmarks = record.bookmarks;
    *liveRegions_ = record.regions;
}

void KVFile::StepForwardAndClearAhead() {
    index_ = Next(index_);
    ring_[Next(index_, 1)].Clear();
    ring_[Next(index_, 2)].Clear();
}

void KVFile::SaveForUndo(const char* name) {
    ReleaseAside();
    StepForwardAndClearAhead();
    WriteSnapshot(ring_[index_], name);
}

bool KVFile::Undo() {
    ReleaseAside();
    if (!ring_[index_].IsUsed()) return false;
    if (!ring_[Next(index_)].IsUsed()) {
        // The present state hasn't been kept yet: it is what redo leads to.
        SaveForUndo(kRedoRecordName);
        index_ = Previous(index_);
    }
    RestoreFrom(ring_[index_]);
    index_ = Previous(index_);
    return true;
}

bool KVFile::Redo() {
    ReleaseAside();
    const KVFileUndo& record = ring_[Next(index_, 2)];
    if (!record.IsUsed()) return false;
    RestoreFrom(record);
    index_ = Next(index_);
    return true;
}

bool KVFile::CanUndo() const { return ring_[index_].IsUsed(); }

bool KVFile::CanRedo() const { return ring_[Next(index_, 2)].IsUsed(); }

std::string KVFile::GetUndoMenuText() const { return std::string("Rückgängig ") + ring_[index_].GetName(); }

std::string KVFile::GetRedoMenuText() const {
    return std::string("Wiederholen ") + (CanRedo() ? ring_[Next(index_)].GetName() : "");
}

void KVFile::SetFileClean() {
    ReleaseAside();
    dirty = false;
    for (KVFileUndo& record : ring_) record.dirty = true;
    ring_[Next(index_)].dirty = false;
}

// --- Modify bracket ----------------------------------------------------------------

void KVFile::BeginUndoableChange(const char* name) {
    ReleaseAside();
    // The snapshot overwrites the record after the index and clears the two
    // after that: keep all three, swapped out whole (no copies, no allocation).
    for (int k = 0; k < 3; ++k) std::swap(ring_[Next(index_, 1 + k)], aside_[k]);
    index_ = Next(index_);
    WriteSnapshot(ring_[index_], name);
    changePending_ = true;
}

void KVFile::CommitUndoableChange() { ReleaseAside(); }

void KVFile::ReleaseAside() {
    if (!changePending_) return;
    for (KVFileUndo& record : aside_) record.Clear();
    changePending_ = false;
}

void KVFile::CancelUndoableChange(bool restoreDocument) {
    if (restoreDocument && ring_[index_].IsUsed()) RestoreFrom(ring_[index_]);
    if (changePending_) {
        for (int k = 0; k < 3; ++k) std::swap(ring_[Next(index_, k)], aside_[k]);
        for (KVFileUndo& record : aside_) record.Clear();
        changePending_ = false;
    } else {
        ring_[index_].Clear();
        ring_[Next(index_)].Clear();
    }
    index_ = Previous(index_);
}

// --- Names -------------------------------------------------------------------------

int KVFile::GetAutoNumber() { return LUserSettingGet<int>(kSettingsSection, kAutoNumberKey, 1); }

void KVFile::GetNewFileName(char* out, bool increment, const char* format, int number) {
    std::string pattern = format ? format
                                 : LUserSettingGetString(kSettingsSection, kFileNameFormatKey, kDefaultFileNameFormat);
    ReplaceAll(pattern, "%", "%%");
    ReplaceAll(pattern, "%%autonumber%%", "%i");

    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    ReplaceAll(pattern, "%%YYYY%%", std::to_string(local.tm_year + 1900));
    ReplaceAll(pattern, "%%MM%%", TwoDigits(local.tm_mon + 1));
    ReplaceAll(pattern, "%%DD%%", TwoDigits(local.tm_mday));
    ReplaceAll(pattern, "%%HH%%", TwoDigits(local.tm_hour));
    ReplaceAll(pattern, "%%MIN%%", TwoDigits(local.tm_min));
    ReplaceAll(pattern, "%%SS%%", TwoDigits(local.tm_sec));

    const std::string name = ExpandNumber(pattern, number);
    const size_t length = std::min(name.size(), kNameSize - 1);
    std::memcpy(out, name.data(), length);
    out[length] = '\0';

    if (increment) LUserSettingSet<int>(kSettingsSection, kAutoNumberKey, GetAutoNumber() + 1);
}
