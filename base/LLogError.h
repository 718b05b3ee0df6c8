#pragma once
// The error log: LOGERRORF appends one line to a daily file in the log folder
// (LFile::GetUserDataFolderAppSubFolder("Logs")), named
// "YYYY-MM-DD Kelvane Audio-Editor-Protokoll.txt" after the local day, each
// line "HH:MM:SS text\r\n" with the text cut to 511 characters. The file is
// opened for each line (mode 0666) and locked for at most 500 ms so that
// several instances can share it; a lock that can't be had doesn't stop the
// write. There are no log levels. Callable from any thread.
//
// A log window may attach: it then also gets each line in a 4096-byte text
// buffer (oldest 2048 bytes dropped when fewer than 260 remain) and a wake-up
// on the main thread.
#include <ctime>
#include <functional>
#include <string>

void LOGERRORF(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The pieces, for the log window and tests.
std::string LLogFileName(const std::tm& local);
std::string LLogFormatLine(const std::tm& local, const char* text);
constexpr size_t kLogWindowBufferBytes = 4096;
void LLogAppendToWindowBuffer(std::string& buffer, const std::string& line);

// Attaches a log window: `wake` is posted to the main thread after each line.
void LLogAttachWindow(std::function<void()> wake);
void LLogDetachWindow();
// The attached window's text.
std::string LLogWindowText();
// Drops the cached file name so the next line looks up the log folder again
// (after the user data folder moved, and in tests).
void LLogForgetCachedNames();
