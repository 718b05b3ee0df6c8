#pragma once
// Window functions for spectral analysis: `size` doubles, computed once.
#include <vector>

class LFFTWindow {
public:
    virtual ~LFFTWindow() = default;

    long Size() const { return static_cast<long>(values_.size()); }
    const double* Data() const { return values_.data(); }
    double operator[](long i) const { return values_[i]; }

protected:
    explicit LFFTWindow(long size) : values_(size > 0 ? size : 0) {}
    std::vector<double> values_;
};

// 0.54 - 0.46*cos(2*pi*i/(n-1)); a window of one point is 1.
class LHammingWindow : public LFFTWindow {
public:
    explicit LHammingWindow(long n);
};

// 0.5*(1 - cos(2*pi*i/(n-1))); a window of one point is 1.
class LHanningWindow : public LFFTWindow {
public:
    explicit LHanningWindow(long n);
};
