#include "stream/LSPConvertRate.h"

#include "stream/LSRCConvertRate.h"

LSoundSource LSPConvertRate::OpenSource(const LSoundSource& source) const {
    if (!source->IsOk() || source->GetSampleRate() == rate_) return source;
    LSoundSource result = source;
    // 64-bit so that a rate near the int range can't overflow the test.
    if (rate_ > 0 && 4LL * rate_ < source->GetSampleRate())
        result = MakeSource<LSRCConvertRate>(result, 2 * rate_, approximate_);
    return MakeSource<LSRCConvertRate>(result, rate_, approximate_);
}
