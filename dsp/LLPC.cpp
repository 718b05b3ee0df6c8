#include "dsp/LLPC.h"

#include <algorithm>
#include <cmath>

namespace {

template <class T>
void BuildTukey(std::vector<T>& w, long count) {
    w.assign(count, T(1));
    const long taper = count - static_cast<long>(count * 0.5);
    const long edge = taper / 2;
    for (long i = 0; i < edge; ++i) {
        const T v = static_cast<T>((std::cos(i * 2.0 * M_PI / taper + M_PI) + 1.0) / 2.0);
        w[i] = v;
        w[count - 1 - i] = v;
    }
}

}  // namespace

template <class T>
const std::vector<T>& LLPC<T>::Window(long count) {
    for (int lg = kCachedMinLog; lg <= kCachedMaxLog; ++lg) {
        if (count == (1L << lg)) {
            std::vector<T>& w = cached_[lg - kCachedMinLog];
            if (w.empty()) BuildTukey(w, count);
            return w;
        }
    }
    if (static_cast<long>(other_.size()) != count) BuildTukey(other_, count);
    return other_;
}

template <class T>
void LLPC<T>::Tukey(T* samples, long count) {
    if (count <= 0) return;
    const std::vector<T>& w = Window(count);
    for (long i = 0; i < count; ++i) samples[i] *= w[i];
}

template <class T>
bool LLPC<T>::LevinsonDurbin(const std::vector<double>& r, std::vector<double>& a) {
    const int p = static_cast<int>(r.size()) - 1;
    a.assign(p + 1, 0.0);
    a[0] = 1.0;
    if (p < 0 || r[0] <= 0.0) return false;
    double error = r[0];
    std::vector<double> prev(p + 1);
    for (int i = 1; i <= p; ++i) {
        double acc = r[i];
        for (int j = 1; j < i; ++j) acc += a[j] * r[i - j];
        const double k = -acc / error;
        prev = a;
        for (int j = 1; j < i; ++j) a[j] = prev[j] + k * prev[i - j];
        a[i] = k;
        error *= (1.0 - k * k);
        // A perfectly predictable block leaves no error to divide by: the
        // coefficients so far already describe it.
        if (error <= 0.0) break;
    }
    return true;
}

template <class T>
bool LLPC<T>::ComputeCoefficients(const T* samples, long count, int order, std::vector<double>& a) {
    const int p = std::max(order, 0);
    if (count <= 0) {
        a.assign(p + 1, 0.0);
        a[0] = 1.0;
        return false;
    }
    scratch_.assign(samples, samples + count);
    Tukey(scratch_.data(), count);
    std::vector<double> r(p + 1, 0.0);
    for (int lag = 0; lag <= p && lag < count; ++lag) {
        double sum = 0;
        for (long n = lag; n < count; ++n) sum += double(scratch_[n]) * double(scratch_[n - lag]);
        r[lag] = sum;
    }
    return LevinsonDurbin(r, a);
}

template <class T>
void LLPC<T>::Predict(T* x, long from, long to, const std::vector<double>& a) {
    const long p = static_cast<long>(a.size()) - 1;
    for (long n = std::max(from, 0L); n < to; ++n) {
        double sum = 0;
        const long kMax = std::min(p, n);
        for (long k = 1; k <= kMax; ++k) sum += a[k] * double(x[n - k]);
        x[n] = static_cast<T>(-sum);
    }
}

template class LLPC<float>;
template class LLPC<double>;
