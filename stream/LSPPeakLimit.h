#pragma once
#include "stream/LSoundSource.h"

// The ceiling every save and every level-raising effect limits to:
// 0.999969482421875, the float with bits 0x3F7FFE00.
inline constexpr float kLimiterCeiling = 0.999969482421875f;

// Description of the peak limiter. It wraps a source only when the source can
// deliver more than the limit (its peak field), so integer PCM passes through
// untouched and a limiter is never stacked on another.
struct LSPPeakLimit {
    float limit = kLimiterCeiling;

    LSoundSource OpenSource(const LSoundSource& source) const;
};
