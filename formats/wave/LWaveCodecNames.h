#pragma once
// Display names of Wave format tags, for messages about codecs we can't decode.
#include "formats/wave/LWaveFileFormat.h"

#include <string>

class LInputStream;

// The registered name of a tag, or nullptr.
const char* LWaveCodecName(unsigned short tag);

// Reads the `fmt ` block of `path` into `format` and returns the display name
// of its tag: "Microsoft Unknown Wave Format" unless tag, channels and rate
// are all non-zero and the tag is known.
std::string LGetWaveFileCodecName(LWaveFileFormat& format, const std::string& path);
// The same for a Wave image read from `in`.
std::string LGetWaveFileCodecName(LWaveFileFormat& format, LInputStream& in);
