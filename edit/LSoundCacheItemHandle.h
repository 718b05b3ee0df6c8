#pragma once
// LSoundCacheItemHandle: names one cache item, and carries the MP3 attributes
// of the file it was decoded from, read lazily by the lossless MP3 mode.
//
// A handle does no reference counting of its own: whoever owns it (a cut-list
// segment) raises and lowers the item's count.
#include <cstdint>

// Item numbers: 0..65533 name items; these two are special.
inline constexpr uint16_t kSoundCacheItemLast = 65533;
inline constexpr uint16_t kSoundCacheItemNone = 65534;     // no item could be made, or a bad number
inline constexpr uint16_t kSoundCacheItemSilence = 65535;  // no file; reads as zeros

struct LSoundCacheItemHandle {
    int64_t samplesPerMP3Frame = 0;  // 0 = the attributes below are not read yet; else 1152 or 576
    int64_t encoderDelay = 0;        // frames
    int64_t endPadding = 0;          // frames
    int64_t audioLength = 0;         // frames
    uint16_t number = kSoundCacheItemSilence;

    LSoundCacheItemHandle() = default;
    explicit LSoundCacheItemHandle(uint16_t item) : number(item) {}

    bool IsSilence() const { return number == kSoundCacheItemSilence; }
    bool IsItem() const { return number <= kSoundCacheItemLast; }
};
