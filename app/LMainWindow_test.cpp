#include "app/KVArguments.h"
#include "app/LNamedPipeRef.h"
#include "app/LURISchemeHandler.h"
#include "app/MainDialog.h"

#include "base/LHeadlessPlatform.h"
#include "base/LSettings.h"
#include "base/testing/TestSupport.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace {

using ::testing::ElementsAre;
namespace fs = std::filesystem;

// Records the arguments runs and whether the loop was running at the time.
class LoopDialog : public MainDialog {
public:
    std::vector<std::string> log;

    void RecoveryPrompt() override { log.push_back(looping ? "RecoveryPrompt in loop" : "RecoveryPrompt early"); }
    void CmOpen() override { log.push_back("CmOpen"); }
    bool LoadFile(const char* path, bool, bool) override {
        log.push_back(std::string("LoadFile ") + path);
        return true;
    }
    bool looping = false;
};

TEST(LMainWindow, StartRunsArgumentsInsideTheLoopAndExitCleansUp) {
    kvtest::IsolatedHome home;
    LHeadlessPlatform platform;
    platform.SetQuiet(true);
    LPlatformScope scope(platform);
    char a0[] = "kelvane", a1[] = "x.wav", a2[] = "-exit";
    char* argv[] = {a0, a1, a2, nullptr};
    KVSetArguments(3, argv);

    kvtest::TempDir dir;
    const std::string socket = dir.File(".spipe.Kelvane"), lock = dir.File("_kelvane_rl_t");
    LoopDialog dialog;
    dialog.SetPaths(socket, lock);
    ASSERT_TRUE(dialog.MainWindowInit());
    EXPECT_TRUE(dialog.IsReady());
    EXPECT_TRUE(fs::exists(lock));
    EXPECT_EQ(LUserSettingGetString("Settings", "FirstRun", ""), "1");
    EXPECT_TRUE(dialog.log.empty());  // nothing runs before the loop

    dialog.looping = true;
    EXPECT_EQ(platform.RunMainLoop(), 0);  // -exit ends it
    EXPECT_THAT(dialog.log, ElementsAre("RecoveryPrompt in loop", "CmOpen", "LoadFile x.wav"));
    EXPECT_TRUE(dialog.IsClosed());
    EXPECT_FALSE(fs::exists(lock));
    EXPECT_FALSE(fs::exists(socket));
    EXPECT_EQ(dialog.ExitStatus(), 0);
}

TEST(LMainWindow, URIRequestsGoToTheSchemeHandlerNotToTheScan) {
    LHeadlessPlatform platform;
    platform.SetQuiet(true);
    LPlatformScope scope(platform);
    static std::string received;
    LURISchemeHandler::Instance().ScriptAdd("cb", [](const char* uri, long) { received = uri; }, 0);
    LoopDialog dialog;
    dialog.EvOpenURL("orv.kelvane://cb/?code=1");
    EXPECT_EQ(received, "cb/?code=1");
    EXPECT_TRUE(dialog.log.empty());
    // With a third argument the same string is a plain file argument.
    dialog.EvRunArguments("Kelvane orv.kelvane://cb/?code=1 y.wav");
    EXPECT_THAT(dialog.log, ElementsAre("RecoveryPrompt early", "CmOpen", "CmOpen", "LoadFile y.wav"));
    // From the socket, "kelvane <uri>" is a URL request too.
    received.clear();
    CopyData data;
    const char* handed[] = {"/usr/bin/kelvane", "orv.kelvane:cb"};
    data.Fill(2, handed);
    dialog.MainWindowReceivedArguments(data);
    EXPECT_EQ(received, "cb");
    LURISchemeHandler::Instance().ScriptRemove("cb");
}

TEST(LMainWindow, StartWithoutArgumentsRaisesTheWindowOnly) {
    LHeadlessPlatform platform;
    platform.SetQuiet(true);
    LPlatformScope scope(platform);
    LoopDialog dialog;
    CopyData data;
    const char* handed[] = {"/usr/bin/kelvane"};
    data.Fill(1, handed);
    dialog.MainWindowReceivedArguments(data);
    EXPECT_THAT(dialog.log, ElementsAre("CmOpen", "RecoveryPrompt early"));
}

TEST(LMainWindow, AlertsGoThroughThePlatformWithASingleOKButton) {
    kvtest::IsolatedHome home;
    LHeadlessPlatform platform;
    platform.SetQuiet(true);
    LPlatformScope scope(platform);
    MainDialog dialog;
    const char* argv[] = {"k", "-batch", "-output"};
    dialog.EvRunArguments(argv, 3);
    const auto alerts = platform.AlertsShown();
    ASSERT_EQ(alerts.size(), 2u);  // the missing operand, then the missing batch converter
    EXPECT_EQ(alerts[0].title, "Keine Ausgabeformat-Art bereitgestellt");
    EXPECT_THAT(alerts[0].buttons, ElementsAre("OK"));
    EXPECT_THAT(alerts[1].buttons, ElementsAre("OK"));
    EXPECT_EQ(dialog.ExitStatus(), 1);
}

}  // namespace
