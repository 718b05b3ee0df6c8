#pragma once
#include <cstdint>
#include <vector>

// The filter of a rational sample-rate change: upsample by L, low-pass with a
// Kaiser-windowed sinc, downsample by M. The table holds one short FIR per
// phase (L phases of `taps` taps); Process() runs it over interleaved frames.
//
// Both the pull side (LSRCConvertRate) and the push side (LSinkConvertRate)
// keep their own input buffer and drive the same Process(), so the two paths
// can't drift apart.
class LConvertRateBase {
public:
    static constexpr int kDefaultTaps = 63;
    static constexpr int kMaxPhases = 255;

    // A target rate of 0 or less is read as 44100. Exact factors whose L would
    // exceed kMaxPhases fall back to the approximate search, so the table stays
    // bounded for any pair of rates.
    LConvertRateBase(int sourceRate, int targetRate, int taps = kDefaultTaps, bool approximate = false);

    // The pure factor rules, exposed for callers that only need the ratio.
    struct Factors {
        long long up;    // L
        long long down;  // M
    };
    static Factors ExactFactors(int sourceRate, int targetRate);
    static Factors ApproximateFactors(int sourceRate, int targetRate);

    long long GetUp() const { return up_; }
    long long GetDown() const { return down_; }
    int GetTaps() const { return taps_; }
    // Frames of a channel's window, taps padded up to a multiple of four so the
    // vector kernels need no tail; the padding taps are zero.
    int GetWindow() const { return window_; }
    // Frames before the output instant that a window starts: taps / 2.
    int GetHalf() const { return taps_ / 2; }
    // Coefficient t of phase p (t < GetWindow(); the padding reads 0).
    float Tap(long long phase, int t) const { return table_[phase * window_ + t]; }
    // The largest sum of |taps| over all phases: how far the output can swing
    // past the input's peak.
    double GetGainBound() const { return gainBound_; }

    // Positions: output frame j stands at input time j * M / L. These map
    // between the two timelines with 64-bit results that saturate.
    // Output frames whose instant lies before input frame `input`: trunc(input * L / M).
    long long InputToOutput(long long input) const;
    // The input frame at or before output frame `output` (floor), and the phase there.
    long long OutputToInput(long long output, long long* phase = nullptr) const;
    // A distance in output frames as input frames, truncated toward zero.
    long long OffsetToInput(long long offset) const;

    // Produces `count` output frames of `channels` interleaved channels from
    // `in`. `cursor` is the frame index in `in` where the next output's window
    // starts and `phase` its phase (0..L-1); both advance. The caller makes sure
    // that frames [cursor, cursor + window) of every output are present.
    // Lays the table out for `channels` interleaved channels; the kernels for
    // 1, 2, 4, 6 and 8 channels need it. Call once before Process().
    void PrepareChannels(int channels);

    void Process(const float* in, int channels, long long& cursor, long long& phase, float* out,
                 long long count) const;

    // The window end (exclusive, in frames) that `count` outputs starting at
    // cursor/phase reach; count must be at least 1.
    long long WindowEnd(long long cursor, long long phase, long long count) const;
    // How many outputs from cursor/phase have their whole window below `limit`.
    long long OutputsBelow(long long cursor, long long phase, long long limit) const;

private:
    void BuildTable(int sourceRate, int targetRate);

    long long up_ = 1;
    long long down_ = 1;
    long long downWhole_ = 1;  // M / L
    long long downRest_ = 0;   // M % L
    int taps_;
    int window_;
    double gainBound_ = 1.0;
    std::vector<float> table_;  // L * window_
    // The table laid out for interleaved channels (each tap repeated per
    // channel), so that the kernels multiply whole vectors.
    int expandedChannels_ = 0;
    std::vector<float> expanded_;
};
