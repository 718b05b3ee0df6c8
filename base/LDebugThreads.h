#pragma once
// Process-wide facts for crash reports: which threads exist (the debug thread
// table) and where the main thread is (gwDebugCurrentCommand). Both are
// designed globals; nothing but crash reporting reads them.
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

constexpr int kDebugThreadsMax = 64;
constexpr uint32_t kDebugThreadFree = 0xFFFFFFFFu;     // entry unused
constexpr uint32_t kDebugThreadFilling = 0xFFFFFFFEu;  // entry being written

struct LDebugThreadEntry {
    std::atomic<uint32_t> threadId{kDebugThreadFree};  // kernel thread id
    char description[28] = {};                         // up to 27 characters
    char name[5] = {};                                 // up to 4 characters
};

extern std::mutex loDebugThreads;  // guards the table
extern int gnDebugThreads;         // entries in use or used before (high-water mark)
extern LDebugThreadEntry gDebugThreadData[kDebugThreadsMax];

// The calling thread's kernel id as unsigned 32 bits (gettid).
uint32_t LDebugCurrentThreadId();
// Enters the calling thread; a free entry is reused before the table grows.
// False when all 64 entries are taken: the thread then stays unregistered.
bool LDebugRegisterThread(const char* name, const char* description);
// Frees the calling thread's entry, if it has one.
void LDebugUnregisterThread();
// Copies the entry of a thread id; false when it isn't registered.
bool LDebugFindThread(uint32_t threadId, std::string* name, std::string* description);

// Where the main thread is: 1 global initialisation, 2 window initialisation,
// 0 idle after initialisation, 3 window destruction, 4 global destruction,
// otherwise the identifier of the running command.
constexpr uint32_t kDebugCommandIdle = 0;
constexpr uint32_t kDebugCommandGlobalInit = 1;
constexpr uint32_t kDebugCommandGuiInit = 2;
constexpr uint32_t kDebugCommandGuiDestroy = 3;
constexpr uint32_t kDebugCommandGlobalDestroy = 4;
extern std::atomic<uint32_t> gwDebugCurrentCommand;

// The crash-report rendering: "GloIni1", "GuiIni2", "GuiDes3", "GloDes4",
// "Ukn0(LstCmd%d)" for 0 (with the last command run) and "(Cmd%d)" otherwise.
std::string LDebugRenderCurrentCommand(uint32_t value, uint32_t lastCommand);
// Records the identifier of a command as it starts (sets gwDebugCurrentCommand
// and remembers it as the last command for the idle rendering).
void LDebugSetCurrentCommand(uint32_t command);
uint32_t LDebugLastCommand();
