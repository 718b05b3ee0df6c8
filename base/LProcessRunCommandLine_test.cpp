#include "base/LProcessRunCommandLine.h"

#include "base/LComponent.h"
#include "base/LFile.h"
#include "base/testing/TestSupport.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

// A job that stops when told, from any thread.
class StoppableJob : public LProcessInterfaceVoid {
public:
    bool IsToStop() override { return stop.load(); }
    void SetError(const char* text) override { error = text; }
    std::atomic<bool> stop{false};
    std::string error;
};

// Writes an executable shell script into `dir`.
std::string Tool(const kvtest::TempDir& dir, const std::string& name, const std::string& body) {
    const std::string path = dir.File(name);
    kvtest::WriteFileBytes(path, std::vector<uint8_t>(body.begin(), body.end()));
    chmod(path.c_str(), 0755);
    return path;
}

std::string ReadText(const std::string& path) {
    std::string text;
    LFile::ReadWholeFile(path, &text);
    return text;
}

TEST(ProcessRunCommandLine, ArgumentsArriveOneByOneAndNoShellSeesThem) {
    kvtest::TempDir dir;
    const std::string args = dir.File("args.txt");
    const std::string tool =
        Tool(dir, "fakedec", "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done > " + args + "\nexit 0\n");
    StoppableJob job;
    int code = -1;
    const std::string tricky = dir.File("a$(touch " + dir.File("x") + ").ogg");
    ASSERT_EQ(ProcessRunCommandLineProcessWithExitCode(job, {tool, "-o", "out wav", tricky}, &code), LProcessOK);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(ReadText(args), "-o\nout wav\n" + tricky + "\n");
    EXPECT_FALSE(std::filesystem::exists(dir.File("x")));
}

TEST(ProcessRunCommandLine, ExitCodesOutputAndMissingPrograms) {
    kvtest::TempDir dir;
    kvtest::IsolatedHome home;
    StoppableJob job;
    int code = -1;
    const std::string two = Tool(dir, "two", "#!/bin/sh\necho 'bad header' >&2\necho line2\nexit 2\n");
    ASSERT_EQ(ProcessRunCommandLineProcessWithExitCode(job, {two}, &code), LProcessOK);
    EXPECT_EQ(code, 2);
    std::string logs;
    kvtest::RunCommand("cat " + kvtest::ShellQuote(home.Path()) + "/.local/share/kelvane/Logs/* 2>/dev/null", &logs);
    EXPECT_NE(logs.find("bad header"), std::string::npos) << logs;
    EXPECT_NE(logs.find("line2"), std::string::npos);

    const std::string killed = Tool(dir, "killed", "#!/bin/sh\nkill -9 $$\n");
    ASSERT_EQ(ProcessRunCommandLineProcessWithExitCode(job, {killed}, &code), LProcessOK);
    EXPECT_EQ(code, 128 + SIGKILL);

    EXPECT_EQ(ProcessRunCommandLineProcessWithExitCode(job, {dir.File("nothere")}, &code), LProcessFailed);
    EXPECT_NE(job.error.find("nothere"), std::string::npos);
}

TEST(ProcessRunCommandLine, AStopEndsTheProgramEvenOneThatIgnoresTerm) {
    kvtest::TempDir dir;
    const std::string pidFile = dir.File("pid");
    for (const char* trap : {"", "trap '' TERM\n"}) {
        const std::string tool = Tool(dir, "slow", std::string("#!/bin/sh\n") + trap + "echo $$ > " + pidFile +
                                                       "\nwhile true; do sleep 0.1; done\n");
        StoppableJob job;
        std::thread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            job.stop = true;
        });
        const auto start = std::chrono::steady_clock::now();
        int code = -1;
        EXPECT_EQ(ProcessRunCommandLineProcessWithExitCode(job, {tool}, &code), LProcessStopped);
        stopper.join();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
        const pid_t pid = std::stoi(ReadText(pidFile));
        EXPECT_NE(kill(pid, 0), 0) << "the program is still there";
    }
}

TEST(LComponent, ProgramsComeFromPathAndTheRestIsKnownMissingOrLinked) {
    kvtest::TempDir dir;
    Tool(dir, "oggdec", "#!/bin/sh\nexit 0\n");
    kvtest::ScopedEnv path("PATH", dir.Path() + ":/usr/bin:/bin");
    StoppableJob job;
    std::string found;
    ASSERT_TRUE(LComponentGetPathDownload(job, "oggdec3x64", &found));
    EXPECT_EQ(found, dir.File("oggdec"));
    EXPECT_FALSE(LComponentGetPathDownload(job, "aacdec2", &found));
    EXPECT_FALSE(LComponentGetPathDownload(job, "no such part", &found));
    EXPECT_TRUE(LComponentGetPathDownload(job, "ffmpeg24bx64", &found));
    EXPECT_TRUE(found.empty());
    kvtest::WriteFileBytes(dir.File("notexec"), {'x'});
    EXPECT_FALSE(LFindProgramOnPath("notexec", &found));
    EXPECT_TRUE(LFindProgramOnPath("sh", &found));
}

}  // namespace
