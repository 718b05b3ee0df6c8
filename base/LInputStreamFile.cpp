#include "base/LInputStreamFile.h"

bool LInputStreamFile::Open(const std::string& path) {
    Close();
    if (!file_.OpenRead(path.c_str())) return false;
    Attach(file_.Fd());
    return true;
}

void LInputStreamFile::Close() {
    Attach(-1);
    file_.Close();
}
