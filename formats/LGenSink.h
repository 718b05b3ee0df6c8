#pragma once
// LGenSink: the save formats by extension. One table says, for each of the
// 25 save extensions, which settings section holds its options and their
// defaults, when the stored options are usable as they stand, how many
// channels the format takes, whether it is lossy and which run-time part it
// needs; LGenSinkOpenSink makes the sink.
//
// Formats whose writer this build lacks open as an LSoundSinkError, so the
// save flow reports them like an unknown extension. All functions may run on
// any thread except LGenSinkCheckSettings, which may show a window and runs
// on the main thread.
#include "stream/LSoundSink.h"

#include <string>
#include <string_view>
#include <vector>

class LFileTagDataAudio;

// One settings key of a format: its name, its default (the document's rate
// or channels where kDocumentRate / kDocumentChannels stand) and the values
// that count as usable.
struct LGenSinkKey {
    enum class Check { Any, Range, ChannelSet, OneOf };
    const char* name;
    const char* defaultValue;
    Check check = Check::Any;
    int low = 0;   // Range: low..high; OneOf: up to four values in low, high, third, fourth
    int high = 0;
    int third = 0;
    int fourth = 0;
};

struct LGenSinkFormat {
    static constexpr const char* kDocumentRate = "@rate";
    static constexpr const char* kDocumentChannels = "@channels";

    const char* extension;      // with its point, lower case
    const char* section;        // settings section; empty for none
    const char* optionsWindow;  // class of the options window; empty for none
    const char* component;      // run-time part the writer needs; nullptr for none
    int channelMax;             // most channels the format stores; 0: no limit
    std::vector<LGenSinkKey> keys;
    // More keys of another section that the options also cover (AAC for
    // the MPEG-4 formats, MP3 for the podcast feed).
    const char* extraSection = nullptr;
    bool playlist = false;  // written by the playlist code, not by a sink
};

// The 25 save extensions in their table order.
const std::vector<LGenSinkFormat>& LGenSinkFormats();
// The row of an extension (with or without its point, any case); nullptr
// when it isn't a save format.
const LGenSinkFormat* LGenSinkFindFormat(std::string_view extension);

// Whether saving as `extension` loses information with the stored settings
// (".m4a" and its kin by the codec chosen in their section).
bool LGenSinkIsLossy(std::string_view extension);

// Names the run-time part a save format needs; false when it needs none.
bool LGenSinkGetComponentName(std::string* name, std::string_view extension);

// The value of a key as stored, or its default; the document's rate and
// channels stand in for their markers.
std::string LGenSinkSettingValue(const LGenSinkFormat& format, const LGenSinkKey& key, int rate, int channels);
// Whether a value is usable for the key.
bool LGenSinkValueIsUsable(const LGenSinkKey& key, const std::string& value);

// Decides whether the stored settings of the format are usable as they
// stand; when they aren't, or `forceDialog`, shows the format's options
// window (values that are out of range show as their defaults) and stores
// the answers. False when the user cancels, or the extension isn't a save
// format. `path` is an existing file of the format, or empty. Main thread.
bool LGenSinkCheckSettings(std::string_view extension, const std::string& path, int rate, int channels,
                           bool forceDialog);

struct LGenSinkRequest {
    std::string path;    // the file the sink writes
    std::string target;  // the file the user chose; an existing one may give the format (Wave)
    int sampleRate = 44100;
    int channels = 1;
    const LFileTagDataAudio* tags = nullptr;
};

// Whether this build has a writer for the extension (".wav" now; each
// format's writer adds itself with its format).
bool LGenSinkIsAvailable(std::string_view extension);

// Opens the sink for the extension of `request.target` (the written path may
// be a temporary name). An LSoundSinkError when the extension is unknown,
// a playlist, or its writer is missing from this build.
LSoundSink LGenSinkOpenSink(const LGenSinkRequest& request);
