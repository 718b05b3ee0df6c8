#include "base/LSettingsLog.h"

#include <cstdio>

void LSettingsLogDamage(const char* path, int badLines) {
    std::fprintf(stderr, "Einstellungsdatei beschädigt: %s (%d unlesbare Zeilen)\n", path, badLines);
}
