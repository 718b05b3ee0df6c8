#include "base/LDebugThreads.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>
#include <vector>

namespace {

TEST(LDebugThreads, RendersCurrentCommand) {
    EXPECT_EQ(LDebugRenderCurrentCommand(1, 0), "GloIni1");
    EXPECT_EQ(LDebugRenderCurrentCommand(2, 0), "GuiIni2");
    EXPECT_EQ(LDebugRenderCurrentCommand(3, 0), "GuiDes3");
    EXPECT_EQ(LDebugRenderCurrentCommand(4, 0), "GloDes4");
    EXPECT_EQ(LDebugRenderCurrentCommand(0, 1234), "Ukn0(LstCmd1234)");
    EXPECT_EQ(LDebugRenderCurrentCommand(0x636F7079, 0), "(Cmd1668247673)");
}

// Registers threads that stay alive until released.
TEST(LDebugThreads, FullTableAndReuseOfFreeEntries) {
    std::mutex mutex;
    std::condition_variable changed;
    int registered = 0, refused = 0, released = 0;
    bool release = false;
    int startCount;
    {
        std::lock_guard<std::mutex> lock(loDebugThreads);
        startCount = gnDebugThreads;
        for (int i = 0; i < gnDebugThreads; ++i)
            ASSERT_EQ(gDebugThreadData[i].threadId.load(), kDebugThreadFree) << "leftover entry " << i;
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < kDebugThreadsMax + 2; ++i) {
        threads.emplace_back([&, i] {
            const bool ok = LDebugRegisterThread("WRKRX", ("worker thread " + std::to_string(i) + " with a long description").c_str());
            std::unique_lock<std::mutex> lock(mutex);
            ok ? ++registered : ++refused;
            changed.notify_all();
            changed.wait(lock, [&] { return release; });
            if (ok) {
                lock.unlock();
                LDebugUnregisterThread();
                lock.lock();
            }
            ++released;
            changed.notify_all();
        });
    }
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return registered + refused == kDebugThreadsMax + 2; });
    }
    EXPECT_EQ(registered, kDebugThreadsMax);
    EXPECT_EQ(refused, 2);
    EXPECT_EQ(gnDebugThreads, kDebugThreadsMax);
    std::string name, description;
    ASSERT_TRUE(LDebugFindThread(gDebugThreadData[0].threadId.load(), &name, &description));
    EXPECT_EQ(name, "WRKR");
    EXPECT_EQ(description.size(), 27u);
    {
        std::lock_guard<std::mutex> lock(mutex);
        release = true;
        changed.notify_all();
    }
    for (auto& thread : threads)
        thread.join();
    // All free again; a new thread takes the first free entry, the count stays.
    std::thread([] { EXPECT_TRUE(LDebugRegisterThread("MAIN", "main thread")); }).join();
    EXPECT_EQ(gnDebugThreads, kDebugThreadsMax);
    EXPECT_NE(gDebugThreadData[0].threadId.load(), kDebugThreadFree);
    EXPECT_STREQ(gDebugThreadData[0].name, "MAIN");
    (void)startCount;
    // Clean the entry of the thread that has ended.
    std::lock_guard<std::mutex> lock(loDebugThreads);
    gDebugThreadData[0].threadId = kDebugThreadFree;
}

}  // namespace
