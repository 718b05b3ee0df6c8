#pragma once
#include "stream/LSoundSource.h"

// Describes a change of sample rate; OpenSource() wraps a source in one or
// two LSRCConvertRate stages.
class LSPConvertRate {
public:
    // `approximate` asks for the nearest ratio with at most 255 phases even
    // where an exact one exists.
    explicit LSPConvertRate(int rate, bool approximate = false) : rate_(rate), approximate_(approximate) {}

    int GetRate() const { return rate_; }
    bool IsApproximate() const { return approximate_; }

    // A source in error, or one that already has the rate, is returned as it
    // is. A target below a quarter of the source's rate is reached in two
    // stages, through twice the target, so each filter's ratio stays moderate.
    LSoundSource OpenSource(const LSoundSource& source) const;

private:
    int rate_;
    bool approximate_;
};
