#pragma once
// LWavTagWriter: rewrites the tag chunks of a finished Wave file in place.
//
// The audio never moves: old tag chunks become `JUNK`, neighbouring `JUNK`
// chunks merge, the new chunks go into `JUNK` space where they fit, and what
// doesn't fit is appended. A rewrite that fails part-way may lose tags but
// never touches the `fmt ` and `data` chunks.
#include "formats/tags/LFileTagDataAudio.h"
#include "formats/wave/LWaveLimits.h"

#include <cstdint>
#include <string>
#include <vector>

class LFile;

class LWavTagWriter {
public:
    explicit LWavTagWriter(const LWaveLimits& limits = LWaveLimits::Default()) : limits_(limits) {}

    // False when the file isn't a readable Wave file, is locked by another
    // writer for more than a second, or a write failed.
    bool Write(const std::string& path, const LFileTagDataAudio& tags);

    struct NewChunk {
        char id[5];
        std::vector<uint8_t> body;
        bool written = false;
        uint64_t EvenLength() const { return (body.size() + 1) & ~size_t{1}; }
    };
    // The chunks for `tags` in the order they are placed: id3, cart, bext,
    // LIST, CSET, DISP (id3 only when an ID3v2 coder is registered).
    static std::vector<NewChunk> PrepareChunks(const LFileTagDataAudio& tags);

private:
    struct OldChunk {
        int64_t offset;
        char id[4];
        uint32_t length;
        int64_t End() const { return offset + 8 + ((int64_t{length} + 1) & ~int64_t{1}); }
    };

    std::vector<OldChunk> Scan(LFile& file) const;
    bool Touchable(const OldChunk& c) const;
    bool JunkOldChunks(LFile& file, bool replaceId3);
    bool MergeJunk(LFile& file);
    bool PlaceInJunk(LFile& file, std::vector<NewChunk>& chunks);
    bool TruncateTrailingJunk(LFile& file);
    bool AppendRest(LFile& file, std::vector<NewChunk>& chunks);
    bool MainHeaderLengthUpdate(LFile& file);
    static bool WriteChunk(LFile& file, int64_t offset, const NewChunk& chunk);

    LWaveLimits limits_;
    // The samples (from the first `data` header on) are never written to.
    int64_t protectedStart_ = 0;
    int64_t protectedEnd_ = 0;
};
