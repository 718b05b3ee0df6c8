#pragma once
// Running an external program as a step of a job: decoders and encoders
// that come as separate programs. The program gets its arguments exactly as
// given, one by one (never through a shell, so a path may hold any
// character), reads nothing (standard input is /dev/null), and what it
// prints goes to the log, a bounded amount per run. A stop of the job ends
// the program: SIGTERM first, SIGKILL when it doesn't go within two seconds.
// No child is left behind in any case.
//
// Any thread; several may run at once.
#include "base/LProcessInterface.h"

#include <string>
#include <vector>

// Runs argv[0] (a path, or a name looked up on PATH) with argv[1..].
// LProcessOK when the program ran to its end, with its exit status in
// *exitCode (128 + the signal's number when a signal ended it);
// LProcessStopped when the job was stopped first; LProcessFailed when it
// couldn't be started (reported through SetError).
LProcessResult ProcessRunCommandLineProcessWithExitCode(LProcessInterface& process,
                                                        const std::vector<std::string>& argv, int* exitCode);
