#pragma once
// LCutListAudio: the edit model of one sound. An ordered list of segments,
// each a range of a cache item with a gain, read one after the other; the
// sound's length is the sum of the segments' lengths and is not stored.
//
// Cutting, inserting, copying and trimming only change the list: no audio is
// read or written, and each operation is linear in the number of segments.
// Audio that an effect or the recorder produces goes through OpenSink into a
// new item, which then replaces the list (or, by way of a temporary list and
// EfDelete/EfInsert, a part of it).
//
// A cut list is a value: copies are cheap (one IncRef per segment) and own
// their references, which is what keeps the audio of undo records and the
// clipboard alive. The copy constructor clears the flag byte; assignment
// copies it. Both attach the copy to the original's lossless-mode root.
//
// A list belongs to the user-interface thread (or the job that has it under
// its modal window); other threads read through OpenSource(), which works on a
// private copy.
#include "edit/LCutListSegment.h"
#include "edit/LMP3LosslessContext.h"
#include "sdf/LSDFUnknownChunk.h"
#include "stream/LSoundSink.h"
#include "stream/LSoundSource.h"

#include <cstdint>
#include <string>
#include <vector>

class LInputStream;

class LCutListAudio : public LMP3LosslessContextClient {
public:
    static constexpr int kDefaultSampleRate = 44100;
    static constexpr size_t kMaxName = 259;  // names live in 260-byte buffers

    // 44100 Hz, one channel, no segment.
    LCutListAudio() = default;
    explicit LCutListAudio(LMP3LosslessContextRoot* root) : LMP3LosslessContextClient(root) {}
    // Copies rate, channels, segments, name and unknown chunks; the flag byte
    // of the copy starts cleared.
    LCutListAudio(const LCutListAudio& other);
    // Copies everything, the flag byte included.
    LCutListAudio& operator=(const LCutListAudio& other);
    // Moves hand everything over, the flag byte included (a list that only
    // changes its place, e.g. inside a growing container, stays as it was).
    LCutListAudio(LCutListAudio&& other) noexcept;
    LCutListAudio& operator=(LCutListAudio&& other) noexcept;
    ~LCutListAudio() override = default;

    void EvMP3LosslessModeChanged(bool enabled) override;

    // Format and header fields.
    int GetSampleRate() const { return sampleRate_; }
    void SetSampleRate(int rate) { sampleRate_ = rate; }
    int GetChannels() const { return channels_; }
    void SetChannels(int channels) { channels_ = static_cast<uint8_t>(channels); }
    uint8_t GetFlags() const { return flags_; }
    void SetFlags(uint8_t flags) { flags_ = flags; }
    const std::string& GetName() const { return name_; }
    // Cut to kMaxName bytes.
    void SetName(const std::string& name);
    LSDFUnknownChunkList& UnknownChunks() { return unknownChunks_; }
    const LSDFUnknownChunkList& UnknownChunks() const { return unknownChunks_; }

    // Segments in timeline order.
    const std::vector<LCutListSegment>& Segments() const { return segments_; }
    // For changing segments in place (a gain change sets segment gains only).
    std::vector<LCutListSegment>& Segments() { return segments_; }
    size_t GetSegmentCount() const { return segments_.size(); }
    bool IsEmpty() const { return segments_.empty(); }
    void AppendSegment(const LCutListSegment& segment) { segments_.push_back(segment); }
    void AppendSegment(LCutListSegment&& segment) { segments_.push_back(std::move(segment)); }
    // Drops every segment (and with them their references).
    void ClearSegments() { segments_.clear(); }
    // Sum of the segments' lengths.
    long long GetLength() const;

    // Edits. Positions are frames on the joined timeline; they are clamped as
    // each operation says, and nothing is reported.
    //
    // Removes [start, end). A negative start counts as 0; nothing happens when
    // start > end, end < 0 or the range is empty. The part past the end is ignored.
    void EfDelete(long long start, long long end);
    // Inserts a copy of other's segments at position. Past the end a silent
    // segment fills the gap first. With a negative position the copies go to
    // the front, followed by -position frames of silence before the old audio.
    void EfInsert(long long position, const LCutListAudio& other);
    // Inserts count frames of silence. A negative position drops the frames
    // that would lie before 0 (nothing at all when -position > count). Past the
    // end the silence grows to reach the position.
    void EfInsertSilence(long long position, long long count);
    // Makes dest a copy of this list (format, flags, name, chunks) holding
    // exactly [start, end): parts outside the sound become silence. Nothing
    // happens when end < start. dest may be this list.
    void EfCopy(long long start, long long end, LCutListAudio& dest) const;
    // Keeps only [start, end).
    void EfTrim(long long start, long long end);
    // Repeats [start, end) count more times: a copy of the range is inserted
    // at start count times.
    void EfRepeatLoop(long long start, long long end, int count);
    // The list becomes one copy of segment, with the given format.
    void SetSingleCutListSegment(const LCutListSegment& segment, int sampleRate, int channels);

    // A source over a private copy of the list: later edits don't disturb it.
    // On an empty list its error is 1 and it reads silence.
    LSoundSource OpenSource() const;
    // A sink that writes a new cache item; when it is closed (and at each
    // CommitUpTo) this list becomes that item as a single segment. The list
    // must outlive the sink. `name` isn't stored. Status bit 0 when the item's
    // files can't be made, or channels is 0 (taken as 1).
    LSoundSink OpenSink(int sampleRate, int channels, const char* name = nullptr);

    // Reads the simple binary form (little-endian): rate (32), channels (8),
    // flags (8), count (32); per segment item (16), length (64), gain (float),
    // start (64). Segments are appended to the list, each taking a reference.
    // A count below 1 is a successful empty read. False at the first short
    // read; the segments read until then stay.
    bool Restore(LInputStream& file, bool unused = false);

    // The item position at `position` moved to a multiple of the item's
    // samples per MP3 frame, mapped back to the timeline: rounded down or up,
    // or to the nearer one when both flags are set. A position on a boundary
    // rounded up moves a whole frame. Positions outside the sound are
    // returned unchanged.
    long long GetNearestMP3FrameBoundary(long long position, bool roundDown, bool nearest) const;

private:
    struct CopyHeaderOnly {};
    // Everything but the segments, the flag byte included.
    LCutListAudio(const LCutListAudio& other, CopyHeaderOnly);

    // Makes a segment begin at position (splitting the one that holds it) and
    // returns its index; the segment count when position is at or past the end.
    // position must be >= 0.
    size_t SplitAt(long long position);
    // Index of the segment holding position and the timeline frame it begins
    // at; the segment count if none does.
    size_t FindSegment(long long position, long long* begin) const;

    LSDFUnknownChunkList unknownChunks_;
    int sampleRate_ = kDefaultSampleRate;
    uint8_t channels_ = 1;
    uint8_t flags_ = 0;
    std::vector<LCutListSegment> segments_;
    std::string name_;
};
