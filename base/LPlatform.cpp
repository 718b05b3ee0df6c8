#include "base/LPlatform.h"

#include <atomic>
#include <cstdio>

namespace {
std::atomic<LPlatform*> gCurrentPlatform{nullptr};
}

LPlatform* LPlatform::Current() { return gCurrentPlatform.load(); }

bool LPlatform::EditOptions(LOptionsForm&) { return true; }

int LPlatform::AlertWithCheckBox(const LAlertRequest& request, bool* checked) {
    *checked = false;
    return Alert(request);
}

std::vector<std::string> LPlatform::BrowseOpenFiles(const std::string&, const std::string&,
                                                    const std::vector<LFileFilter>&) {
    return {};
}

std::string LPlatform::BrowseSaveFile(const std::string&, const std::string&, const std::string&,
                                      const std::vector<LFileFilter>&, int*) {
    return {};
}

void LPlatform::SetCurrent(LPlatform* platform) { gCurrentPlatform = platform; }

namespace {

LAlertRequest Normalised(const LAlertRequest& request) {
    LAlertRequest shown = request;
    if (shown.buttons.empty())
        shown.buttons.push_back("OK");
    const int count = static_cast<int>(shown.buttons.size());
    if (shown.defaultButton < 0 || shown.defaultButton >= count)
        shown.defaultButton = 0;
    if (shown.unattendedButton >= count)
        shown.unattendedButton = -1;
    return shown;
}

int Unattended(const LAlertRequest& shown) {
    std::fprintf(stderr, "%s: %s\n", shown.title.c_str(), shown.text.c_str());
    return shown.unattendedButton >= 0 ? shown.unattendedButton : shown.defaultButton;
}

}  // namespace

int LAlert(const LAlertRequest& request) {
    const LAlertRequest shown = Normalised(request);
    if (LPlatform* platform = LPlatform::Current())
        return platform->Alert(shown);
    return Unattended(shown);
}

int LAlertWithCheckBox(const LAlertRequest& request, bool* checked) {
    const LAlertRequest shown = Normalised(request);
    *checked = false;
    if (LPlatform* platform = LPlatform::Current())
        return platform->AlertWithCheckBox(shown, checked);
    return Unattended(shown);
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
