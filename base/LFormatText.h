#pragma once
// printf-style formatting into a string of whatever length the result has:
// the user messages with their quoted paths. Any thread.
#include <string>

std::string LFormatText(const char* format, ...) __attribute__((format(printf, 1, 2)));
