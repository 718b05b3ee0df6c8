#include "formats/tags/LFileTagDataAudio.h"

#include "formats/wave/LWavTagIterator.h"
#include "formats/wave/LWavTagWriter.h"

#include <strings.h>

namespace {

bool IsWave(const std::string& path) {
    const size_t dot = path.rfind('.');
    return dot != std::string::npos && path.find('/', dot) == std::string::npos &&
           ::strcasecmp(path.c_str() + dot, ".wav") == 0;
}

}  // namespace

bool LFileTagDataAudio::ReadTags(const std::string& path) {
    if (!IsWave(path)) return false;
    LWavTagIterator iterator;
    if (!iterator.Read(path)) return false;
    Clear();
    iterator.CopyTo(*this);
    return true;
}

bool LFileTagDataAudio::SaveTags(const std::string& path) const {
    if (Empty() || !IsWave(path)) return true;
    return LWavTagWriter().Write(path, *this);
}
