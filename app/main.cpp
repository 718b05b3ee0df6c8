#include "app/KVApplication.h"

namespace {
// Signal handlers and process-wide state are in place before main runs.
[[maybe_unused]] const bool gGlobalInitDone = (KVGlobalInit(), true);
}  // namespace

int main(int argc, char** argv) { return KVApplicationMain(argc, argv); }
