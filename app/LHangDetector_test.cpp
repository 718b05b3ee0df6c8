#include "app/LHangDetector.h"

#include "base/testing/TestSupport.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

namespace {

std::vector<uint8_t> RecordBytes(const LHangDetector::Record& record) {
    std::vector<uint8_t> bytes(16);
    std::memcpy(bytes.data(), &record.seconds, 8);
    std::memcpy(bytes.data() + 8, &record.tick, 8);
    return bytes;
}

TEST(LHangDetector, PathNamesTheUser) {
    kvtest::ScopedEnv logname("LOGNAME", "alice");
    EXPECT_EQ(LHangDetector::MakePath("/t"), "/t/_kelvane_rl_alice");
    kvtest::ScopedEnv empty("LOGNAME", "");
    kvtest::ScopedEnv user("USER", "bob");
    EXPECT_EQ(LHangDetector::MakePath("/t"), "/t/_kelvane_rl_bob");
}

TEST(LHangDetector, WithoutLognameOrUserTheNameComesFromThePasswordDatabase) {
    passwd* entry = getpwuid(getuid());
    ASSERT_NE(entry, nullptr);
    kvtest::ScopedEnv logname("LOGNAME", "");
    kvtest::ScopedEnv user("USER", "");
    EXPECT_EQ(LHangDetector::MakePath("/t"), std::string("/t/_kelvane_rl_") + entry->pw_name);
}

TEST(LHangDetector, CleanRunWritesSixteenBytesOfNowAndRemovesThem) {
    kvtest::TempDir dir;
    const std::string path = dir.File("_kelvane_rl_x");
    const auto before = LHangDetector::Now();
    {
        LHangDetector lock;
        EXPECT_EQ(lock.Start(path), LHangDetector::StartResult::kClean);
        EXPECT_TRUE(lock.IsHeld());
        const auto bytes = kvtest::ReadFileBytes(path);
        ASSERT_EQ(bytes.size(), 16u);
        int64_t seconds;
        uint64_t tick;
        std::memcpy(&seconds, bytes.data(), 8);
        std::memcpy(&tick, bytes.data() + 8, 8);
        EXPECT_GE(seconds, before.seconds);
        EXPECT_LE(tick, 0xFFFFFFFFull);  // a 32-bit tick widened
        lock.Remove();
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    {
        LHangDetector lock;
        lock.Start(path);
    }  // the destructor is the last resort
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(LHangDetector, LeftoverOfACrashedRunIsReportedAndReplaced) {
    kvtest::TempDir dir;
    const std::string path = dir.File("rl");
    auto stored = LHangDetector::Now();
    stored.seconds -= 5;
    stored.tick = static_cast<uint32_t>(stored.tick - 5000);
    kvtest::WriteFileBytes(path, RecordBytes(stored));
    LHangDetector lock;
    EXPECT_EQ(lock.Start(path), LHangDetector::StartResult::kLastRunCrashed);
    EXPECT_TRUE(lock.IsHeld());
    EXPECT_EQ(kvtest::ReadFileBytes(path).size(), 16u);
}

TEST(LHangDetector, LeftoverFromAnotherTickCycleOrTruncatedGivesNoPrompt) {
    kvtest::TempDir dir;
    const std::string path = dir.File("rl");
    auto stored = LHangDetector::Now();
    stored.tick = static_cast<uint32_t>(stored.tick + 100000);
    kvtest::WriteFileBytes(path, RecordBytes(stored));
    LHangDetector lock;
    EXPECT_EQ(lock.Start(path), LHangDetector::StartResult::kLeftoverIgnored);
    lock.Remove();
    kvtest::WriteFileBytes(path, {1, 2, 3});
    EXPECT_EQ(lock.Start(path), LHangDetector::StartResult::kLeftoverIgnored);
    EXPECT_TRUE(lock.IsHeld());
}

TEST(LHangDetector, ALiveHolderIsLeftAlone) {
    kvtest::TempDir dir;
    const std::string path = dir.File("rl");
    LHangDetector first;
    ASSERT_EQ(first.Start(path), LHangDetector::StartResult::kClean);
    // flock locks belong to the open file description, so a second open in
    // this process competes like another process would.
    LHangDetector second;
    EXPECT_EQ(second.Start(path), LHangDetector::StartResult::kHeldByLiveProcess);
    EXPECT_FALSE(second.IsHeld());
    second.Remove();
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(LHangDetector, CrashWindowIsTwoSecondsEitherSide) {
    const LHangDetector::Record stored{1000, 1000000};
    EXPECT_TRUE(LHangDetector::IsCrashRecord(stored, {1010, 1010000}));
    EXPECT_TRUE(LHangDetector::IsCrashRecord(stored, {1010, 1011999}));
    EXPECT_FALSE(LHangDetector::IsCrashRecord(stored, {1010, 1012000}));
    EXPECT_FALSE(LHangDetector::IsCrashRecord(stored, {1010, 1008000}));
}

}  // namespace
