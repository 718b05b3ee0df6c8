#pragma once
// The few platform services the application's entry needs, in one place:
// the main loop and its queue of closures, modal depth, alerts and settings.
// Everything else in app/ reaches the platform only through these calls.
#include <functional>
#include <initializer_list>
#include <string>

namespace KVPlatformBridge {

// Runs the main loop on the calling (main) thread until EndMainLoop.
void RunMainLoop();
// Ends the main loop after the closure that runs now; any thread.
void EndMainLoop();
bool IsMainLoopRunning();
// Runs `closure` on the main thread, in posting order, after the current
// event; from any thread.
void PostToMainThread(std::function<void()> closure);
// Runs what is queued now, without waiting (the "dispatch waiting events" step).
void DispatchWaitingEvents();
// Nested modal loops running on the main thread.
int ModalDepth();
// Asks the main loop to end from a signal handler (async-signal-safe).
void RequestEndFromSignalHandler();

// Shows an alert and returns the index of the chosen button.
int Alert(const char* title, const char* text, std::initializer_list<const char*> buttons);

std::string GetSetting(const char* section, const char* key, const char* defaultValue);
void SetSetting(const char* section, const char* key, const char* value);

}  // namespace KVPlatformBridge
