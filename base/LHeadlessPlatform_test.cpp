#include "base/LHeadlessPlatform.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace {

TEST(LHeadlessPlatform, PostedClosuresRunInOrderFromManyThreads) {
    LHeadlessPlatform platform;
    constexpr int kThreads = 4, kPerThread = 500;
    std::vector<std::vector<int>> seen(kThreads);
    std::vector<std::thread> posters;
    for (int t = 0; t < kThreads; ++t)
        posters.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i)
                platform.Post([&, t, i] {
                    EXPECT_TRUE(platform.IsMainThread());
                    seen[t].push_back(i);
                });
        });
    for (auto& poster : posters)
        poster.join();
    std::vector<int> order;
    for (int i = 0; i < 10; ++i)
        platform.Post([&order, i] { order.push_back(i); });
    platform.Post([&] { platform.QuitMainLoop(7); });
    EXPECT_EQ(platform.RunMainLoop(), 7);
    for (int t = 0; t < kThreads; ++t) {
        ASSERT_EQ(seen[t].size(), size_t(kPerThread));
        for (int i = 0; i < kPerThread; ++i)
            EXPECT_EQ(seen[t][i], i);
    }
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_FALSE(std::async(std::launch::async, [&] { return platform.IsMainThread(); }).get());
}

TEST(LHeadlessPlatform, OneShotAndPeriodicTimers) {
    LHeadlessPlatform platform;
    int ticks = 0, once = 0;
    LPlatform::TimerId periodic = platform.StartTimer(1, true, [&] {
        if (++ticks == 3)
            platform.StopTimer(periodic);
    });
    platform.StartTimer(5, false, [&] { ++once; });
    LPlatform::TimerId never = platform.StartTimer(1, false, [&] { ADD_FAILURE() << "stopped timer ran"; });
    platform.StopTimer(never);
    platform.StartTimer(30, false, [&] { platform.QuitMainLoop(); });
    platform.RunMainLoop();
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(once, 1);
}

TEST(LHeadlessPlatform, NestedModalLoops) {
    LHeadlessPlatform platform;
    std::vector<std::string> trace;
    platform.Post([&] {
        bool done = false;
        EXPECT_EQ(platform.ModalDepth(), 0);
        platform.Post([&] {
            trace.push_back("inner event");
            EXPECT_EQ(platform.ModalDepth(), 1);
            // A second level, ended by QuitModalLoop from another thread.
            std::thread quitter;
            platform.Post([&] { quitter = std::thread([&] { platform.QuitModalLoop(); }); });
            EXPECT_FALSE(platform.RunModalLoop([] { return false; }));
            quitter.join();
            trace.push_back("level 2 quit");
            std::thread finisher([&] { platform.Post([&] { done = true; }); });
            finisher.join();
        });
        EXPECT_TRUE(platform.RunModalLoop([&] { return done; }));
        trace.push_back("level 1 done");
        platform.QuitMainLoop();
    });
    platform.RunMainLoop();
    EXPECT_EQ(trace, (std::vector<std::string>{"inner event", "level 2 quit", "level 1 done"}));
    EXPECT_EQ(platform.ModalDepth(), 0);
}

TEST(LHeadlessPlatform, QuitMainEndsModalLoops) {
    LHeadlessPlatform platform;
    bool returned = false;
    platform.Post([&] {
        platform.Post([&] { platform.QuitMainLoop(3); });
        EXPECT_FALSE(platform.RunModalLoop([] { return false; }));
        returned = true;
    });
    EXPECT_EQ(platform.RunMainLoop(), 3);
    EXPECT_TRUE(returned);
}

TEST(LHeadlessPlatform, ScriptedAlerts) {
    LHeadlessPlatform platform;
    platform.SetQuiet(true);
    LPlatformScope scope(platform);
    platform.ScriptAlertAnswer(1);
    EXPECT_EQ(LAlert("Frage", "Speichern?", {"Ja", "Nein", "Abbrechen"}, 2), 1);
    EXPECT_EQ(LAlert("Frage", "Nochmal?", {"Ja", "Nein", "Abbrechen"}, 2), 2);  // default once script is used up
    EXPECT_EQ(LAlert("Hinweis", "Fertig"), 0);
    auto shown = platform.AlertsShown();
    ASSERT_EQ(shown.size(), 3u);
    EXPECT_EQ(shown[0].title, "Frage");
    EXPECT_EQ(shown[1].text, "Nochmal?");
    EXPECT_EQ(shown[2].buttons, (std::vector<std::string>{"OK"}));
}

TEST(LPlatform, AlertWithoutPlatformTakesDefault) {
    LPlatform::SetCurrent(nullptr);
    EXPECT_EQ(LAlert("Titel", "Text", {"A", "B"}, 1), 1);
    EXPECT_FALSE(LPostToMainThread([] {}));
}

}  // namespace
