#include "app/LCommandLineArgumentStringExpander.h"

#include <gtest/gtest.h>

namespace {

using Args = std::vector<std::string>;
Args Split(const char* line) { return LCommandLineArgumentStringExpander::Split(line); }

TEST(LCommandLineArgumentStringExpander, SeparatesOnBlanksAndControlCharacters) {
    EXPECT_EQ(Split("Kelvane a.wav  -exit"), (Args{"Kelvane", "a.wav", "-exit"}));
    EXPECT_EQ(Split("\t\r\n  a\tb\x01" "c"), (Args{"a", "b", "c"}));
    EXPECT_EQ(Split(""), Args{});
    EXPECT_EQ(Split("   \t "), Args{});
    EXPECT_EQ(Split(nullptr), Args{});
}

TEST(LCommandLineArgumentStringExpander, BackslashBlankIsABlankOtherBackslashesStay) {
    EXPECT_EQ(Split("my\\ song.wav x"), (Args{"my song.wav", "x"}));
    EXPECT_EQ(Split("a\\b\\"), (Args{"a\\b\\"}));
}

TEST(LCommandLineArgumentStringExpander, QuotesKeepBlanksAndEndTheArgument) {
    EXPECT_EQ(Split("\"my song.wav\" -save"), (Args{"my song.wav", "-save"}));
    EXPECT_EQ(Split("pre\"a b\"post"), (Args{"prea b", "post"}));
    EXPECT_EQ(Split("\"unterminated run"), (Args{"unterminated run"}));
    EXPECT_EQ(Split("\"\" x \"\""), (Args{"x"}));  // empty arguments are dropped
}

TEST(LCommandLineArgumentStringExpander, Utf8BytesAreNotSeparators) {
    EXPECT_EQ(Split("Kelvane Müller.wav"), (Args{"Kelvane", "Müller.wav"}));
}

}  // namespace
