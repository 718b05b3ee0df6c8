#pragma once
// User-visible time: a signed 64-bit count of milliseconds. Streams count in
// frames; the conversions between the two are split into whole seconds and the
// rest so that they cannot overflow for any position a stream can reach.
#include <string>

class LSoundTime {
public:
    constexpr LSoundTime() = default;
    constexpr explicit LSoundTime(long long milliseconds) : ms_(milliseconds) {}

    constexpr long long GetMilliseconds() const { return ms_; }
    constexpr void SetMilliseconds(long long milliseconds) { ms_ = milliseconds; }

    // frames = (ms / 1000) * rate + ((ms % 1000) * rate) / 1000, truncating
    // toward zero; a rate below 1 gives 0.
    static constexpr long long MillisecondsToFrames(long long ms, int rate) {
        if (rate < 1) return 0;
        return (ms / 1000) * rate + ((ms % 1000) * rate) / 1000;
    }
    // ms = (frames / rate) * 1000 + ((frames % rate) * 1000) / rate; a rate
    // below 1 gives 0 ms.
    static constexpr long long FramesToMilliseconds(long long frames, int rate) {
        if (rate < 1) return 0;
        return (frames / rate) * 1000 + ((frames % rate) * 1000) / rate;
    }

    static constexpr LSoundTime FromFrames(long long frames, int rate) {
        return LSoundTime(FramesToMilliseconds(frames, rate));
    }
    constexpr long long ToFrames(int rate) const { return MillisecondsToFrames(ms_, rate); }

    // Text forms; all print "-" first for negative values.
    std::string _GetText() const;          // h:mm:ss.fff, hours unbounded
    std::string _GetText2() const;         // h:mm:ss.ff, rounded to hundredths
    std::string _GetTextHMMSSF() const;    // h:mm:ss.f, rounded to tenths
    std::string _GetTextHMMSSFF() const;   // h:mm:ss.ff, rounded to hundredths
    std::string _GetTextHMMSSFFF() const;  // h:mm:ss.fff

    // Reads h:mm:ss.fff leniently in one pass: every ":" multiplies what
    // stands by 60 (a third one starts the fraction like "."), fraction places
    // past the third are ignored, a "-" anywhere negates, other characters
    // are skipped. Values too large for the type saturate.
    void SetText(const char* text);

    // A non-empty string of digits with at most one ".", at most three ":"
    // and no ":" after the ".". A "-" is not accepted here.
    static bool IsValid(const char* text);

    friend constexpr bool operator==(LSoundTime a, LSoundTime b) { return a.ms_ == b.ms_; }
    friend constexpr auto operator<=>(LSoundTime a, LSoundTime b) { return a.ms_ <=> b.ms_; }

private:
    long long ms_ = 0;
};
