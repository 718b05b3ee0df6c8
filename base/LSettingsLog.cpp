#include "base/LSettingsLog.h"

#include "base/LLogError.h"

void LSettingsLogDamage(const char* path, int badLines) {
    LOGERRORF("Einstellungsdatei beschädigt: %s (%d unlesbare Zeilen)", path, badLines);
}
