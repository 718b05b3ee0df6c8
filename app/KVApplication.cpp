#include "app/KVApplication.h"

#include "app/KVArguments.h"
#include "app/KVDelivery.h"
#include "app/LDebugSignalHandler.h"
#include "app/LURISchemeHandler.h"
#include "app/MainDialog.h"
#include "base/LDebugThreads.h"
#include "base/LHeadlessPlatform.h"
#include "base/LPlatform.h"
#include "base/LProcessAsExeInterface.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#ifndef KV_VERSION
#define KV_VERSION "0.1.0"
#endif

bool bInstallerShouldRun = false;

namespace {

const char* kUsage =
    "Usage: kelvane [FILE...] [OPTION...]\n"
    "\n"
    "Opens the files in the running Kelvane, or starts it. Options run in the order given.\n"
    "\n"
    "  -save                 save the current document\n"
    "  -saveas FILE          save the current document as FILE\n"
    "  -close                hide the main window\n"
    "  -exit                 quit (asks to save unsaved changes)\n"
    "  -play, -stop          start, stop playback (-stop also ends a recording)\n"
    "  -record               start recording\n"
    "  -restart              move the position to the start\n"
    "  -window WIDTH HEIGHT  set the size of the main window\n"
    "  -list FILE            open every file named in FILE, one per line; ends the options\n"
    "  -batch [ARG...]       batch conversion: SCRIPT.kvb, FILE..., -inpdir FOLDER,\n"
    "                        -destdir FOLDER, -output FORMAT, -run, -quit\n"
    "  --help                show this text\n"
    "  --version             show the version\n";

void SetDebugName(const char* name) {
    char shortName[5] = {};
    std::strncpy(shortName, name, 4);
    LDebugUnregisterThread();
    LDebugRegisterThread(shortName, "child process");
}

}  // namespace

void KVGlobalInit() {
    gwDebugCurrentCommand = kDebugCommandGlobalInit;
    LInstallSignalHandlers();
    LURISchemeHandler::Instance();
}

const char* KVFindLocaleIdentifier(char* out, int size) {
    out[0] = '\0';
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value && *value) {
            std::snprintf(out, static_cast<std::size_t>(size), "%.5s", value);
            break;
        }
    }
    return out;
}

void KVSetLocale() {
    static bool done = false;
    if (done)
        return;
    done = true;
    char identifier[6];
    KVFindLocaleIdentifier(identifier, sizeof(identifier));
    // The cut drops the character set, which is UTF-8 throughout; ask for it
    // explicitly, and fall back to the environment's own locale.
    const std::string utf8 = std::string(identifier) + ".UTF-8";
    if (!*identifier || (!std::setlocale(LC_ALL, utf8.c_str()) && !std::setlocale(LC_ALL, identifier)))
        std::setlocale(LC_ALL, "");
    // Numbers written into files and settings must read back anywhere.
    std::setlocale(LC_NUMERIC, "C");
}

void KVRaiseOpenFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < 4096) {
        limit.rlim_cur = 4096;
        setrlimit(RLIMIT_NOFILE, &limit);  // a hard limit below this refuses; that's all right
    }
}

int KVRunChildMode(const char* name) {
    SetDebugName(name);
    for (int signalNumber : {SIGQUIT, SIGILL, SIGFPE, SIGSEGV, SIGBUS})
        std::signal(signalNumber, SIG_DFL);
    return LProcessAsExeRun(name);
}

int KVApplicationMain(int argc, char** argv) {
    LDebugRegisterThread("MAIN", "main thread");
    umask(0);
    KVSetArguments(argc, argv);
    KVSetLocale();
    KVRaiseOpenFileLimit();

    if (gargc >= 3 && std::strcmp(gargv[1], "-exe") == 0)
        return KVRunChildMode(gargv[2]);
    if (gargc >= 3 && std::strcmp(gargv[1], "-elevated") == 0)
        return 1;
    if (gargc >= 2 && std::strcmp(gargv[1], "-installer") == 0)
        bInstallerShouldRun = true;
    if (gargc >= 2 && std::strcmp(gargv[1], "--help") == 0) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (gargc >= 2 && std::strcmp(gargv[1], "--version") == 0) {
        std::printf("kelvane %s\n", KV_VERSION);
        return 0;
    }
    DeliveryInstallShippedComponents();
    DeliveryPrepareSharedComponentsFolder();

    // No windowing toolkit is linked into this program yet: it runs headless,
    // alerts on stderr answered with their default button.
    LHeadlessPlatform platform;
    LPlatformScope platformScope(platform);

    if (bInstallerShouldRun)
        DeliveryRunInstaller();
    MainDialog dialog;
    if (!dialog.MainWindowInit())
        return dialog.LastHandOver() == LMainWindow::HandOver::kSent ? 0 : 1;
    PlatformRequestMicrophonePermission();
    {
        LInterruptWatcher interrupts;
        interrupts.Start();
        LSetMainLoopRunning(true);
        platform.RunMainLoop();
        LSetMainLoopRunning(false);
    }
    // Ended by a signal rather than by CmExit: still end cleanly.
    if (!dialog.IsClosed())
        dialog.Close();
    gwDebugCurrentCommand = kDebugCommandGlobalDestroy;
    return dialog.ExitStatus();
}
