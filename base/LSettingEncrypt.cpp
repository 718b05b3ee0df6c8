// Passwords in the settings store: Blowfish in ECB mode under one fixed key,
// then Base64. This keeps secrets out of plain sight in the settings file; it
// is not protection against someone who has this program.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/blowfish.h>
#include <openssl/evp.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/LSettings.h"

namespace {

const char kSettingsKey[] = "Kelvane-Settings!";
static_assert(sizeof kSettingsKey - 1 == 17, "the settings key has 17 characters");

const BF_KEY& SettingsKey() {
    static const BF_KEY key = [] {
        BF_KEY k;
        BF_set_key(&k, 17, reinterpret_cast<const unsigned char*>(kSettingsKey));
        return k;
    }();
    return key;
}

void CipherBlocks(std::vector<unsigned char>& data, int direction) {
    for (size_t i = 0; i + 8 <= data.size(); i += 8) BF_ecb_encrypt(&data[i], &data[i], &SettingsKey(), direction);
}

bool DecodeBase64(const char* text, std::vector<unsigned char>* bytes) {
    size_t length = std::strlen(text);
    if (length == 0 || length % 4 != 0) return false;
    bytes->resize(length / 4 * 3);
    int decoded = EVP_DecodeBlock(bytes->data(), reinterpret_cast<const unsigned char*>(text), static_cast<int>(length));
    if (decoded < 0) return false;
    // EVP_DecodeBlock counts the bytes that padding stands for; drop them.
    size_t padding = (text[length - 1] == '=') + (text[length - 2] == '=');
    bytes->resize(static_cast<size_t>(decoded) - padding);
    return true;
}

constexpr size_t kMaxPasswordBytes = 191;  // 192 enciphered bytes are 256 Base64 characters

}  // namespace

void LSettingEncrypt(std::string& out, const char* text) {
    out.clear();
    size_t length = text ? std::strlen(text) : 0;
    if (length == 0) return;
    // (length + 8) rounded down to a multiple of 8: at least one NUL ends the text.
    std::vector<unsigned char> block((length + 8) & ~size_t(7), 0);
    std::memcpy(block.data(), text, length);
    CipherBlocks(block, BF_ENCRYPT);
    out.resize(4 * ((block.size() + 2) / 3));
    int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), block.data(), static_cast<int>(block.size()));
    out.resize(static_cast<size_t>(written));
}

bool LSettingDecrypt(std::string& out, const char* cipherText) {
    out.clear();
    std::vector<unsigned char> block;
    if (!cipherText || !DecodeBase64(cipherText, &block) || block.empty() || block.size() % 8 != 0) return false;
    CipherBlocks(block, BF_DECRYPT);
    size_t end = 0;
    while (end < block.size() && block[end] != 0) ++end;
    out.assign(reinterpret_cast<const char*>(block.data()), end);
    return true;
}

namespace {

std::string PasswordKey(const char* key) { return std::string("__") + (key ? key : ""); }

}  // namespace

void LUserSettingSetPassword(const char* section, const char* key, const char* value) {
    // Cut cipher text would not decipher: a password too long to fit is not
    // stored at all rather than stored damaged.
    if (value && std::strlen(value) > kMaxPasswordBytes) return;
    std::string cipher;
    LSettingEncrypt(cipher, value);
    LUserSettingSetString(section, PasswordKey(key).c_str(), cipher.c_str());
}

bool LUserSettingGetPassword(const char* section, const char* key, const char* defaultValue, char* out) {
    std::string fallback = defaultValue ? defaultValue : "";
    char stored[kLSettingBufferSize];
    std::string plain;
    bool present = LUserSettingGetString(section, PasswordKey(key).c_str(), "", stored);
    if (present && (stored[0] == '\0' || LSettingDecrypt(plain, stored))) {
        plain.resize(std::min(plain.size(), kLSettingMaxValue));
        std::memcpy(out, plain.c_str(), plain.size() + 1);
        return true;
    }
    fallback.resize(std::min(fallback.size(), kLSettingMaxValue));
    std::memcpy(out, fallback.c_str(), fallback.size() + 1);
    return false;
}
