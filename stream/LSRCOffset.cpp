#include "stream/LSRCOffset.h"

#include "stream/LFrameArithmetic.h"

long long LSRCOffset::GetPositionSample() const { return FrameAdd(inner_->GetPositionSample(), offset_); }
long long LSRCOffset::GetEndSample() const { return FrameAdd(inner_->GetEndSample(), offset_); }
void LSRCOffset::Seek(long long frame) { inner_->Seek(FrameSub(frame, offset_)); }
