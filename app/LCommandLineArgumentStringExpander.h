#pragma once
// Splits a whole command line held in one string (as it arrives with a URL
// request or a launch parameter) into arguments:
//  - every character up to and including the blank separates arguments, and
//    such characters before an argument are skipped;
//  - a backslash followed by a blank yields a blank; any other backslash is kept;
//  - a double quote opens a quoted run in which blanks are kept; the next
//    double quote ends the argument;
//  - empty arguments are dropped.
#include <string>
#include <vector>

class LCommandLineArgumentStringExpander {
public:
    explicit LCommandLineArgumentStringExpander(const char* line);

    // Advances to the next argument; false when the line is used up.
    bool NextArgument();
    const std::string& Argument() const { return argument_; }

    static std::vector<std::string> Split(const char* line);

private:
    static bool IsSeparator(char c) { return static_cast<unsigned char>(c) <= ' '; }
    void TakeQuotedRun();

    const char* cursor_;
    std::string argument_;
};
