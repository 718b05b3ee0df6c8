#include "base/LAssert.h"

#include <cstdio>
#include <cstdlib>

void LAssertFailed(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: contract failed: %s\n", file, line, condition);
    std::fflush(stderr);
    std::abort();
}
