#include "base/LSaveTransaction.h"

#include <climits>
#include <cstdlib>

namespace {

// The file a path names at the end of its links; the path itself when it
// doesn't exist yet.
std::string FollowLinks(const std::string& path) {
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) ? std::string(resolved) : path;
}

}  // namespace

LSaveTransaction::LSaveTransaction(const std::string& target)
    : target_(FollowLinks(target)),
      replace_(std::make_unique<LFileReplace>(target_, LFileReplace::TempName::HiddenSameExtension)) {}

bool LSaveTransaction::Commit() { return replace_ && replace_->Commit(); }
