#include "base/LPathName.h"

#include <algorithm>
#include <cctype>

std::string LPathFolder(std::string_view path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return ".";
    return std::string(slash == 0 ? "/" : path.substr(0, slash));
}

std::string LPathFileName(std::string_view path) {
    const size_t slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::string LPathExtension(std::string_view path) {
    const size_t slash = path.rfind('/');
    const size_t dot = path.rfind('.');
    if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash)) return {};
    return LPathLower(path.substr(dot));
}

std::string LPathLower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return out;
}
