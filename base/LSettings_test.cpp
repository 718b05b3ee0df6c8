#include "base/LSettings.h"

#include <openssl/evp.h>
#include <openssl/provider.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/LFile.h"
#include "base/LLogError.h"
#include "base/LSettingsFile.h"
#include "base/LXMLDocument.h"
#include "base/testing/TestSupport.h"

namespace {

std::string UserStorePath() { return LFile::GetSettingsFolder() + "/" + kLSettingsDomain + ".conf"; }

std::string ReadText(const std::string& path) {
    std::string text;
    LFile::ReadWholeFile(path, &text);
    return text;
}

// Runs body in a child process; returns its exit status.
template <class Body>
pid_t StartChild(Body body) {
    pid_t pid = fork();
    if (pid == 0) _exit(body());
    return pid;
}

// Built by appending: GCC 12 warns falsely about "literal" + std::string.
std::string Numbered(const char* stem, int i) {
    std::string text = stem;
    text += std::to_string(i);
    return text;
}

int WaitChild(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Blowfish ECB under the 17-character key through OpenSSL's EVP interface and
// the legacy provider, and Base64 by hand: a path apart from the one the store
// uses.
std::string IndependentCipherText(const std::string& text) {
    OSSL_PROVIDER* legacy = OSSL_PROVIDER_load(nullptr, "legacy");
    OSSL_PROVIDER* fallback = OSSL_PROVIDER_load(nullptr, "default");
    EVP_CIPHER* cipher = EVP_CIPHER_fetch(nullptr, "BF-ECB", nullptr);
    EXPECT_NE(cipher, nullptr) << "Blowfish needs OpenSSL's legacy provider";
    if (!cipher) return "";
    std::vector<unsigned char> plain((text.size() + 8) / 8 * 8, 0), sealed(plain.size() + 16);
    std::memcpy(plain.data(), text.data(), text.size());
    const unsigned char key[] = "Kelvane-Settings!";
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex2(context, cipher, nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_set_key_length(context, 17);
    EVP_EncryptInit_ex2(context, nullptr, key, nullptr, nullptr);
    EVP_CIPHER_CTX_set_padding(context, 0);
    int length = 0, tail = 0;
    EVP_EncryptUpdate(context, sealed.data(), &length, plain.data(), static_cast<int>(plain.size()));
    EVP_EncryptFinal_ex(context, sealed.data() + length, &tail);
    sealed.resize(static_cast<size_t>(length + tail));
    EVP_CIPHER_CTX_free(context);
    EVP_CIPHER_free(cipher);
    OSSL_PROVIDER_unload(legacy);
    OSSL_PROVIDER_unload(fallback);

    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < sealed.size(); i += 3) {
        uint32_t group = sealed[i] << 16;
        if (i + 1 < sealed.size()) group |= sealed[i + 1] << 8;
        if (i + 2 < sealed.size()) group |= sealed[i + 2];
        out += alphabet[(group >> 18) & 63];
        out += alphabet[(group >> 12) & 63];
        out += i + 1 < sealed.size() ? alphabet[(group >> 6) & 63] : '=';
        out += i + 2 < sealed.size() ? alphabet[group & 63] : '=';
    }
    return out;
}

}  // namespace

TEST(LSettingsKeys, SectionEndingInSlashDoesNotDoubleTheSeparator) {
    kvtest::IsolatedHome home;
    std::string fullKey;
    ASSERT_TRUE(LSettingFullKey("Recent/", "File1", &fullKey));
    EXPECT_EQ(fullKey, "Recent/File1");
    ASSERT_TRUE(LSettingFullKey("Settings", "PlaySpeed", &fullKey));
    EXPECT_EQ(fullKey, "Settings/PlaySpeed");

    LUserSettingSetString("Recent/", "File1", "a.wav");
    EXPECT_EQ(LUserSettingGetString("Recent", "File1"), "a.wav");  // the same full key
    EXPECT_NE(ReadText(UserStorePath()).find("\nRecent/File1=a.wav\n"), std::string::npos);
}

TEST(LSettingsKeys, FullKeysBeyond519CharactersAreNeverStored) {
    kvtest::IsolatedHome home;
    std::string section(400, 's');
    std::string fits(118, 'k'), tooLong(119, 'k');  // 400 + 1 + 118 = 519
    LUserSettingSetString(section.c_str(), fits.c_str(), "yes");
    LUserSettingSetString(section.c_str(), tooLong.c_str(), "no");
    EXPECT_EQ(LUserSettingGetString(section.c_str(), fits.c_str(), "default"), "yes");
    EXPECT_EQ(LUserSettingGetString(section.c_str(), tooLong.c_str(), "default"), "default");
}

TEST(LSettingsUser, ValuesAreCutTo259Characters) {
    kvtest::IsolatedHome home;
    LUserSettingSetString("Settings", "Long", std::string(300, 'v').c_str());
    char out[kLSettingBufferSize];
    EXPECT_TRUE(LUserSettingGetString("Settings", "Long", "", out));
    EXPECT_EQ(std::string(out), std::string(259, 'v'));
    // A cut never splits a character: 129 two-byte letters and one more.
    std::string umlauts;
    for (int i = 0; i < 130; ++i) umlauts += "\xC3\xA4";
    LUserSettingSetString("Settings", "Umlauts", umlauts.c_str());
    EXPECT_EQ(LUserSettingGetString("Settings", "Umlauts"), umlauts.substr(0, 258));
    // Defaults are cut the same way, also when they share the output buffer.
    std::string longDefault(300, 'd');
    std::memcpy(out, longDefault.c_str(), 259);
    out[259] = '\0';
    EXPECT_FALSE(LUserSettingGetString("Settings", "Absent", out, out));
    EXPECT_EQ(std::string(out), std::string(259, 'd'));
}

TEST(LSettingsUser, AwkwardCharactersRoundTrip) {
    kvtest::IsolatedHome home;
    const char* value = "a=b\\c\nd\re\tf \x7f end";
    LUserSettingSetString("Sec tion", "k=ey\n", value);
    EXPECT_EQ(LUserSettingGetString("Sec tion", "k=ey\n"), value);
    LSettingsFile::Map entries;
    EXPECT_EQ(LSettingsFile::Parse(ReadText(UserStorePath()), &entries), 0);
    EXPECT_EQ(entries.size(), 1u);
}

TEST(LSettingsUser, NumbersAndBooleans) {
    kvtest::IsolatedHome home;
    EXPECT_EQ(LUserSettingGet<int>("Settings", "DefaultSampleRate", 44100), 44100);
    LUserSettingSet("Settings", "DefaultSampleRate", 48000);
    EXPECT_EQ(LUserSettingGetString("Settings", "DefaultSampleRate"), "48000");
    EXPECT_EQ(LUserSettingGet<int>("Settings", "DefaultSampleRate", 1), 48000);
    EXPECT_EQ(LUserSettingGet<long>("Settings", "DefaultSampleRate", 1), 48000L);
    LUserSettingSet("Settings", "Gain", -0.25);
    EXPECT_EQ(LUserSettingGet<double>("Settings", "Gain", 9.0), -0.25);
    EXPECT_EQ(LUserSettingGet<float>("Settings", "Gain", 9.0f), -0.25f);
    LUserSettingSetString("Settings", "Junk", "abc");
    EXPECT_EQ(LUserSettingGet<int>("Settings", "Junk", 7), 7);
    LUserSettingSetString("Settings", "Huge", "99999999999999999999");
    EXPECT_EQ(LUserSettingGet<int>("Settings", "Huge", 7), 7);

    EXPECT_TRUE(LUserSettingGetBool("Settings", "PlayWhenOpen", true));
    LUserSettingSetString("Settings", "PlayWhenOpen", "");
    EXPECT_FALSE(LUserSettingGetBool("Settings", "PlayWhenOpen", true));
    LUserSettingSetString("Settings", "PlayWhenOpen", "0");
    EXPECT_FALSE(LUserSettingGetBool("Settings", "PlayWhenOpen", true));
    LUserSettingSetString("Settings", "PlayWhenOpen", "yes");
    EXPECT_TRUE(LUserSettingGetBool("Settings", "PlayWhenOpen", false));
}

TEST(LSettingsUser, DeleteAndWalkKeys) {
    kvtest::IsolatedHome home;
    LUserSettingSetString("Recent", "B", "2");
    LUserSettingSetString("Recent", "A", "1");
    LUserSettingSetString("RecentX", "C", "3");  // shares a prefix, not the section
    long cursor = 0;
    char key[kLSettingMaxFullKey + 1];
    std::vector<std::string> keys;
    while (_LSettingPlistGetNextKey(nullptr, "Recent", &cursor, key)) keys.push_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"A", "B"}));

    LUserSettingDeleteItem("Recent", "A");
    EXPECT_EQ(LUserSettingGetString("Recent", "A", "gone"), "gone");
    LUserSettingDeleteSection("Recent");
    EXPECT_EQ(LUserSettingGetString("Recent", "B", "gone"), "gone");
    EXPECT_EQ(LUserSettingGetString("RecentX", "C"), "3");
}

TEST(LSettingsUser, AValueWrittenByOneProcessIsReadByAnother) {
    kvtest::IsolatedHome home;
    EXPECT_EQ(LUserSettingGetString("Settings", "FirstRun", "unset"), "unset");
    pid_t child = StartChild([] {
        LUserSettingSetString("Settings", "FirstRun", "0");
        return 0;
    });
    ASSERT_EQ(WaitChild(child), 0);
    EXPECT_EQ(LUserSettingGetString("Settings", "FirstRun", "unset"), "0");
    LUserSettingSetString("Settings", "SaveCount", "5");
    child = StartChild([] { return LUserSettingGetString("Settings", "SaveCount") == "5" ? 0 : 1; });
    EXPECT_EQ(WaitChild(child), 0);
}

TEST(LSettingsUser, ConcurrentWriterProcessesLoseNothing) {
    kvtest::IsolatedHome home;
    constexpr int kKeys = 60;
    auto writer = [](const char* name) {
        return [name] {
            for (int i = 0; i < kKeys; ++i)
                LUserSettingSetString(name, std::to_string(i).c_str(), Numbered(name, i).c_str());
            return 0;
        };
    };
    pid_t first = StartChild(writer("One"));
    pid_t second = StartChild(writer("Two"));
    // This process writes from two threads at the same time.
    std::thread a([] {
        for (int i = 0; i < 20; ++i) LUserSettingSetString("ThreadA", std::to_string(i).c_str(), "a");
    });
    std::thread b([] {
        for (int i = 0; i < 20; ++i) LUserSettingSetString("ThreadB", std::to_string(i).c_str(), "b");
    });
    a.join();
    b.join();
    ASSERT_EQ(WaitChild(first), 0);
    ASSERT_EQ(WaitChild(second), 0);

    LSettingsFile::Map entries;
    EXPECT_EQ(LSettingsFile::Parse(ReadText(UserStorePath()), &entries), 0);
    EXPECT_EQ(entries.size(), 2u * kKeys + 40u);
    for (int i = 0; i < kKeys; ++i) {
        EXPECT_EQ(LUserSettingGetString("One", std::to_string(i).c_str()), Numbered("One", i));
        EXPECT_EQ(LUserSettingGetString("Two", std::to_string(i).c_str()), Numbered("Two", i));
    }
}

TEST(LSettingsUser, ACorruptFileReadsAsDefaultsAndIsRewrittenWhole) {
    kvtest::IsolatedHome home;
    LUserSettingSetString("Settings", "Before", "1");  // makes the folder
    std::vector<uint8_t> garbage = {'\x01', 'x', '\\', 'q', '\n', 0, 0xff, 'n', 'o', 'e', 'q', '\n', '=', 'v', '\n'};
    kvtest::WriteFileBytes(UserStorePath(), garbage);
    EXPECT_EQ(LUserSettingGetString("Settings", "Before", "default"), "default");

    LUserSettingSetString("Settings", "After", "2");
    EXPECT_EQ(ReadText(UserStorePath()).find('\0'), std::string::npos);
    LSettingsFile::Map entries;
    EXPECT_EQ(LSettingsFile::Parse(ReadText(UserStorePath()), &entries), 0);
    EXPECT_EQ(entries, (LSettingsFile::Map{{"Settings/After", "2"}}));
}

TEST(LSettingsUser, AStoreThatCannotBeWrittenLosesTheValueQuietly) {
    kvtest::IsolatedHome home;
    // The settings folder's place is taken by a file: nothing can be stored.
    std::string base = home.Path() + "/.config";
    kvtest::ScopedEnv config("XDG_CONFIG_HOME", base);
    LFile::CreateFolder(base);
    kvtest::WriteFileBytes(base + "/kelvane", {'x'});
    LUserSettingSetString("Settings", "Lost", "1");
    EXPECT_EQ(LUserSettingGetString("Settings", "Lost", "default"), "default");
}

TEST(LSettingsPassword, EmptyPasswordStoresAnEmptyString) {
    kvtest::IsolatedHome home;
    std::string cipher = "x";
    LSettingEncrypt(cipher, "");
    EXPECT_EQ(cipher, "");
    LUserSettingSetPassword("FTP", "Password", "");
    char out[kLSettingBufferSize];
    EXPECT_TRUE(LUserSettingGetString("FTP", "__Password", "absent", out));
    EXPECT_STREQ(out, "");
    EXPECT_TRUE(LUserSettingGetPassword("FTP", "Password", "default", out));
    EXPECT_STREQ(out, "");
}

TEST(LSettingsPassword, RoundTripUnderTheHiddenKeyName) {
    kvtest::IsolatedHome home;
    LUserSettingSetPassword("Mail", "Password", "geheim äöü 12345678");
    char out[kLSettingBufferSize];
    ASSERT_TRUE(LUserSettingGetPassword("Mail", "Password", "", out));
    EXPECT_STREQ(out, "geheim äöü 12345678");
    std::string stored = LUserSettingGetString("Mail", "__Password");
    EXPECT_EQ(stored.find("geheim"), std::string::npos);
    EXPECT_EQ(stored.size() % 4, 0u);

    LUserSettingSetString("Mail", "__Broken", "not base64!");
    EXPECT_FALSE(LUserSettingGetPassword("Mail", "Broken", "fallback", out));
    EXPECT_STREQ(out, "fallback");
    // Too long to fit once enciphered: not stored at all.
    LUserSettingSetPassword("Mail", "Long", std::string(192, 'p').c_str());
    EXPECT_FALSE(LUserSettingGetPassword("Mail", "Long", "none", out));
    LUserSettingSetPassword("Mail", "Longest", std::string(191, 'p').c_str());
    EXPECT_TRUE(LUserSettingGetPassword("Mail", "Longest", "none", out));
    EXPECT_EQ(std::string(out), std::string(191, 'p'));
}

TEST(LSettingsPassword, CipherTextMatchesBlowfishEcbComputedApart) {
    for (std::string text : {"a", "secret", "1234567", "12345678", "a longer pass phrase of 33 bytes!"}) {
        std::string cipher;
        LSettingEncrypt(cipher, text.c_str());
        EXPECT_EQ(cipher, IndependentCipherText(text)) << text;
        // (length + 8) rounded down to 8: 8 bytes for 7 characters, 16 for 8.
        EXPECT_EQ(cipher.size(), 4 * (((text.size() + 8) / 8 * 8 + 2) / 3)) << text;
        std::string plain;
        ASSERT_TRUE(LSettingDecrypt(plain, cipher.c_str()));
        EXPECT_EQ(plain, text);
    }
}

TEST(LSettingsXml, HiddenScopeHasAnElementPerSectionAndKey) {
    kvtest::IsolatedHome home;
    char out[kLSettingBufferSize];
    EXPECT_FALSE(_LUserHiddenSettingGetString("Install", "Id", "none", out));
    EXPECT_STREQ(out, "none");
    LUserHiddenSettingSetString("Install", "Id", "42");
    LUserHiddenSettingSetString("Install", "Path", "/opt/a b");
    LUserHiddenSettingSetString("Two words", "x", std::string(300, 'z').c_str());
    EXPECT_EQ(LUserHiddenSettingsPath(), home.Path() + "/.orvelsoftware/kelvane.xml");
    EXPECT_EQ(LUserHiddenSettingGet<int>("Install", "Id", 0), 42);
    ASSERT_TRUE(_LUserHiddenSettingGetString("Two words", "x", "", out));
    EXPECT_EQ(std::strlen(out), 259u);

    pugi::xml_document document;
    ASSERT_TRUE(document.load_file(LUserHiddenSettingsPath().c_str()));
    pugi::xml_node install = document.document_element().child("Install");
    EXPECT_STREQ(install.child("Id").attribute("value").value(), "42");
    EXPECT_STREQ(install.child("Path").attribute("value").value(), "/opt/a b");
    EXPECT_STREQ(document.document_element().child("Two_x20_words").child("x").attribute("value").value(),
                 std::string(259, 'z').c_str());
}

TEST(LSettingsXml, SharedScopeLivesInTheSharedDataFolder) {
    kvtest::IsolatedHome home;
    LXMLDocument document;
    EXPECT_FALSE(LSharedSettingsLoad(document));
    LSharedSettingSetString("Components", "Lame", "1");
    EXPECT_EQ(LSharedSettingsPath(), home.Path() + "/.local/share/kelvane/Shared/SharedSettings.xml");
    ASSERT_TRUE(LSharedSettingsLoad(document));
    std::string value;
    ASSERT_TRUE(document.GetValue("Components", "Lame", &value));
    EXPECT_EQ(value, "1");
    EXPECT_STREQ(document.Root().child("Components").child("Lame").attribute("value").value(), "1");
    char out[kLSettingBufferSize];
    EXPECT_TRUE(_LSharedSettingGetString("Components", "Lame", "0", out));
    EXPECT_STREQ(out, "1");
}

TEST(LSettingsXml, DamagedFileReadsAsDefaultsAndIsReplacedOnWrite) {
    kvtest::IsolatedHome home;
    LUserHiddenSettingSetString("A", "b", "1");
    kvtest::WriteFileBytes(LUserHiddenSettingsPath(), {'<', 'a', '>', '<', 'b'});
    char out[kLSettingBufferSize];
    EXPECT_FALSE(_LUserHiddenSettingGetString("A", "b", "default", out));
    EXPECT_STREQ(out, "default");
    LUserHiddenSettingSetString("A", "c", "2");
    LXMLDocument document;
    EXPECT_EQ(document.LoadFile(LUserHiddenSettingsPath()), LXMLDocument::LoadResult::Loaded);
    std::string value;
    EXPECT_TRUE(document.GetValue("A", "c", &value));
    EXPECT_FALSE(document.GetValue("A", "b", &value));
}

TEST(LSettingsXml, ConcurrentWritersLoseNothing) {
    kvtest::IsolatedHome home;
    auto writer = [](const char* section) {
        return [section] {
            for (int i = 0; i < 25; ++i) LSharedSettingSetString(section, Numbered("k", i).c_str(), "v");
            return 0;
        };
    };
    pid_t first = StartChild(writer("One"));
    pid_t second = StartChild(writer("Two"));
    ASSERT_EQ(WaitChild(first), 0);
    ASSERT_EQ(WaitChild(second), 0);
    LXMLDocument document;
    ASSERT_TRUE(LSharedSettingsLoad(document));
    std::string value;
    for (int i = 0; i < 25; ++i) {
        EXPECT_TRUE(document.GetValue("One", Numbered("k", i).c_str(), &value)) << i;
        EXPECT_TRUE(document.GetValue("Two", Numbered("k", i).c_str(), &value)) << i;
    }
}

TEST(LXMLDocument, NamesThatAreNotXmlNamesAreEscaped) {
    EXPECT_EQ(LXMLDocument::EncodeName("Settings"), "Settings");
    EXPECT_EQ(LXMLDocument::EncodeName("1st"), "_x31_st");
    EXPECT_EQ(LXMLDocument::EncodeName("a/b c"), "a_x2F_b_x20_c");
    EXPECT_EQ(LXMLDocument::EncodeName("_x"), "_x5F_x");
    EXPECT_EQ(LXMLDocument::EncodeName(""), "_");
    LXMLDocument document;
    document.SetValue("a/b", "<&>", "\"quoted\" & <tagged>");
    LXMLDocument reread;
    ASSERT_EQ(reread.LoadString(document.ToString()), LXMLDocument::LoadResult::Loaded);
    std::string value;
    ASSERT_TRUE(reread.GetValue("a/b", "<&>", &value));
    EXPECT_EQ(value, "\"quoted\" & <tagged>");
    EXPECT_TRUE(reread.RemoveValue("a/b", "<&>"));
    EXPECT_FALSE(reread.Root().first_child());
}

TEST(LSettingsFile, ReadableLinesOfADamagedFileSurvive) {
    LSettingsFile::Map entries;
    EXPECT_EQ(LSettingsFile::Parse("# comment\nA/x=1\nbroken\nB/y=a\\=b\\x41\nC/z=\\q\n\nD/w=", &entries), 2);
    EXPECT_EQ(entries, (LSettingsFile::Map{{"A/x", "1"}, {"B/y", "a=bA"}, {"D/w", ""}}));
    EXPECT_EQ(LSettingsFile::Serialize(entries).substr(LSettingsFile::Serialize({}).size()),
              "A/x=1\nB/y=a\\=bA\nD/w=\n");
}

TEST(LSettingsUser, ADamagedFileIsLogged) {
    kvtest::IsolatedHome home;
    LLogForgetCachedNames();
    LUserSettingSetString("Settings", "x", "1");
    kvtest::WriteFileBytes(UserStorePath(), {'b', 'a', 'd', '\n'});
    EXPECT_EQ(LUserSettingGetString("Settings", "x", "d"), "d");
    std::string logs;
    for (const auto& entry : std::filesystem::directory_iterator(LFile::GetUserDataFolderAppSubFolder("Logs")))
        logs += ReadText(entry.path());
    EXPECT_NE(logs.find(UserStorePath()), std::string::npos) << logs;
    LLogForgetCachedNames();
}
