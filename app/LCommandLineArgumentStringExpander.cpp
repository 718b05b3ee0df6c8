#include "app/LCommandLineArgumentStringExpander.h"

LCommandLineArgumentStringExpander::LCommandLineArgumentStringExpander(const char* line)
    : cursor_(line ? line : "") {}

bool LCommandLineArgumentStringExpander::NextArgument() {
    for (;;) {
        argument_.clear();
        while (*cursor_ != '\0' && IsSeparator(*cursor_))
            ++cursor_;
        if (*cursor_ == '\0')
            return false;
        bool ended = false;
        while (!ended && *cursor_ != '\0' && !IsSeparator(*cursor_)) {
            if (cursor_[0] == '\\' && cursor_[1] == ' ') {
                argument_ += ' ';
                cursor_ += 2;
            } else if (*cursor_ == '"') {
                ++cursor_;
                TakeQuotedRun();
                ended = true;
            } else {
                argument_ += *cursor_++;
            }
        }
        if (!argument_.empty())
            return true;
    }
}

void LCommandLineArgumentStringExpander::TakeQuotedRun() {
    while (*cursor_ != '\0' && *cursor_ != '"') {
        if (cursor_[0] == '\\' && cursor_[1] == ' ') {
            argument_ += ' ';
            cursor_ += 2;
        } else {
            argument_ += *cursor_++;
        }
    }
    if (*cursor_ == '"')
        ++cursor_;  // the closing quote belongs to this argument
}

std::vector<std::string> LCommandLineArgumentStringExpander::Split(const char* line) {
    std::vector<std::string> arguments;
    LCommandLineArgumentStringExpander expander(line);
    while (expander.NextArgument())
        arguments.push_back(expander.Argument());
    return arguments;
}
