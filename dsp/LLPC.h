#pragma once
// Linear prediction: coefficients by the autocorrelation method over a
// Tukey-windowed block (Levinson-Durbin in double), and forward prediction
// with them. Used to rebuild damaged spans of audio from what precedes them.
//
// Coefficients a[0..p] have a[0] = 1 and predict x[n] = -sum(a[k]*x[n-k]).
#include <array>
#include <vector>

template <class T>
class LLPC {
public:
    // Multiplies samples[0..count) by a Tukey window with a taper of half the
    // length: T = count - trunc(count/2), the first T/2 values rise as
    // (cos(i*2*pi/T + pi) + 1)/2, the last T/2 mirror them, 1.0 between.
    void Tukey(T* samples, long count);

    // Fills a (order + 1 values) from the windowed block. Returns false and
    // leaves the zero filter (a[0] = 1, the rest 0) when the block is silent.
    bool ComputeCoefficients(const T* samples, long count, int order, std::vector<double>& a);

    // x[n] = -sum_{k=1..p} a[k]*x[n-k] for n in [from, to); samples before 0
    // count as silence.
    static void Predict(T* x, long from, long to, const std::vector<double>& a);

    // Levinson-Durbin on autocorrelation r[0..p]; a gets p + 1 values.
    static bool LevinsonDurbin(const std::vector<double>& r, std::vector<double>& a);

private:
    const std::vector<T>& Window(long count);

    // Windows of 32, 64, ... 32768 points are kept once built; any other length
    // shares one slot that is rebuilt when the length changes.
    static constexpr int kCachedMinLog = 5;
    static constexpr int kCachedMaxLog = 15;
    std::array<std::vector<T>, kCachedMaxLog - kCachedMinLog + 1> cached_;
    std::vector<T> other_;
    std::vector<T> scratch_;
};

extern template class LLPC<float>;
extern template class LLPC<double>;
