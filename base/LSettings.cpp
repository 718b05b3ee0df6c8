#include "base/LSettings.h"

#include <sys/file.h>

#include <charconv>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "base/LFile.h"
#include "base/LFileLock.h"
#include "base/LSettingsFile.h"
#include "base/LSettingsLog.h"
#include "base/LXMLDocument.h"

const char kLSettingsDomain[] = "com.orvelsoftware.kelvanede";

namespace {

constexpr int kXmlLockWaitMs = 10000;

// Cuts to 259 bytes without splitting a UTF-8 sequence, so a cut value is
// still valid text.
std::string CutValue(const char* value) {
    std::string text = value ? value : "";
    if (text.size() <= kLSettingMaxValue) return text;
    size_t end = kLSettingMaxValue;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    text.resize(end);
    return text;
}

// Copies into a 260-byte buffer; the source may overlap it (a caller may pass
// its output buffer as the default).
void CopyOut(const std::string& text, char* out) {
    std::string cut = CutValue(text.c_str());
    std::memcpy(out, cut.c_str(), cut.size() + 1);
}

bool ValidDomain(const std::string& domain) {
    return !domain.empty() && domain.size() <= 100 && domain[0] != '.' && domain.find('/') == std::string::npos;
}

// One LSettingsFile per domain for the life of the process: the store the
// user scope names, kept so its mutex and read cache are shared by all threads.
LSettingsFile* UserStore(const char* domain) {
    static std::mutex mutex;
    static std::map<std::string, std::unique_ptr<LSettingsFile>> stores;
    std::string name = (domain && domain[0]) ? domain : kLSettingsDomain;
    if (!ValidDomain(name)) return nullptr;
    std::string folder = LFile::GetSettingsFolder();
    if (folder.empty()) return nullptr;
    std::string path = folder + "/" + name + ".conf";
    std::lock_guard<std::mutex> hold(mutex);
    // Keyed by path: tests and tools may move the settings folder.
    auto& store = stores[path];
    if (!store) store = std::make_unique<LSettingsFile>(path);
    return store.get();
}

std::string SectionPrefix(const char* section) {
    std::string prefix;
    if (!LSettingFullKey(section, "", &prefix)) return std::string();
    return prefix;
}

}  // namespace

bool LSettingFullKey(const char* section, const char* key, std::string* fullKey) {
    std::string s = section ? section : "";
    std::string k = key ? key : "";
    *fullKey = (!s.empty() && s.back() == '/') ? s + k : s + "/" + k;
    return fullKey->size() <= kLSettingMaxFullKey;
}

// ---- user scope ----

bool _LSettingGetString(const char* domain, const char* section, const char* key, const char* defaultValue,
                        char* out) {
    std::string fullKey, value;
    LSettingsFile* store = UserStore(domain);
    if (store && LSettingFullKey(section, key, &fullKey) && store->Get(fullKey, &value)) {
        CopyOut(value, out);
        return true;
    }
    CopyOut(defaultValue ? defaultValue : "", out);
    return false;
}

void _LSettingSetString(const char* domain, const char* section, const char* key, const char* value) {
    std::string fullKey;
    LSettingsFile* store = UserStore(domain);
    if (store && LSettingFullKey(section, key, &fullKey)) store->Set(fullKey, CutValue(value));
}

bool _LSettingPlistGetNextKey(const char* domain, const char* section, long* cursor, char* keyOut) {
    LSettingsFile* store = UserStore(domain);
    std::string prefix = SectionPrefix(section);
    if (!store || prefix.empty() || *cursor < 0) return false;
    std::vector<std::string> keys = store->KeysWithPrefix(prefix);
    if (static_cast<size_t>(*cursor) >= keys.size()) return false;
    std::string name = keys[static_cast<size_t>(*cursor)].substr(prefix.size());
    name.resize(std::min(name.size(), kLSettingMaxFullKey));
    std::memcpy(keyOut, name.c_str(), name.size() + 1);
    ++*cursor;
    return true;
}

bool LUserSettingGetString(const char* section, const char* key, const char* defaultValue, char* out) {
    return _LSettingGetString(nullptr, section, key, defaultValue, out);
}

std::string LUserSettingGetString(const char* section, const char* key, const char* defaultValue) {
    char out[kLSettingBufferSize];
    LUserSettingGetString(section, key, defaultValue, out);
    return out;
}

void LUserSettingSetString(const char* section, const char* key, const char* value) {
    _LSettingSetString(nullptr, section, key, value);
}

bool LUserSettingGetBool(const char* section, const char* key, bool defaultValue) {
    char out[kLSettingBufferSize];
    if (!LUserSettingGetString(section, key, "", out)) return defaultValue;
    return !(out[0] == '\0' || std::strcmp(out, "0") == 0);
}

void LUserSettingSetBool(const char* section, const char* key, bool value) {
    LUserSettingSetString(section, key, value ? "1" : "0");
}

void LUserSettingDeleteItem(const char* section, const char* key) {
    std::string fullKey;
    LSettingsFile* store = UserStore(nullptr);
    if (store && LSettingFullKey(section, key, &fullKey)) store->Erase(fullKey);
}

void LUserSettingDeleteSection(const char* section) {
    LSettingsFile* store = UserStore(nullptr);
    std::string prefix = SectionPrefix(section);
    if (store && !prefix.empty()) store->ErasePrefix(prefix);
}

// ---- numbers ----

namespace {

template <class T>
bool ParseWith(const char* text, T* value) {
    if (!text) return false;
    while (*text == ' ' || *text == '\t') ++text;
    if (*text == '+') ++text;  // from_chars refuses a plus sign
    const char* end = text + std::strlen(text);
    auto [stop, error] = std::from_chars(text, end, *value);
    return error == std::errc() && stop != text;
}

}  // namespace

bool LSettingParseNumber(const char* text, int* value) { return ParseWith(text, value); }
bool LSettingParseNumber(const char* text, long* value) { return ParseWith(text, value); }
bool LSettingParseNumber(const char* text, float* value) { return ParseWith(text, value); }
bool LSettingParseNumber(const char* text, double* value) { return ParseWith(text, value); }

std::string LSettingFormatNumber(long value) { return std::to_string(value); }

std::string LSettingFormatNumber(double value) {
    char text[64];
    auto [end, error] = std::to_chars(text, text + sizeof text, value);
    return error == std::errc() ? std::string(text, end) : std::string("0");
}

// ---- XML scopes ----

namespace {

std::string HiddenFolder() {
    std::string home = LFile::GetHomeFolder();
    if (home.empty()) return std::string();
    std::string folder = home + "/.orvelsoftware";
    return folder.size() + 12 <= LFile::kMaxPath ? folder : std::string();
}

std::string SharedFolder() { return LFile::GetUserDataFolderAppSubFolder("Shared"); }

std::string XmlPath(const std::string& folder, const char* name) {
    return folder.empty() ? std::string() : folder + "/" + name;
}

LXMLDocument::LoadResult LoadLogged(LXMLDocument& document, const std::string& path) {
    LXMLDocument::LoadResult result = document.LoadFile(path);
    if (result == LXMLDocument::LoadResult::Damaged) LSettingsLogDamage(path.c_str(), 1);
    return result;
}

// Reads without the lock: files are only ever replaced whole.
bool XmlGet(const std::string& path, const char* section, const char* key, const char* defaultValue, char* out) {
    std::string fullKey, value;
    if (!path.empty() && LSettingFullKey(section, key, &fullKey)) {
        LXMLDocument document;
        if (LoadLogged(document, path) == LXMLDocument::LoadResult::Loaded &&
            document.GetValue(section ? section : "", key ? key : "", &value)) {
            CopyOut(value, out);
            return true;
        }
    }
    CopyOut(defaultValue ? defaultValue : "", out);
    return false;
}

void XmlSet(const std::string& folder, const std::string& path, const char* section, const char* key,
            const char* value) {
    std::string fullKey;
    if (path.empty() || !LSettingFullKey(section, key, &fullKey) || !LFile::CreateFolder(folder, 0777)) return;
    LFileLock lock(path + ".lock", LOCK_EX, kXmlLockWaitMs);
    LXMLDocument document;
    LoadLogged(document, path);
    document.SetValue(section ? section : "", key ? key : "", CutValue(value).c_str());
    document.SaveFile(path);
}

}  // namespace

std::string LUserHiddenSettingsPath() { return XmlPath(HiddenFolder(), "kelvane.xml"); }
std::string LSharedSettingsPath() { return XmlPath(SharedFolder(), "SharedSettings.xml"); }

bool _LUserHiddenSettingGetString(const char* section, const char* key, const char* defaultValue, char* out) {
    return XmlGet(LUserHiddenSettingsPath(), section, key, defaultValue, out);
}

void LUserHiddenSettingSetString(const char* section, const char* key, const char* value) {
    XmlSet(HiddenFolder(), LUserHiddenSettingsPath(), section, key, value);
}

bool _LSharedSettingGetString(const char* section, const char* key, const char* defaultValue, char* out) {
    return XmlGet(LSharedSettingsPath(), section, key, defaultValue, out);
}

void LSharedSettingSetString(const char* section, const char* key, const char* value) {
    XmlSet(SharedFolder(), LSharedSettingsPath(), section, key, value);
}

bool LSharedSettingsLoad(LXMLDocument& document) {
    std::string path = LSharedSettingsPath();
    if (path.empty()) {
        document.LoadString("");
        return false;
    }
    return LoadLogged(document, path) == LXMLDocument::LoadResult::Loaded;
}
