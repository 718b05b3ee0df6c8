#pragma once
// Reports a settings file that could not be read whole. Its readable keys
// stay in use, the rest read as their defaults, and the next write replaces
// the file with a clean one.
void LSettingsLogDamage(const char* path, int badLines);
