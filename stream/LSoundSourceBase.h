#pragma once
// The pull side of every audio stream: frames of interleaved 32-bit floats,
// 1.0 being digital full scale, counted and positioned in signed 64-bit frames.
//
// The contract every source keeps:
//  - Read() always fills the whole request and advances the position by it;
//    frames before 0 and past the end read as zeros. There is no short read:
//    callers ask GetEndSample() - GetPositionSample() what is left.
//  - Seek() accepts any signed value, negative and past the end included.
//  - Errors are state (GetError()), never exceptions or return values.
//  - A source is not thread-safe: one reading thread per chain at a time.

template <class Base, class ErrorStream> class LStreamHandle;

// Codes of LSoundSourceBase::GetError().
enum LSourceError : unsigned char {
    kSourceOk = 0,
    kSourceClosed = 1,            // closed, could not be opened, or an empty cut list
    kSourceInnerError = 2,        // the wrapped source is in error
    kSourceBadFormat = 3,         // invalid rate or channel count, or damaged data
    kSourceNoFile = 4,            // file handle missing / cannot be opened
    kSourceNoCodec = 5,           // codec not available
    kSourceEnciphered = 6,        // enciphered dictation file
    kSourceUnsupported = 7,       // content not handled by this reader
    kSourceLoopStartPastEnd = 8,  // a loop start at or past the end
    kSourceEmptyLoop = 10,        // a loop of length 0
    kSourceCacheNoCompanion = 19, // cache file without its companion
};

// Codes of LSoundSourceBase::ControlMessage().
enum LControlCode : int {
    ControlAddLatency = 1,
    ControlGetLookahead = 4,
    ControlWrapPosition = 5,
    ControlMapOffset = 6,
};

// Peak values a source announces: the largest magnitude it can deliver.
inline constexpr float kPeakIntegerPcm = 0.9999695f;  // 32767/32768
inline constexpr float kPeakCompanded = 1.0f;         // A-law and mu-law
inline constexpr float kPeakUnbounded = 16.0f;        // float PCM and anything without a known bound

class LSoundSourceBase {
public:
    // A rate below 1 becomes 44100 and 0 channels become 1, both with error 3,
    // so a source is always safe to ask for its format.
    LSoundSourceBase(int sampleRate, int channels, float peak = kPeakUnbounded);
    LSoundSourceBase(const LSoundSourceBase&) = delete;
    LSoundSourceBase& operator=(const LSoundSourceBase&) = delete;
    virtual ~LSoundSourceBase() = default;

    virtual void Read(float* buffer, long long frames) = 0;
    virtual long long GetPositionSample() const = 0;
    virtual long long GetEndSample() const = 0;
    virtual void Seek(long long /*frame*/) {}
    virtual bool ControlMessage(int /*code*/, long* /*value*/) { return false; }
    virtual long long AdjustRelativeOffset(long long offset, long long /*position*/) { return offset; }
    virtual bool IsStreaming() const { return false; }
    // Blocks about that long, or until more data is there for a streaming source.
    virtual void WaitForStreamingData(int milliseconds);

    int GetSampleRate() const { return sampleRate_; }
    int GetChannels() const { return channels_; }
    float GetPeak() const { return peak_; }
    unsigned char GetError() const { return error_; }
    bool IsOk() const { return error_ == kSourceOk; }

    void SetError(unsigned char error) { error_ = error; }
    void SetPeak(float peak) { peak_ = peak; }

protected:
    // For sources whose format is only known after opening (file readers).
    void SetFormat(int sampleRate, int channels);

private:
    template <class Base, class ErrorStream> friend class LStreamHandle;

    int sampleRate_;
    unsigned char channels_;
    float peak_;
    unsigned char error_ = kSourceOk;
    unsigned short refCount_ = 0;
};
