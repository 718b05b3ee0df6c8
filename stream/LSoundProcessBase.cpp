#include "stream/LSoundProcessBase.h"

LSoundProcessBase::LSoundProcessBase(const LSoundSource& inner)
    : LSoundSourceBase(inner->GetSampleRate(), inner->GetChannels(), inner->GetPeak()), inner_(inner) {
    if (!inner_->IsOk()) SetError(kSourceInnerError);
}
