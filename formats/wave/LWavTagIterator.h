#pragma once
// LWavTagIterator: reads the tags of a Wave file from its `LIST INFO`, `bext`,
// `cart`, `DISP` and `CSET` chunks (and, through LWavId3Hooks, `id3 `).
#include "formats/tags/LFileTagDataAudio.h"
#include "formats/wave/LWaveLimits.h"

#include <cstdint>
#include <string>
#include <vector>

class LInputStream;

// One key and raw value as found in the file, before code page conversion.
struct LRawRiffTag {
    std::string key;
    std::string value;
};

class LWavTagIterator {
public:
    explicit LWavTagIterator(const LWaveLimits& limits = LWaveLimits::Default()) : limits_(limits) {}

    // Walks every top-level `RIFF`/`WAVE` chunk (for a file of 4 GiB and more:
    // every chunk up to the end of the file). False if there was none, or
    // the stream can't tell its size.
    bool FileScanForInfo(LInputStream& in);
    // The same for the file at `path`.
    bool Read(const std::string& path);

    // Hands the tags over: a key already in `tags` stays; an `id3 ` value wins
    // over the same key found elsewhere, and the rest of the `id3 ` tags are
    // copied last, overwriting.
    void CopyTo(LFileTagDataAudio& tags) const;

    // Newest first, as found.
    const std::vector<LRawRiffTag>& RawTags() const { return raw_; }
    int CodePage() const { return codePage_; }

private:
    void WalkChunks(LInputStream& in, int64_t offset, int64_t end);
    void SubchunkRead(const uint8_t* id, const std::vector<uint8_t>& body);
    void ReadInfoList(const std::vector<uint8_t>& body);
    void ReadBext(const std::vector<uint8_t>& body);
    void ReadCart(const std::vector<uint8_t>& body);
    void RawTagAdd(const std::string& key, const std::string& value, bool replace);

    LWaveLimits limits_;
    std::vector<LRawRiffTag> raw_;
    int codePage_ = 65001;
    LFileTagDataAudio id3_;
};
