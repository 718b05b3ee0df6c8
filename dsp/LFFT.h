#pragma once
// Fast Fourier transforms of power-of-two sizes, in float and in double.
//
// Scaling, the same for every transform here: the forward transform is
// unscaled with the kernel e^(-i*2*pi*k*n/N); the inverse is unscaled with
// e^(+i...), so Inverse(Forward(x)) == N * x. Callers apply their own factor.
//
// Data are split arrays (one of real parts, one of imaginary parts) so that the
// butterflies run four (SSE2) or eight (AVX2, chosen at run time) floats wide.
// The work is a Stockham autosort sequence of radix-8 passes (one or two
// radix-4 passes where the order is not a multiple of three) with precomputed
// twiddles: no bit-reversal permutation, and every pass reads and writes
// contiguous runs. An object keeps a scratch buffer: share one between threads
// only under a lock; make one per thread instead.
#include <memory>
#include <vector>

// Instruction sets a float transform can run on. Double transforms always
// run the portable code.
enum class LFFTPath { Portable, Sse2, Avx2 };

template <class T>
class LFFTOf {
public:
    // Sizes from 1 (order 0) to 2^26.
    explicit LFFTOf(unsigned long order);
    ~LFFTOf();
    LFFTOf(const LFFTOf&) = delete;
    LFFTOf& operator=(const LFFTOf&) = delete;

    unsigned long Order() const { return order_; }
    long Size() const { return size_; }

    // In-place forward transform of size() points, natural order in and out.
    void DoFFT(T* re, T* im);
    // The plain radix-2 name of the same transform; it gives the same result.
    void DoFFTNoOpt(T* re, T* im) { DoFFT(re, im); }
    // In-place inverse transform, unscaled.
    void DoInverseFFT(T* re, T* im) { DoFFT(im, re); }  // swap trick: IDFT(x) = swap(DFT(swap(x)))

    // The object picks the widest path the processor has. Tests force the
    // others; returns false (and changes nothing) when this build or
    // processor can't run the path.
    bool ForcePathForTesting(LFFTPath path);

private:
    template <class>
    friend class LRealFFTOf;
    struct Stage;
    // The forward transform; the input is either the split arrays re/im or,
    // when pairs is given, interleaved (re, im) pairs, which saves the real
    // transform a separate sorting pass.
    void RunStages(const T* pairs, T* re, T* im);

    unsigned long order_;
    long size_;
    LFFTPath path_;
    std::vector<Stage> stages_;
    std::vector<T> work_;
    T* workRe_ = nullptr;
    T* workIm_ = nullptr;  // both in work_
};

// Transform of N real values to the N/2 + 1 bins 0..N/2 (split re and im),
// through a complex transform of N/2 points. Same scaling as LFFTOf.
template <class T>
class LRealFFTOf {
public:
    // Orders from 1 (2 points) to 26.
    explicit LRealFFTOf(unsigned long order);

    unsigned long Order() const { return order_; }
    long Size() const { return size_; }

    // in: Size() reals. re, im: Size()/2 + 1 values each; im[0] and im[N/2] are 0.
    void Forward(const T* in, T* re, T* im);
    // re, im: Size()/2 + 1 bins (im[0], im[N/2] ignored); they are used as
    // scratch and hold garbage afterwards. out: Size() reals, N times the signal.
    void Inverse(T* re, T* im, T* out);

    bool ForcePathForTesting(LFFTPath path);

private:
    unsigned long order_;
    long size_;
    long half_;
    LFFTOf<T> complex_;
    std::vector<T> cos_, sin_;  // e^(-i*2*pi*k/N) = cos_[k] - i*sin_[k], k < N/4 + 1
};

using LFFT = LFFTOf<double>;
using LFFTFloat = LFFTOf<float>;
using LRealFFT = LRealFFTOf<double>;
using LRealFFTFloat = LRealFFTOf<float>;

extern template class LFFTOf<float>;
extern template class LFFTOf<double>;
extern template class LRealFFTOf<float>;
extern template class LRealFFTOf<double>;
