#pragma once
// The parts of a path as the rest of the program needs them. Pure string
// work on '/'-separated paths; nothing touches the file system. Any thread.
#include <string>
#include <string_view>

// The folder part: "/a/b" of "/a/b/c.wav", "/" of "/c.wav", "." of "c.wav".
std::string LPathFolder(std::string_view path);
// The last component: "c.wav" of "/a/b/c.wav".
std::string LPathFileName(std::string_view path);
// The extension of the last component with its point, lower case: ".wav"
// of "/a.b/C.WAV"; empty when the name has none.
std::string LPathExtension(std::string_view path);
// Lower case, ASCII letters only.
std::string LPathLower(std::string_view text);
