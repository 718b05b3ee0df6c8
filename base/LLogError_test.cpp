#include "base/LLogError.h"

#include "base/LFile.h"
#include "base/testing/TestSupport.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

std::tm Day(int year, int month, int day, int hour, int minute, int second) {
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    return t;
}

TEST(LLogError, FileNameAndLineFormat) {
    EXPECT_EQ(LLogFileName(Day(2024, 3, 7, 0, 0, 0)), "2024-03-07 Kelvane Audio-Editor-Protokoll.txt");
    EXPECT_EQ(LLogFormatLine(Day(2024, 3, 7, 5, 4, 9), "Fehler"), "05:04:09 Fehler\r\n");
    const std::string line = LLogFormatLine(Day(2024, 3, 7, 23, 59, 59), std::string(600, 'a').c_str());
    EXPECT_EQ(line, "23:59:59 " + std::string(511, 'a') + "\r\n");
}

TEST(LLogError, AppendsLinesToTheDailyFile) {
    kvtest::IsolatedHome home;
    LLogForgetCachedNames();
    const time_t now = std::time(nullptr);
    LOGERRORF("Datei %s nicht lesbar (%d)", "a.wav", 3);
    LOGERRORF("%s", std::string(700, 'b').c_str());
    std::tm local{};
    localtime_r(&now, &local);
    // Near midnight the two calls may fall on different days; the test
    // looks at the file of the first.
    const std::string path = LFile::GetUserDataFolderAppSubFolder("Logs") + "/" + LLogFileName(local);
    std::string content;
    ASSERT_TRUE(LFile::ReadWholeFile(path, &content)) << path;
    ASSERT_GE(content.size(), 9u);
    EXPECT_EQ(content[2], ':');
    EXPECT_EQ(content[5], ':');
    EXPECT_EQ(content.substr(8, 31), " Datei a.wav nicht lesbar (3)\r\n");
    const size_t second = content.find("\r\n") + 2;
    EXPECT_EQ(content.size() - second, 9u + 511u + 2u);
    LLogForgetCachedNames();
}

TEST(LLogError, WindowBufferDropsOldestHalf) {
    std::string buffer;
    const std::string line(100, 'x');
    for (int i = 0; i < 38; ++i)
        LLogAppendToWindowBuffer(buffer, line);
    EXPECT_EQ(buffer.size(), 3800u);  // 296 free: no drop yet
    LLogAppendToWindowBuffer(buffer, "y");
    EXPECT_EQ(buffer.size(), 3801u);
    LLogAppendToWindowBuffer(buffer, line);  // 295 free... still >= 260
    EXPECT_EQ(buffer.size(), 3901u);
    LLogAppendToWindowBuffer(buffer, "z");  // 195 free: the oldest 2048 go first
    EXPECT_EQ(buffer.size(), 3901u - 2048u + 1u);
    EXPECT_EQ(buffer.back(), 'z');
    std::string big(500, 'q');
    LLogAppendToWindowBuffer(buffer, big);
    EXPECT_LE(buffer.size(), kLogWindowBufferBytes - 1);
}

TEST(LLogError, AttachedWindowGetsLines) {
    kvtest::IsolatedHome home;
    LLogForgetCachedNames();
    LLogAttachWindow(nullptr);
    LOGERRORF("eins");
    LOGERRORF("zwei");
    const std::string text = LLogWindowText();
    EXPECT_NE(text.find(" eins\r\n"), std::string::npos);
    EXPECT_NE(text.find(" zwei\r\n"), std::string::npos);
    LLogDetachWindow();
    LLogForgetCachedNames();
}

}  // namespace
