#pragma once

// The largest absolute value among count floats taken every stride floats.
// With stride 1 the loop is branch-free and vectorises.
float GetBufferPeak(const float* buffer, long long count, int stride = 1);
