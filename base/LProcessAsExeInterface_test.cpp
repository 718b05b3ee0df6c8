#include "base/LProcessAsExeInterface.h"

#include "base/testing/TestSupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

namespace {

// The wire goes to a file the test reads back; the parent's side is a pipe.
class ChildWire : public ::testing::Test {
protected:
    void SetUp() override {
        outFd = ::open(dir.File("wire").c_str(), O_CREAT | O_RDWR | O_TRUNC | O_CLOEXEC, 0666);
        ASSERT_GE(outFd, 0);
        ASSERT_EQ(::pipe2(parent, O_CLOEXEC), 0);
    }
    void TearDown() override {
        ::close(outFd);
        ::close(parent[0]);
        if (parent[1] >= 0)
            ::close(parent[1]);
    }
    std::vector<uint8_t> Wire() { return kvtest::ReadFileBytes(dir.File("wire")); }

    kvtest::TempDir dir;
    int outFd = -1;
    int parent[2] = {-1, -1};  // the child reads parent[0]
};

class ClockedInterface : public LProcessAsExeInterface {
public:
    using LProcessAsExeInterface::LProcessAsExeInterface;
    uint32_t now = 0xFFFFFF00u;  // near the wrap of the 32-bit clock

protected:
    uint32_t NowMilliseconds() const override { return now; }
};

std::vector<uint8_t> ProgressMessage(double value) {
    std::vector<uint8_t> bytes(9, 16);
    std::memcpy(bytes.data() + 1, &value, 8);
    return bytes;
}

void Append(std::vector<uint8_t>& to, const std::vector<uint8_t>& bytes) {
    for (uint8_t byte : bytes)
        to.push_back(byte);
}

TEST_F(ChildWire, ProgressAndHeartbeatAreThinnedByTime) {
    ClockedInterface iface(outFd, parent[0]);
    iface.SetProgress(0.1);   // sent
    iface.now += 249;
    iface.SetProgress(0.2);   // thinned
    iface.SetProgress(1.0);   // the end always goes out
    iface.now += 250;         // clock wraps here
    iface.SetProgress(0.3);   // sent
    EXPECT_FALSE(iface.IsToStop());  // heartbeat
    iface.now += 999;
    EXPECT_FALSE(iface.IsToStop());  // too soon for another
    iface.now += 1;
    EXPECT_FALSE(iface.IsToStop());  // heartbeat
    std::vector<uint8_t> expected = ProgressMessage(0.1);
    Append(expected, ProgressMessage(1.0));
    Append(expected, ProgressMessage(0.3));
    expected.push_back(19);
    expected.push_back(19);
    EXPECT_EQ(Wire(), expected);
}

TEST_F(ChildWire, TextsStatusLinesAndResults) {
    LProcessAsExeInterface iface(outFd, parent[0]);
    iface.SetStatus("ab", 0);
    iface.SetStatus("c", 2);
    iface.SetStatus("dropped", 3);
    iface.SetStatus("dropped", -1);
    iface.SetError("E");
    iface.SetProgressIndeterminateOn();
    iface.SetProgressIndeterminateOff();
    const uint8_t data[3] = {7, 8, 9};
    iface.SetResultCode(LProcessOK, data, 3);
    iface.SetResultCode(LProcessFailed, data, 2);
    iface.SetResultCode(LProcessStopped, data, 3);
    EXPECT_EQ(Wire(), (std::vector<uint8_t>{129, 2, 0, 'a', 'b', 131, 1, 0, 'c', 128, 1, 0, 'E', 17, 18, 1, 7, 8, 9,
                                            0, 7, 8, 2}));
}

TEST_F(ChildWire, LongTextIsCutAt65535) {
    LProcessAsExeInterface iface(outFd, parent[0]);
    std::string text(70000, 'z');
    iface.SetStatus(text.c_str(), 1);
    auto wire = Wire();
    ASSERT_EQ(wire.size(), 3u + 65535u);
    EXPECT_EQ(wire[0], 130);
    EXPECT_EQ(wire[1], 0xFF);
    EXPECT_EQ(wire[2], 0xFF);
}

TEST_F(ChildWire, ParentStopsByByteOrByClosing) {
    LProcessAsExeInterface iface(outFd, parent[0]);
    EXPECT_FALSE(iface.IsToStop());
    EXPECT_FALSE(iface.ProcessWait(1));
    LSignalObject signal;
    signal.Signal();
    EXPECT_EQ(iface.ProcessWaitSignal(signal, LWaitForever), 0);
    const uint8_t input[4] = {1, 2, 3, 4};
    ASSERT_EQ(::write(parent[1], input, 4), 4);
    EXPECT_TRUE(iface.IsToStop());
    EXPECT_TRUE(iface.ProcessWait(LWaitForever));
    uint8_t read[8];
    EXPECT_EQ(iface.ReadData(read, 2), 2u);
    EXPECT_EQ(read[1], 2);
    ::close(parent[1]);
    parent[1] = -1;
    EXPECT_EQ(iface.ReadData(read, 8), 2u);  // short at end of input
    EXPECT_TRUE(iface.IsToStop());           // a closed pipe also means stop
    EXPECT_EQ(iface.ProcessWaitSignal(LSignalObject().Ref(), LWaitForever), 1);
}

class EchoJob : public LProcessAsExeBase {
public:
    EchoJob() : LProcessAsExeBase("kvtest-echo") {}
    int Run(LProcessAsExeInterface& iface) override {
        uint8_t value = 0;
        iface.ReadData(&value, 1);
        iface.SetResultCode(value ? LProcessFailed : LProcessOK, &value, 1);
        return value;
    }
};
EchoJob gEchoJob;

TEST_F(ChildWire, RegistryRunsNamedJobs) {
    EXPECT_EQ(LProcessAsExeBase::Find("kvtest-echo"), &gEchoJob);
    EXPECT_EQ(LProcessAsExeRun("no-such-job", outFd, parent[0]), 1);
    const uint8_t inputs[2] = {0, 5};
    ASSERT_EQ(::write(parent[1], inputs, 2), 2);
    EXPECT_EQ(LProcessAsExeRun("kvtest-echo", outFd, parent[0]), 0);
    EXPECT_EQ(LProcessAsExeRun("kvtest-echo", outFd, parent[0]), 1);
    EXPECT_EQ(Wire(), (std::vector<uint8_t>{1, 0, 0, 5}));
    {
        class Temporary : public LProcessAsExeBase {
        public:
            Temporary() : LProcessAsExeBase("kvtest-temp") {}
            int Run(LProcessAsExeInterface&) override { return 0; }
        } temporary;
        EXPECT_EQ(LProcessAsExeBase::Find("kvtest-temp"), &temporary);
    }
    EXPECT_EQ(LProcessAsExeBase::Find("kvtest-temp"), nullptr);
}

}  // namespace
