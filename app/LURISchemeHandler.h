#pragma once
// Receives "orv.kelvane:" URIs (browser redirects after a login, for example)
// and hands each to the callback registered for its path.
//
// The map is guarded by a recursive mutex that stays held while a callback
// runs, so a callback may remove itself or register another path.
#include <map>
#include <mutex>
#include <string>

class LURISchemeHandler {
public:
    using Callback = void (*)(const char* uri, long data);

    static constexpr const char* kScheme = "orv.kelvane:";
    static constexpr int kMaxDecodedLength = 259;

    // The process-wide handler, empty until something registers.
    static LURISchemeHandler& Instance();

    // Registers (or replaces) the callback for an exact, case-sensitive path.
    void ScriptAdd(const char* path, Callback callback, long data);
    void ScriptRemove(const char* path);

    // Calls the callback registered for `path` with `uri`; false when none is.
    bool Call(const std::string& path, const char* uri);

    // True when `argument` begins with the scheme.
    static bool HasScheme(const char* argument);

    // Decodes a URI argument: skips the scheme and a following "//",
    // percent-decodes the rest into at most 259 characters (*decoded) and takes
    // the part before the first '?' or '#' as the path, less one trailing '/'.
    // False when the path is empty or just "/": such a URI addresses nothing.
    static bool Parse(const char* argument, std::string* decoded, std::string* path);

    // Parse, then Call; false when nothing was called.
    bool Dispatch(const char* argument);

private:
    struct Entry {
        Callback callback;
        long data;
    };
    std::recursive_mutex mutex_;
    std::map<std::string, Entry> entries_;
};
