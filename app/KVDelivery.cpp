#include "app/KVDelivery.h"

void DeliveryRunInstaller() {}
void DeliveryInstallShippedComponents() {}
void DeliveryPrepareSharedComponentsFolder() {}
void DeliveryOpenBugReportPage(const char*) {}
void PlatformRequestMicrophonePermission() {}
