#include "base/LProcessRunCommandLine.h"

#include "base/LFile.h"
#include "base/LLogError.h"
#include "base/LSteadyClock.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

extern char** environ;

namespace {

constexpr int kTickMilliseconds = 100;
constexpr uint32_t kTermGraceMilliseconds = 2000;
// What one run may put into the log; the rest is read and dropped, so a
// chatty program never blocks on a full pipe nor fills the disk.
constexpr size_t kMaxLoggedLines = 200;
constexpr size_t kMaxLoggedBytes = 64 * 1024;

// Collects the program's output into log lines.
class OutputLogger {
public:
    explicit OutputLogger(std::string program) : program_(std::move(program)) {}
    ~OutputLogger() { Flush(); }

    void Add(const char* data, size_t size) {
        for (size_t i = 0; i < size; ++i) {
            if (data[i] == '\n') {
                Flush();
            } else if (line_.size() < 1024) {
                line_.push_back(data[i]);
            }
        }
    }

private:
    void Flush() {
        if (line_.empty()) return;
        if (lines_ < kMaxLoggedLines && bytes_ < kMaxLoggedBytes) {
            LOGERRORF("%s: %s", program_.c_str(), line_.c_str());
            ++lines_;
            bytes_ += line_.size();
        }
        line_.clear();
    }

    std::string program_;
    std::string line_;
    size_t lines_ = 0;
    size_t bytes_ = 0;
};

// Reads what the pipe holds now; false at its end.
bool Drain(int fd, OutputLogger& logger) {
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            logger.Add(buffer, static_cast<size_t>(n));
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        return n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    }
}

int ExitCodeOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

bool Reaped(pid_t child, int* status) {
    for (;;) {
        const pid_t done = ::waitpid(child, status, WNOHANG);
        if (done == child) return true;
        if (done < 0 && errno == EINTR) continue;
        return false;
    }
}

// TERM, a grace period, then KILL; always reaps.
void EndChild(pid_t child) {
    ::kill(child, SIGTERM);
    int status = 0;
    const uint32_t start = LSteadyMilliseconds();
    while (LSteadyMilliseconds() - start < kTermGraceMilliseconds) {
        if (Reaped(child, &status)) return;
        ::usleep(20 * 1000);
    }
    ::kill(child, SIGKILL);
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
}

class SpawnActions {
public:
    SpawnActions() { ::posix_spawn_file_actions_init(&actions_); }
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    posix_spawn_file_actions_t* Get() { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

}  // namespace

LProcessResult ProcessRunCommandLineProcessWithExitCode(LProcessInterface& process,
                                                        const std::vector<std::string>& argv, int* exitCode) {
    if (argv.empty()) return LProcessFailed;
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        process.SetErrorF("%s kann nicht gestartet werden: %s", argv[0].c_str(), std::strerror(errno));
        return LProcessFailed;
    }
    LFile readEnd(pipeFds[0]);
    LFile writeEnd(pipeFds[1]);

    SpawnActions actions;
    ::posix_spawn_file_actions_addopen(actions.Get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    // dup2 leaves the copies without close-on-exec; the originals close.
    ::posix_spawn_file_actions_adddup2(actions.Get(), writeEnd.Fd(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(actions.Get(), writeEnd.Fd(), STDERR_FILENO);

    std::vector<char*> arguments;
    for (const std::string& a : argv) arguments.push_back(const_cast<char*>(a.c_str()));
    arguments.push_back(nullptr);

    pid_t child = -1;
    const bool searchPath = argv[0].find('/') == std::string::npos;
    const int spawned = searchPath ? ::posix_spawnp(&child, arguments[0], actions.Get(), nullptr, arguments.data(), environ)
                                   : ::posix_spawn(&child, arguments[0], actions.Get(), nullptr, arguments.data(), environ);
    writeEnd.Close();
    if (spawned != 0) {
        process.SetErrorF("%s kann nicht gestartet werden: %s", argv[0].c_str(), std::strerror(spawned));
        return LProcessFailed;
    }

    OutputLogger logger(argv[0]);
    bool outputOpen = true;
    int status = 0;
    for (;;) {
        if (process.IsToStop()) {
            EndChild(child);
            return LProcessStopped;
        }
        if (outputOpen) {
            pollfd wait{readEnd.Fd(), POLLIN, 0};
            ::poll(&wait, 1, kTickMilliseconds);
            outputOpen = Drain(readEnd.Fd(), logger);
        } else {
            ::usleep(kTickMilliseconds * 1000 / 4);
        }
        if (Reaped(child, &status)) break;
    }
    Drain(readEnd.Fd(), logger);
    if (exitCode) *exitCode = ExitCodeOf(status);
    return LProcessOK;
}
