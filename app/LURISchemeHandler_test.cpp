#include "app/LURISchemeHandler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Received {
    std::vector<std::string> uris;
    std::vector<long> data;
};
Received gReceived;

void Record(const char* uri, long data) {
    gReceived.uris.push_back(uri);
    gReceived.data.push_back(data);
}

void RemoveSelf(const char* uri, long data) {
    Record(uri, data);
    LURISchemeHandler::Instance().ScriptRemove("once");
}

bool ParsePath(const char* argument, std::string* path) {
    std::string decoded;
    return LURISchemeHandler::Parse(argument, &decoded, path);
}

TEST(LURISchemeHandler, ParseTakesThePathBeforeQueryAndDropsOneTrailingSlash) {
    std::string decoded, path;
    ASSERT_TRUE(LURISchemeHandler::Parse("orv.kelvane://cb/?code=1", &decoded, &path));
    EXPECT_EQ(path, "cb");
    EXPECT_EQ(decoded, "cb/?code=1");
    ASSERT_TRUE(ParsePath("orv.kelvane:cb#frag", &path));
    EXPECT_EQ(path, "cb");
    ASSERT_TRUE(ParsePath("orv.kelvane:/cb//", &path));  // one slash of "//" only
    EXPECT_EQ(path, "/cb/");
    ASSERT_TRUE(ParsePath("orv.kelvane://log%20in/x?y", &path));
    EXPECT_EQ(path, "log in/x");
}

TEST(LURISchemeHandler, EmptyOrRootPathsAndOtherSchemesAddressNothing) {
    std::string path;
    EXPECT_FALSE(ParsePath("orv.kelvane:", &path));
    EXPECT_FALSE(ParsePath("orv.kelvane://", &path));
    EXPECT_FALSE(ParsePath("orv.kelvane://?code=1", &path));
    EXPECT_FALSE(ParsePath("orv.kelvane:///#x", &path));
    EXPECT_FALSE(ParsePath("http://cb", &path));
    EXPECT_FALSE(ParsePath("ORV.KELVANE://cb", &path));
}

TEST(LURISchemeHandler, DecodingIsCutTo259CharactersAndKeepsBadEscapes) {
    std::string decoded, path;
    std::string uri = "orv.kelvane://" + std::string(300, 'p');
    ASSERT_TRUE(LURISchemeHandler::Parse(uri.c_str(), &decoded, &path));
    EXPECT_EQ(decoded.size(), 259u);
    ASSERT_TRUE(LURISchemeHandler::Parse("orv.kelvane:a%zz%4", &decoded, &path));
    EXPECT_EQ(decoded, "a%zz%4");
    ASSERT_TRUE(LURISchemeHandler::Parse("orv.kelvane:a%00b", &decoded, &path));
    EXPECT_EQ(decoded, "a");
}

TEST(LURISchemeHandler, DispatchFindsExactCaseSensitivePaths) {
    auto& handler = LURISchemeHandler::Instance();
    gReceived = {};
    handler.ScriptAdd("cb", Record, 42);
    EXPECT_TRUE(handler.Dispatch("orv.kelvane://cb/?code=1"));
    EXPECT_FALSE(handler.Dispatch("orv.kelvane://CB/?code=1"));
    EXPECT_FALSE(handler.Dispatch("orv.kelvane://unknown"));
    handler.ScriptRemove("cb");
    EXPECT_FALSE(handler.Dispatch("orv.kelvane://cb"));
    ASSERT_EQ(gReceived.uris.size(), 1u);
    EXPECT_EQ(gReceived.uris[0], "cb/?code=1");
    EXPECT_EQ(gReceived.data[0], 42);
}

TEST(LURISchemeHandler, ACallbackMayRemoveItself) {
    auto& handler = LURISchemeHandler::Instance();
    gReceived = {};
    handler.ScriptAdd("once", RemoveSelf, 7);
    EXPECT_TRUE(handler.Dispatch("orv.kelvane:once"));
    EXPECT_FALSE(handler.Dispatch("orv.kelvane:once"));
    EXPECT_EQ(gReceived.uris.size(), 1u);
}

}  // namespace
