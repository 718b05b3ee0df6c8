#pragma once
// Hooks for the delivery services (installer, shipped and downloaded
// components, bug reports) and for platform permission prompts. This build
// ships none of them: each hook marks the place in the start-up and crash
// paths where such a service runs, and does nothing.

// Runs the installer before the controller is built; may end the process.
void DeliveryRunInstaller();
// Installs components shipped with the application that aren't installed yet.
void DeliveryInstallShippedComponents();
// Makes sure the shared components folder exists and is open to all users.
void DeliveryPrepareSharedComponentsFolder();
// Opens the bug report page with a code that says where a crash happened.
void DeliveryOpenBugReportPage(const char* code);
// Asks for permission to use the microphone; Linux has no such permission step.
void PlatformRequestMicrophonePermission();
