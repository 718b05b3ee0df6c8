#pragma once
// LCutListSegment: one range of frames of a cache item, with a gain: the
// element of a cut list.
//
// A segment owns one reference on its item. Every copy takes another one
// (IncRef) and copies the unknown chunks; destroying a segment gives its
// reference back (DecRef), which deletes the item's files when it was the
// last one and the item serves no unchanged original file. Moving hands the
// reference over and leaves the source as an empty silent segment.
//
// A segment of item kSoundCacheItemSilence has no file, reads as zeros and
// keeps start 0. Segments hold no audio and nothing cached except the MP3
// attributes of the handle, so copying one is cheap: that is what the undo
// and the clipboard rest on.
#include "edit/LSoundCacheItemHandle.h"
#include "sdf/LSDFUnknownChunk.h"

#include <cstdint>
#include <memory>

class LCutListSegment {
public:
    // Silence of length 0 with gain 1.0.
    LCutListSegment() = default;
    // A new reference on `item` (IncRef).
    LCutListSegment(uint16_t item, long long start, long long length, float gain = 1.0f);
    // Takes over a reference the caller already holds (e.g. from
    // ItemCreateNewAndIncRef) instead of adding one.
    static LCutListSegment AdoptItem(uint16_t item, long long start, long long length, float gain = 1.0f);
    static LCutListSegment Silence(long long length);

    LCutListSegment(const LCutListSegment& other);
    LCutListSegment(LCutListSegment&& other) noexcept;
    LCutListSegment& operator=(const LCutListSegment& other);
    LCutListSegment& operator=(LCutListSegment&& other) noexcept;
    ~LCutListSegment();

    uint16_t Item() const { return handle.number; }
    bool IsSilence() const { return handle.IsSilence(); }
    long long End() const { return start + length; }  // one past the last item frame used

    // Whether the item keeps the MP3 file it was decoded from (".orvmp3").
    bool HasMP3Source() const;
    // The handle with its MP3 attributes read (once; they are kept in the
    // handle and copied with it).
    const LSoundCacheItemHandle& MP3Attributes() const;
    // Cuts the segment's length so that it ends where the item's real audio
    // ends (delay + audio length), when it has an MP3 source and runs past it.
    void SubtractEncoderPadding();

    // Chunks of a project file that this version didn't understand, kept for
    // writing back. An empty list when there are none.
    const LSDFUnknownChunkList& UnknownChunks() const;
    // The same for adding to; the list is made on first use.
    LSDFUnknownChunkList& MutableUnknownChunks();

    // Fields, as the persistent forms and the lossless mode see them. `handle`
    // is mutable only for the lazily read MP3 attributes; its number must not
    // be changed from outside (the reference counting depends on it).
    mutable LSoundCacheItemHandle handle;
    long long length = 0;
    float gain = 1.0f;
    long long start = 0;

private:
    struct Adopt {};
    LCutListSegment(Adopt, uint16_t item, long long start, long long length, float gain);
    // handle, length, gain and start of other.
    void SetFields(const LCutListSegment& other);

    // Few segments ever have unknown chunks, and every undo record copies
    // every segment: held apart, null when there are none, they cost a
    // pointer instead of an empty list per segment.
    std::unique_ptr<LSDFUnknownChunkList> unknownChunks_;
};

// Whether the item has its ".orvmp3" file (never for silence or no item).
bool LSoundCacheItemHasMP3Source(const LSoundCacheItemHandle& handle);
// Fills the MP3 attributes of the handle from the item's ".orvmp3": samples
// per MP3 frame (1152, or 576 for the low-rate MPEG versions), encoder delay,
// end padding and audio length. Without that file (or before an MP3 frame
// reader exists to parse it) it sets 1152 and zeros.
void LSoundCacheItemInitMP3SourceAttributes(LSoundCacheItemHandle& handle);
