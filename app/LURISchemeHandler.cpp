#include "app/LURISchemeHandler.h"

#include "base/LHexDigit.h"

#include <cstring>

namespace {

// Percent-decoding; a '%' not followed by two hex digits stands for itself.
// A decoded NUL ends the text, as it would in any C string handed on.
std::string PercentDecode(const char* text, std::size_t limit) {
    std::string out;
    while (*text != '\0' && out.size() < limit) {
        char c = *text;
        if (c == '%' && LHexDigitValue(text[1]) >= 0 && LHexDigitValue(text[2]) >= 0) {
            c = static_cast<char>(LHexDigitValue(text[1]) * 16 + LHexDigitValue(text[2]));
            text += 3;
            if (c == '\0')
                break;
        } else {
            ++text;
        }
        out += c;
    }
    return out;
}

}  // namespace

LURISchemeHandler& LURISchemeHandler::Instance() {
    static LURISchemeHandler instance;
    return instance;
}

void LURISchemeHandler::ScriptAdd(const char* path, Callback callback, long data) {
    if (!path || !callback)
        return;
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    entries_[path] = Entry{callback, data};
}

void LURISchemeHandler::ScriptRemove(const char* path) {
    if (!path)
        return;
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    entries_.erase(path);
}

bool LURISchemeHandler::Call(const std::string& path, const char* uri) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    const auto found = entries_.find(path);
    if (found == entries_.end())
        return false;
    // Copied out: the callback may remove its own entry while it runs.
    const Entry entry = found->second;
    entry.callback(uri, entry.data);
    return true;
}

bool LURISchemeHandler::HasScheme(const char* argument) {
    return argument && std::strncmp(argument, kScheme, std::strlen(kScheme)) == 0;
}

bool LURISchemeHandler::Parse(const char* argument, std::string* decoded, std::string* path) {
    if (!HasScheme(argument))
        return false;
    const char* rest = argument + std::strlen(kScheme);
    if (rest[0] == '/' && rest[1] == '/')
        rest += 2;
    *decoded = PercentDecode(rest, kMaxDecodedLength);
    *path = decoded->substr(0, decoded->find_first_of("?#"));
    if (path->empty() || *path == "/")
        return false;
    if (path->back() == '/')
        path->pop_back();
    return true;
}

bool LURISchemeHandler::Dispatch(const char* argument) {
    std::string decoded, path;
    if (!Parse(argument, &decoded, &path))
        return false;
    return Call(path, decoded.c_str());
}
