#include "base/LPlatform.h"

#include <atomic>
#include <cstdio>

namespace {
std::atomic<LPlatform*> gCurrentPlatform{nullptr};
}

LPlatform* LPlatform::Current() { return gCurrentPlatform.load(); }

bool LPlatform::EditOptions(LOptionsForm&) { return true; }

void LPlatform::SetCurrent(LPlatform* platform) { gCurrentPlatform = platform; }

int LAlert(const LAlertRequest& request) {
    LAlertRequest shown = request;
    if (shown.buttons.empty())
        shown.buttons.push_back("OK");
    if (shown.defaultButton < 0 || shown.defaultButton >= static_cast<int>(shown.buttons.size()))
        shown.defaultButton = 0;
    if (LPlatform* platform = LPlatform::Current())
        return platform->Alert(shown);
    std::fprintf(stderr, "%s: %s\n", shown.title.c_str(), shown.text.c_str());
    return shown.defaultButton;
}

int LAlert(const char* title, const char* text, std::initializer_list<const char*> buttons, int defaultButton) {
    LAlertRequest request;
    request.title = title ? title : "";
    request.text = text ? text : "";
    for (const char* button : buttons)
        request.buttons.push_back(button ? button : "");
    request.defaultButton = defaultButton;
    return LAlert(request);
}

bool LPostToMainThread(LPlatform::Closure closure) {
    LPlatform* platform = LPlatform::Current();
    if (!platform)
        return false;
    platform->Post(std::move(closure));
    return true;
}
