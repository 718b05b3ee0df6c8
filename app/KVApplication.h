#pragma once
// The process entry: what main does, in order, and the pieces of it that are
// worth calling on their own.

// Everything main does; returns the process's exit status: 0 for a clean run
// or a completed hand-over, 1 when argument operations failed, when a
// hand-over didn't go through, or for "-elevated" and unknown "-exe" jobs.
int KVApplicationMain(int argc, char** argv);

// Static initialisation: the debug state, signal handlers and the URI handler.
void KVGlobalInit();

// The locale identifier from LC_ALL, LC_MESSAGES or LANG, cut to 5 characters
// ("de_DE.UTF-8" gives "de_DE"); empty when none is set.
const char* KVFindLocaleIdentifier(char* out, int size);
// Finds and sets the locale, once per process.
void KVSetLocale();
// Raises the soft limit of open files to 4096 (the sound cache keeps many open).
void KVRaiseOpenFileLimit();
// Child mode: runs the named job over stdin/stdout; 1 when there is none.
int KVRunChildMode(const char* name);

extern bool bInstallerShouldRun;
