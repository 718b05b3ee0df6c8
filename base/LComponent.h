#pragma once
// Components: the run-time parts that are not part of the program proper,
// named as the format table names them ("oggdec3x64", "mp3el5x64", ...).
// Here each is either a program found on PATH, a library linked into the
// program, or missing; nothing is downloaded. Any thread.
#include "base/LProcessInterface.h"

#include <string>

// The path of a named component: a program's path, or empty for a library
// linked into the program. False when it can't be had (unknown names too).
bool LComponentGetPathDownload(LProcessInterface& process, const char* name, std::string* path);

// The executable regular file `program` names, looked up on PATH as a shell
// would (a name with a slash is taken as it is). False when there is none.
bool LFindProgramOnPath(const std::string& program, std::string* path);
