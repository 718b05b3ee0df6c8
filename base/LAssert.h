#pragma once
// KV_ASSERT(condition): a contract check. Where a header states a
// precondition (positions in range, sizes of a power of two, a handle that is
// never null, the thread that owns an object), the check states it again in
// code. It is active when KV_CONTRACT_CHECKS is defined (Debug, sanitizer and
// fuzz builds define it) and compiles to nothing otherwise, so hot loops pay
// nothing in Release. A failed check prints the file, line and condition to
// standard error and aborts, so that fuzzers and sanitizer runs stop at the
// broken contract instead of somewhere downstream.
//
// The condition must have no side effects: in Release it is not evaluated.

// Prints "file:line: contract failed: condition" and aborts. Any thread.
[[noreturn]] void LAssertFailed(const char* condition, const char* file, int line);

#if defined(KV_CONTRACT_CHECKS)
#define KV_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : ::LAssertFailed(#condition, __FILE__, __LINE__))
#else
// Unevaluated, so the names in the condition still count as used.
#define KV_ASSERT(condition) static_cast<void>(sizeof(!(condition)))
#endif
