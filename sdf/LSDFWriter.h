#pragma once
// LSDFWriter: writes an SDF file in one forward pass.
//
// Chunk lengths are patched in when a chunk ends, so payloads are never held
// in memory and an hour of audio can be one blob written piece by piece with
// WriteData. The good flag is sticky: after the first failure every call does
// nothing and returns false, so a caller may test Close() alone.
//
// Unknown chunks of a container (kept from when the file was read) are put
// back by their ordinals: a chunk started with order n >= 0 is preceded by
// every pending unknown chunk whose ordinal is below n. With order -1 the
// unknown chunks stand at the container's start as far as their ordinals run
// 0, 1, 2... without a gap, and the rest at its end.
//
//     LOutputStreamFile out;
//     LSDFWriter w;
//     if (out.Open(path) && w.Open(out, kFileType, 1)) {
//         w.WriteInt(1, rate);
//         w.StartContainer(2);
//         w.WriteString(1, name);
//         w.EndContainer(2);
//     }
//     bool saved = w.Close() && out.Commit();
//
// The writer doesn't own its stream; the stream must outlive it.
#include "base/LOutputStream.h"
#include "sdf/LSDFFormat.h"
#include "sdf/LSDFUnknownChunk.h"

#include <cstdint>
#include <string_view>
#include <vector>

class LSDFWriter {
public:
    // Writes the header at the stream's position and opens the root container,
    // whose unknown chunks are rootUnknownChunks (the list must stay alive until
    // Close). The user version is for the reader's caller to interpret.
    bool Open(LOutputStream& stream, uint32_t fileType, uint16_t userVersion);
    bool Open(LOutputStream& stream, uint32_t fileType, uint16_t userVersion,
              const LSDFUnknownChunkList& rootUnknownChunks);
    // Ends the root and writes the end marker; the stream is left just past it.
    // Returns the good flag. A chunk left open is the caller's fault and fails.
    bool Close();

    bool IsGood() const { return good_; }
    bool IsOpen() const { return open_; }
    uint16_t UserVersion() const { return userVersion_; }
    // Open chunks including the root; 1 right after Open.
    size_t Depth() const { return openChunks_.size(); }

    // A container whose unknown chunks (if any) are put back by ordinal; the
    // list must stay alive until the container ends.
    bool StartContainer(uint16_t id, int order = -1);
    bool StartContainer(uint16_t id, const LSDFUnknownChunkList& unknownChunks, int order = -1);
    // Writes the container's remaining unknown chunks and ends it.
    bool EndContainer(uint16_t id) { return EndChunk(id); }

    // A chunk whose payload follows through WriteData (or nested chunks for a
    // container), ended by EndChunk with the same id.
    bool StartChunk(uint16_t id, LSDFChunkType type, int order = -1);
    bool StartChunk(uint16_t id, uint16_t type, int order = -1);
    bool EndChunk(uint16_t id);
    bool WriteData(const void* data, size_t size);

    // One value chunk each.
    bool WriteBool(uint16_t id, bool value, int order = -1);
    bool WriteInt(uint16_t id, int32_t value, int order = -1);
    bool WriteInt64(uint16_t id, int64_t value, int order = -1);
    bool WriteFloat(uint16_t id, float value, int order = -1);
    // The bytes up to the first NUL, and a NUL.
    bool WriteString(uint16_t id, std::string_view value, int order = -1);
    bool WriteBlob(uint16_t id, const void* data, size_t size, int order = -1);
    bool WriteBlob(uint16_t id, const std::vector<uint8_t>& data, int order = -1) {
        return WriteBlob(id, data.data(), data.size(), order);
    }
    // Seconds since 1970-01-01 00:00 UTC.
    bool WriteDate(uint16_t id, int64_t secondsSinceEpoch, int order = -1);

    // Writes a kept chunk with its id, type and payload into the current
    // container. One with no payload is dropped.
    bool WriteUnknownChunk(const LSDFUnknownChunk& chunk);

private:
    struct OpenChunk {
        uint16_t id;
        uint16_t type;
        int64_t payloadOffset;
        const LSDFUnknownChunkList* unknownChunks;  // containers only, may be null
        size_t nextUnknown;                         // cursor into unknownChunks
    };

    bool Fail();
    bool Put(const void* data, size_t size);
    bool WriteValue(uint16_t id, LSDFChunkType type, const void* payload, size_t size, int order);
    template <class More>
    bool WriteUnknownWhile(size_t index, More more);
    bool WritePendingUnknownBelow(int order);
    void WriteLeadingUnknown(size_t index);
    bool WriteRemainingUnknown(size_t index);

    LOutputStream* stream_ = nullptr;
    bool good_ = false;
    bool open_ = false;
    uint16_t userVersion_ = 0;
    std::vector<OpenChunk> openChunks_;
};
