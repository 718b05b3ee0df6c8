// Start-up, hand-over and shutdown between real processes of the kelvane
// executable, each in an isolated home.
#include "app/CopyData.h"
#include "app/KVApplication.h"
#include "app/LDebugSignalHandler.h"
#include "app/LNamedPipeRef.h"
#include "formats/wave/LWaveFileFormat.h"

#include "base/testing/TestSupport.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include <pwd.h>
#include <unistd.h>
#include <fstream>
#include <sstream>
#include <thread>

extern char** environ;

namespace {

namespace fs = std::filesystem;

// The build folder comes from KV_BINARY_DIR; without it, it is the folder
// above this test program's own (<build>/app/app_tests).
std::string Binary() {
    if (const char* dir = std::getenv("KV_BINARY_DIR"); dir && *dir)
        return std::string(dir) + "/kelvane";
    return (fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "kelvane").string();
}

// A kelvane process with its output in a file.
class Process {
public:
    Process(const std::vector<std::string>& args, const std::string& log,
            const std::vector<std::string>& extraEnv = {}) {
        std::vector<std::string> all = {Binary()};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (auto& a : all) argv.push_back(a.data());
        argv.push_back(nullptr);
        std::vector<std::string> env;
        for (char** e = environ; *e; ++e) env.emplace_back(*e);
        env.insert(env.end(), extraEnv.begin(), extraEnv.end());  // later entries win
        std::vector<char*> envp;
        for (auto it = env.rbegin(); it != env.rend(); ++it) envp.push_back(it->data());
        envp.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0)
            pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Process() {
        if (pid_ > 0 && status_ < 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    bool Started() const { return pid_ > 0; }
    void Signal(int signalNumber) { kill(pid_, signalNumber); }
    // The exit status, or -1 when the process still runs after `seconds`.
    int Wait(int seconds = 20) {
        for (int i = 0; i < seconds * 100 && status_ < 0; ++i) {
            int raw = 0;
            if (waitpid(pid_, &raw, WNOHANG) == pid_)
                status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
            else
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return status_;
    }

private:
    pid_t pid_ = -1;
    int status_ = -1;
};

std::string SocketPath(const std::string& home) { return home + "/.cache/kelvane/.spipe.Kelvane"; }

std::string RunLockPath(const std::string& home) {
    const char* user = std::getenv("LOGNAME");
    if (!user || !*user) user = std::getenv("USER");
    if (!user || !*user) user = getpwuid(getuid())->pw_name;
    return home + "/.cache/kelvane/_kelvane_rl_" + user;
}

// The run lock is taken just after the socket starts listening: waits up to
// five seconds for a file to reach its size.
void WaitForFile(const std::string& path, uintmax_t size = 0) {
    for (int i = 0; i < 500; ++i) {
        std::error_code error;
        const uintmax_t now = fs::file_size(path, error);
        if (!error && now >= size) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

bool WaitUntilListening(const std::string& socketPath) {
    for (int i = 0; i < 2000; ++i) {
        int fd = -1;
        if (LNamedPipeRef::Connect(socketPath, &fd) == LNamedPipeRef::ConnectResult::kConnected) {
            close(fd);  // an empty connection is dropped without harm
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

int RunKelvane(const std::vector<std::string>& args, const std::string& log) {
    Process p(args, log);
    return p.Wait();
}

TEST(KVApplicationProcess, FirstPositionOptionsAndChildMode) {
    kvtest::IsolatedHome home;
    const std::string log = home.Path() + "/out.txt";
    ASSERT_TRUE(fs::exists(Binary())) << "kelvane executable missing at " << Binary();
    EXPECT_EQ(RunKelvane({"-exe", "nosuch"}, log), 1);
    EXPECT_EQ(RunKelvane({"-elevated", "x"}, log), 1);
    EXPECT_EQ(RunKelvane({"--version"}, log), 0);
    EXPECT_NE(ReadText(log).find("kelvane 0."), std::string::npos);
    EXPECT_EQ(RunKelvane({"--help"}, log), 0);
    EXPECT_NE(ReadText(log).find("-batch"), std::string::npos);
    // Not in first position (or in other case) these are plain arguments.
    EXPECT_EQ(RunKelvane({"-exit", "-EXE", "nosuch"}, log), 0);
    EXPECT_EQ(RunKelvane({"-installer", "-exit"}, log), 0);
    EXPECT_EQ(RunKelvane({"-psn_0_1234", "-exit"}, log), 0);
    EXPECT_FALSE(fs::exists(SocketPath(home.Path())));
    EXPECT_FALSE(fs::exists(RunLockPath(home.Path())));
}

TEST(KVApplicationProcess, SecondStartHandsOverAndTheFirstCarriesItOut) {
    kvtest::IsolatedHome home;
    const std::string firstLog = home.Path() + "/first.txt";
    Process first({}, firstLog);
    ASSERT_TRUE(first.Started());
    ASSERT_TRUE(WaitUntilListening(SocketPath(home.Path())));
    WaitForFile(RunLockPath(home.Path()), 16);
    EXPECT_TRUE(fs::exists(RunLockPath(home.Path())));
    EXPECT_EQ(fs::file_size(RunLockPath(home.Path())), 16u);

    const auto begin = std::chrono::steady_clock::now();
    Process second({"a.wav", "b.kvp", "-exit"}, home.Path() + "/second.txt");
    EXPECT_EQ(second.Wait(10), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));

    // Neither file is there (and projects are not in this build), so the first reports both, in order,
    // then exits with a status that says its arguments failed.
    EXPECT_EQ(first.Wait(), 1);
    const std::string out = ReadText(firstLog);
    const auto a = out.find("a.wav"), b = out.find("b.kvp");
    EXPECT_NE(a, std::string::npos) << out;
    EXPECT_NE(b, std::string::npos) << out;
    EXPECT_LT(a, b);
    EXPECT_FALSE(fs::exists(SocketPath(home.Path())));
    EXPECT_FALSE(fs::exists(RunLockPath(home.Path())));
}

TEST(KVApplicationProcess, LongArgumentsAreCutAndOnly128Travel) {
    kvtest::IsolatedHome home;
    const std::string firstLog = home.Path() + "/first.txt";
    Process first({}, firstLog);
    ASSERT_TRUE(WaitUntilListening(SocketPath(home.Path())));

    std::string longName(250, 'p');
    longName.append(".wav").append(50, 'q');
    std::vector<std::string> args = {longName};
    for (int i = 1; i <= 150; ++i) {
        std::string name = "f";
        name.append(std::to_string(i)).append(".wav");
        args.push_back(name);
    }
    EXPECT_EQ(RunKelvane(args, home.Path() + "/second.txt"), 0);
    ASSERT_EQ(RunKelvane({"-exit"}, home.Path() + "/third.txt"), 0);
    EXPECT_EQ(first.Wait(), 1);
    const std::string out = ReadText(firstLog);
    // The name arrives cut to 259 characters (and so names no file).
    EXPECT_NE(out.find("\"" + longName.substr(0, 259) + "\""), std::string::npos) << out;
    EXPECT_NE(out.find("f126.wav"), std::string::npos);
    EXPECT_EQ(out.find("f127.wav"), std::string::npos);
}

TEST(KVApplicationProcess, StaleSocketFileDoesNotStopAStart) {
    kvtest::IsolatedHome home;
    fs::create_directories(home.Path() + "/.cache/kelvane");
    const std::string path = SocketPath(home.Path());
    {
        const int old = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        unsigned length = 0;
        ASSERT_TRUE(LNamedPipeRef::MakeAddress(path, &address, &length));
        ASSERT_EQ(bind(old, reinterpret_cast<sockaddr*>(&address), length), 0);
        close(old);
    }
    EXPECT_EQ(RunKelvane({"-exit"}, home.Path() + "/out.txt"), 0);
    EXPECT_FALSE(fs::exists(path));
}

TEST(KVApplicationProcess, GarbledRecordsAreDroppedAndUsersDontMeet) {
    kvtest::IsolatedHome home;
    kvtest::TempDir otherUser;
    const std::string firstLog = home.Path() + "/first.txt";
    Process first({}, firstLog);
    ASSERT_TRUE(WaitUntilListening(SocketPath(home.Path())));

    int fd = -1;
    ASSERT_EQ(LNamedPipeRef::Connect(SocketPath(home.Path()), &fd), LNamedPipeRef::ConnectResult::kConnected);
    const std::string shortRecord(1000, 'x');
    EXPECT_EQ(write(fd, shortRecord.data(), shortRecord.size()), static_cast<ssize_t>(shortRecord.size()));
    close(fd);

    // Another user has another temporary folder: a start there runs on its own.
    Process other({"-exit"}, otherUser.File("out.txt"),
                  {"HOME=" + otherUser.Path(), "XDG_CACHE_HOME=" + otherUser.Path() + "/cache"});
    EXPECT_EQ(other.Wait(), 0);
    EXPECT_TRUE(fs::exists(SocketPath(home.Path())));

    // Still alive and listening; SIGTERM ends it cleanly.
    EXPECT_TRUE(WaitUntilListening(SocketPath(home.Path())));
    first.Signal(SIGTERM);
    EXPECT_EQ(first.Wait(), 0);
    EXPECT_FALSE(fs::exists(SocketPath(home.Path())));
    EXPECT_FALSE(fs::exists(RunLockPath(home.Path())));
}

TEST(KVApplication, LocaleIdentifierIsCutToFiveCharacters) {
    kvtest::ScopedEnv all("LC_ALL", "");
    kvtest::ScopedEnv messages("LC_MESSAGES", "");
    kvtest::ScopedEnv lang("LANG", "de_DE.UTF-8");
    char id[6];
    EXPECT_STREQ(KVFindLocaleIdentifier(id, sizeof(id)), "de_DE");
    kvtest::ScopedEnv none("LANG", "");
    EXPECT_STREQ(KVFindLocaleIdentifier(id, sizeof(id)), "");
}

TEST(LDebugSignalHandler, AlertTextNamesTheSignal) {
    EXPECT_STREQ(kDebugSignalAlertTitle, "Abnormaler Signalabsturz");
    const std::string text = LDebugSignalAlertText(11);
    EXPECT_EQ(text.rfind("Kelvane Audio-Editor ist mit abnormaler Ausnahme abgestürzt.\r\n\r\nMöchten Sie", 0), 0u);
    EXPECT_NE(text.find("eine \"SIGNAL11\" Fehlermeldung erhalten haben."), std::string::npos);
    EXPECT_EQ(LDebugCrashCode(8).rfind("SIGNAL8-Linux-UnknownModule-", 0), 0u);
    EXPECT_TRUE(LDebugSignalIsFatal(SIGSEGV));
    EXPECT_TRUE(LDebugSignalIsFatal(SIGBUS));
    EXPECT_FALSE(LDebugSignalIsFatal(SIGQUIT));
}

}  // namespace

namespace {

// sox's 16-bit view of a sound file.
std::string Sox16(const std::string& path) {
    std::string out;
    EXPECT_EQ(kvtest::RunCommand("sox " + kvtest::ShellQuote(path) + " -t s16 - | od -An -v -tx1", &out), 0);
    return out;
}

TEST(KVApplicationProcess, FlacOpensAndSavesAsWaveWithTheSamplesSoxReads) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("flac");
    kvtest::IsolatedHome home;
    const std::string wave = home.Path() + "/in.wav";
    const std::string flac = home.Path() + "/in.flac";
    const std::string out = home.Path() + "/out.wav";
    ASSERT_EQ(kvtest::RunCommand("sox -R -n -r 44100 -c 2 -b 16 " + wave + " synth 1 sine 440 gain -3"), 0);
    ASSERT_EQ(kvtest::RunCommand("flac -s -f " + wave + " -o " + flac), 0);
    EXPECT_EQ(RunKelvane({flac, "-saveas", out, "-exit"}, home.Path() + "/log.txt"), 0)
        << ReadText(home.Path() + "/log.txt");
    EXPECT_EQ(Sox16(out), Sox16(flac));
    // Nothing stays in the temporary folder.
    EXPECT_EQ(ReadText(home.Path() + "/.cache/kelvane/Temp1.wav"), "");
    EXPECT_FALSE(fs::exists(home.Path() + "/.cache/kelvane/Temp1.lck"));

    // Saving over its own file, in a second run.
    EXPECT_EQ(RunKelvane({out, "-save", "-exit"}, home.Path() + "/log2.txt"), 0)
        << ReadText(home.Path() + "/log2.txt");
    EXPECT_EQ(Sox16(out), Sox16(flac));
}

TEST(KVApplicationProcess, AFileThatWontOpenSaysWhyTwiceAndFailsTheRun) {
    kvtest::IsolatedHome home;
    const std::string bad = home.Path() + "/broken.wav";
    kvtest::WriteFileBytes(bad, {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'W', 'A', 'V', 'E'});
    const std::string log = home.Path() + "/log.txt";
    EXPECT_EQ(RunKelvane({bad, "-exit"}, log), 1);
    const std::string text = ReadText(log);
    EXPECT_NE(text.find("Die Datei \"" + bad + "\" kann nicht geöffnet werden, da sie beschädigt ist."),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("Kelvane konnte Datei \"" + bad + "\" nicht zur Bearbeitung öffnen."), std::string::npos);
    EXPECT_EQ(RunKelvane({home.Path() + "/missing.wav", "-exit"}, log), 1);
    EXPECT_NE(ReadText(log).find("Datei nicht gefunden"), std::string::npos);
}

}  // namespace

namespace {

// A service or cron job sets neither LOGNAME nor USER: the run lock still
// names the user, from the password database.
TEST(KVApplicationProcess, RunLockNamesTheUserWithoutLognameOrUser) {
    kvtest::IsolatedHome home;
    const passwd* entry = getpwuid(getuid());
    ASSERT_NE(entry, nullptr);
    kvtest::ScopedEnv logname("LOGNAME", "");
    kvtest::ScopedEnv user("USER", "");
    Process first({}, home.Path() + "/first.txt");
    ASSERT_TRUE(WaitUntilListening(SocketPath(home.Path())));
    const std::string lock = home.Path() + "/.cache/kelvane/_kelvane_rl_" + entry->pw_name;
    WaitForFile(lock);
    EXPECT_TRUE(fs::exists(lock));
    EXPECT_FALSE(fs::exists(home.Path() + "/.cache/kelvane/_kelvane_rl_"));
    ASSERT_EQ(RunKelvane({"-exit"}, home.Path() + "/second.txt"), 0);
    EXPECT_EQ(first.Wait(), 0);
    EXPECT_FALSE(fs::exists(lock));
}

}  // namespace

namespace {

// Mu-law as every other tool writes it: a file made by sox opens, and saved
// again as mu-law it keeps every code, so sox reads the same samples back.
TEST(KVApplicationProcess, MuLawFilesKeepEveryCodeThroughOpenAndSave) {
    KV_REQUIRE_TOOL("sox");
    kvtest::IsolatedHome home;
    const std::string in = home.Path() + "/in.wav";
    const std::string out = home.Path() + "/out.wav";
    ASSERT_EQ(kvtest::RunCommand("sox -R -n -r 8000 -c 1 -e u-law " + in + " synth 1 whitenoise gain -1"), 0);
    fs::create_directories(home.Path() + "/.local/share/kelvane");
    LWaveFileFormat muLaw = LWaveFileFormat::PCM(8000, 1, 8);
    muLaw.formatTag = LWaveFileFormat::kTagMuLaw;
    ASSERT_TRUE(muLaw.SaveToWavCodecFile(home.Path() + "/.local/share/kelvane/WavCodec.wff"));
    EXPECT_EQ(RunKelvane({in, "-saveas", out, "-exit"}, home.Path() + "/log.txt"), 0)
        << ReadText(home.Path() + "/log.txt");
    std::string format;
    kvtest::RunCommand("soxi -e " + out, &format);
    EXPECT_EQ(format, "u-law\n");
    EXPECT_EQ(Sox16(out), Sox16(in));
}

}  // namespace

namespace {

// What the decoder programs don't read, FFmpeg does: an AAC file opens and
// saves as Wave with the samples ffmpeg itself decodes, without any decoder
// program on PATH.
TEST(KVApplicationProcess, AacOpensThroughFFmpegAndSavesWhatFfmpegDecodes) {
    KV_REQUIRE_TOOL("sox");
    KV_REQUIRE_TOOL("ffmpeg");
    kvtest::IsolatedHome home;
    const std::string wave = home.Path() + "/in.wav";
    const std::string m4a = home.Path() + "/in.m4a";
    const std::string out = home.Path() + "/out.wav";
    ASSERT_EQ(kvtest::RunCommand("sox -R -n -r 44100 -c 2 -b 16 " + wave + " synth 2 sine 330 gain -6"), 0);
    ASSERT_EQ(kvtest::RunCommand("ffmpeg -v quiet -y -i " + wave + " -c:a aac -b:a 160k " + m4a), 0);
    // The saved Wave is 16-bit; ffmpeg's 16-bit view of the AAC is the reference.
    std::vector<uint8_t> reference;
    ASSERT_EQ(kvtest::RunCommandBytes("ffmpeg -v quiet -i " + m4a + " -f s16le -", &reference), 0);
    {
        kvtest::ScopedEnv path("PATH", "/nonexistent");
        EXPECT_EQ(RunKelvane({m4a, "-saveas", out, "-exit"}, home.Path() + "/log.txt"), 0)
            << ReadText(home.Path() + "/log.txt");
    }
    std::vector<uint8_t> ours;
    ASSERT_EQ(kvtest::RunCommandBytes("sox " + out + " -t s16 -", &ours), 0);
    ASSERT_EQ(ours.size(), reference.size());
    size_t bad = 0;
    for (size_t i = 0; i + 1 < ours.size(); i += 2) {
        const int a = int16_t(ours[i] | ours[i + 1] << 8), b = int16_t(reference[i] | reference[i + 1] << 8);
        if (std::abs(a - b) > 2) ++bad;
    }
    EXPECT_EQ(bad, 0u);
    EXPECT_FALSE(fs::exists(home.Path() + "/.cache/kelvane/Temp1.wav"));
}

}  // namespace
