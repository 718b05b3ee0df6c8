#pragma once
// The settings store: string values addressed by section and key, in three
// scopes.
//
//  user         a keyed text file per domain in the settings folder
//               ($XDG_CONFIG_HOME/kelvane/<domain>.conf); safe from any thread
//               and any number of processes.
//  user hidden  ~/.orvelsoftware/kelvane.xml
//  shared       <user data folder>/Shared/SharedSettings.xml
//
// The XML scopes load, change and save their whole file under a file lock on
// every call, so they are meant for rare use.
//
// The full key is "section/key", or "sectionkey" when the section already
// ends in '/', and may be at most 519 characters; longer keys are never
// stored and read as absent. Values are cut to 259 characters. Output
// buffers hold 260 bytes. A store that can't be written loses the value
// without a message; a missing key reads as the default.
#include <string>
#include <type_traits>

class LXMLDocument;

constexpr size_t kLSettingMaxValue = 259;
constexpr size_t kLSettingMaxFullKey = 519;
constexpr size_t kLSettingBufferSize = 260;

// The application's own domain; a null or empty domain means this one.
extern const char kLSettingsDomain[];

// Builds the full key; false when it would exceed 519 characters.
bool LSettingFullKey(const char* section, const char* key, std::string* fullKey);

// ---- user scope ----
// Copies the value, or the default when absent, into out (260 bytes; may be
// the default's own buffer). Returns whether the key was present.
bool _LSettingGetString(const char* domain, const char* section, const char* key, const char* defaultValue,
                        char* out);
void _LSettingSetString(const char* domain, const char* section, const char* key, const char* value);
// Walks the keys of a section in sorted order: start with *cursor = 0; each
// call puts the next key (without the section) into keyOut (520 bytes) and
// returns true, or false when there are no more.
bool _LSettingPlistGetNextKey(const char* domain, const char* section, long* cursor, char* keyOut);

bool LUserSettingGetString(const char* section, const char* key, const char* defaultValue, char* out);
std::string LUserSettingGetString(const char* section, const char* key, const char* defaultValue = "");
void LUserSettingSetString(const char* section, const char* key, const char* value);
// False when empty or "0"; the default when absent.
bool LUserSettingGetBool(const char* section, const char* key, bool defaultValue);
void LUserSettingSetBool(const char* section, const char* key, bool value);
void LUserSettingDeleteItem(const char* section, const char* key);
void LUserSettingDeleteSection(const char* section);

// Numbers: parsed from the start of the value ("%d" for whole numbers, "."
// decimal point for fractions, whatever the locale); the default when absent
// or not a number.
bool LSettingParseNumber(const char* text, int* value);
bool LSettingParseNumber(const char* text, long* value);
bool LSettingParseNumber(const char* text, float* value);
bool LSettingParseNumber(const char* text, double* value);
std::string LSettingFormatNumber(long value);
std::string LSettingFormatNumber(double value);

// The number in a value just read, or the default when the key was absent or
// its value isn't a number.
template <class T>
T LSettingNumberOr(bool present, const char* text, T defaultValue) {
    static_assert(std::is_same_v<T, int> || std::is_same_v<T, long> || std::is_same_v<T, float> ||
                  std::is_same_v<T, double>);
    T value;
    return present && LSettingParseNumber(text, &value) ? value : defaultValue;
}

template <class T>
T LUserSettingGet(const char* section, const char* key, T defaultValue) {
    char text[kLSettingBufferSize];
    return LSettingNumberOr(LUserSettingGetString(section, key, "", text), text, defaultValue);
}

template <class T>
void LUserSettingSet(const char* section, const char* key, T value) {
    static_assert(std::is_arithmetic_v<T>);
    if constexpr (std::is_integral_v<T>) LUserSettingSetString(section, key, LSettingFormatNumber(long(value)).c_str());
    else LUserSettingSetString(section, key, LSettingFormatNumber(double(value)).c_str());
}

// ---- passwords (user scope, key "__<key>", enciphered) ----
// A password whose enciphered form would not fit 259 characters (longer than
// 191 bytes) is not stored.
void LUserSettingSetPassword(const char* section, const char* key, const char* value);
bool LUserSettingGetPassword(const char* section, const char* key, const char* defaultValue, char* out);
// Blowfish ECB under the application's fixed key, zero-padded, Base64.
void LSettingEncrypt(std::string& out, const char* text);
// The reverse; false (out empty) for text that isn't such a cipher text.
bool LSettingDecrypt(std::string& out, const char* cipherText);

// ---- user hidden scope ----
bool _LUserHiddenSettingGetString(const char* section, const char* key, const char* defaultValue, char* out);
void LUserHiddenSettingSetString(const char* section, const char* key, const char* value);
std::string LUserHiddenSettingsPath();

template <class T>
T LUserHiddenSettingGet(const char* section, const char* key, T defaultValue) {
    char text[kLSettingBufferSize];
    return LSettingNumberOr(_LUserHiddenSettingGetString(section, key, "", text), text, defaultValue);
}

// ---- shared scope ----
bool _LSharedSettingGetString(const char* section, const char* key, const char* defaultValue, char* out);
void LSharedSettingSetString(const char* section, const char* key, const char* value);
// Loads the whole shared file; false (document empty) when missing or damaged.
bool LSharedSettingsLoad(LXMLDocument& document);
std::string LSharedSettingsPath();
