#include "views/KVFileGUI.h"

bool KVFileGUI::IsEmptyDocument() const {
    return !file_ || (file_->cutList.IsEmpty() && !file_->modified);
}

std::string KVFileGUI::GetTitle() const {
    if (!file_) return {};
    if (!file_->GetPath().empty()) return file_->GetFileName();
    return file_->cutList.GetName();
}
