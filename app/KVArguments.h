#pragma once
// The process's argument vector as the application sees it: the launcher's
// process-number argument removed. Set once by main, read by the window's
// start-up (hand-over and first argument run).
extern int gargc;
extern char** gargv;

// Copies argv into gargc/gargv, dropping argv[1] when it begins with "-psn"
// (a process number some launchers add). No other position is looked at.
// The strings stay argv's; only the vector is copied.
void KVSetArguments(int argc, char** argv);
