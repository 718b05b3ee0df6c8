#include "app/LMainWindowPipeListenerThread.h"
#include "app/LMainWindowSendThread.h"
#include "app/LNamedPipeRef.h"
#include "app/LPipeListenerWithThreads.h"

#include "base/testing/TestSupport.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>

namespace {

using Listener = LPipeListenerWithThreads<LMainWindowPipeListenerThread>;

// Collects delivered records; waits are bounded so a fault fails, not hangs.
struct Inbox {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::vector<std::string>> records;

    LMainWindowPipeListenerThread::Context Deliver() {
        return [this](std::unique_ptr<CopyData> data) {
            std::vector<std::string> args;
            for (const char* arg : data->ArgumentPointers()) args.emplace_back(arg);
            std::lock_guard<std::mutex> lock(mutex);
            records.push_back(std::move(args));
            changed.notify_all();
        };
    }
    bool WaitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), [&] { return records.size() >= count; });
    }
};

bool WaitListening(const Listener& listener) {
    for (int i = 0; i < 2000 && !listener.IsListening(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return listener.IsListening();
}

int ConnectRaw(const std::string& path) {
    int fd = -1;
    EXPECT_EQ(LNamedPipeRef::Connect(path, &fd), LNamedPipeRef::ConnectResult::kConnected);
    return fd;
}

bool Send(const std::string& path, const std::vector<std::string>& args) {
    std::vector<const char*> argv;
    for (const auto& a : args) argv.push_back(a.c_str());
    const int fd = ConnectRaw(path);
    LMainWindowSendThread sender(fd, static_cast<int>(argv.size()), argv.data());
    sender.Start(LMainWindowSendThread::kPriority);
    const bool ended = sender.WaitFor(10000);
    close(fd);
    return ended && sender.Sent();
}

TEST(LPipeListener, HandsOverRecordsInTheOrderSent) {
    kvtest::TempDir dir;
    const std::string path = dir.File(".spipe.Kelvane");
    Inbox inbox;
    Listener listener(path, inbox.Deliver());
    listener.Start(LPipeListener::kPriority);
    ASSERT_TRUE(WaitListening(listener));
    struct stat info{};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_TRUE(S_ISSOCK(info.st_mode));
    EXPECT_EQ(info.st_mode & 0777, 0777u);

    ASSERT_TRUE(Send(path, {"/bin/kelvane", "a.wav", "-exit"}));
    ASSERT_TRUE(inbox.WaitFor(1));
    ASSERT_TRUE(Send(path, {"/bin/kelvane", std::string(300, 'n')}));
    ASSERT_TRUE(inbox.WaitFor(2));
    EXPECT_EQ(inbox.records[0], (std::vector<std::string>{"/bin/kelvane", "a.wav", "-exit"}));
    EXPECT_EQ(inbox.records[1][1], std::string(259, 'n'));

    listener.Shutdown();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(LPipeListener, ShortGarbledAndSilentClientsAreDroppedWithoutHarm) {
    kvtest::TempDir dir;
    const std::string path = dir.File("sock");
    Inbox inbox;
    Listener listener(path, inbox.Deliver());
    listener.Start(LPipeListener::kPriority);
    ASSERT_TRUE(WaitListening(listener));

    int fd = ConnectRaw(path);  // short: half a record, then the end
    std::vector<char> half(CopyData::kWireSize / 2, 'x');
    ASSERT_EQ(write(fd, half.data(), half.size()), static_cast<ssize_t>(half.size()));
    close(fd);

    fd = ConnectRaw(path);  // garbled: a whole record with an impossible count
    std::vector<char> garbage(CopyData::kWireSize, '\xff');
    std::size_t done = 0;
    while (done < garbage.size()) {
        const ssize_t n = write(fd, garbage.data() + done, garbage.size() - done);
        if (n > 0) done += static_cast<std::size_t>(n);
        else std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    close(fd);

    const int silent = ConnectRaw(path);  // connects and says nothing

    ASSERT_TRUE(Send(path, {"k", "good.wav"}));
    ASSERT_TRUE(inbox.WaitFor(1));
    EXPECT_EQ(inbox.records.size(), 1u);
    EXPECT_EQ(inbox.records[0][1], "good.wav");
    // Shutdown must not wait for the silent client's idle limit.
    listener.Shutdown();
    close(silent);
}

TEST(LPipeListener, StaleFileIsReplacedAndRemovedFileMeansNoInstance) {
    kvtest::TempDir dir;
    const std::string path = dir.File("sock");
    int fd = -1;
    EXPECT_EQ(LNamedPipeRef::Connect(path, &fd), LNamedPipeRef::ConnectResult::kNoFile);

    // A socket file left by a process that died.
    {
        const int old = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        unsigned length = 0;
        ASSERT_TRUE(LNamedPipeRef::MakeAddress(path, &address, &length));
        ASSERT_EQ(bind(old, reinterpret_cast<sockaddr*>(&address), length), 0);
        close(old);
    }
    EXPECT_EQ(LNamedPipeRef::Connect(path, &fd), LNamedPipeRef::ConnectResult::kStale);
    kvtest::WriteFileBytes(path, {1, 2, 3});  // not even a socket
    EXPECT_EQ(LNamedPipeRef::Connect(path, &fd), LNamedPipeRef::ConnectResult::kStale);

    Inbox inbox;
    Listener listener(path, inbox.Deliver());
    listener.Start(LPipeListener::kPriority);
    ASSERT_TRUE(WaitListening(listener));
    EXPECT_TRUE(Send(path, {"k", "x.wav"}));
    EXPECT_TRUE(inbox.WaitFor(1));
}

TEST(LPipeListener, UnbindablePathEndsSilently) {
    Inbox inbox;
    Listener listener("/nonexistent-folder/for/sure/sock", inbox.Deliver());
    listener.Start(LPipeListener::kPriority);
    EXPECT_TRUE(listener.WaitFor(10000));
    EXPECT_FALSE(listener.IsListening());
}

TEST(LMainWindowSendThread, GivesUpWhenNobodyReads) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, pair), 0);
    int small = 4096;
    setsockopt(pair[0], SOL_SOCKET, SO_SNDBUF, &small, sizeof(small));
    const char* argv[] = {"k", "a.wav"};
    LMainWindowSendThread sender(pair[0], 2, argv);
    sender.Start();
    // The peer never reads: the thread must be stoppable while waiting for room.
    EXPECT_FALSE(sender.WaitFor(300));
    sender.StopAndWait();
    EXPECT_FALSE(sender.Sent());
    close(pair[0]);
    close(pair[1]);
}

}  // namespace
