#pragma once
// The decoders behind the opening ladder: the table of external decoder
// programs (the "generic route"), which write a temporary Wave file from a
// compressed one, and FFmpeg, which does the same in-process for whatever
// it knows. Job steps on a worker thread.
#include "base/LProcessInterface.h"

#include <string>
#include <vector>

class LTempWaveClaim;

// One row of the decoder table.
struct LGenSourceDecoder {
    enum class Order { TempThenSource, SourceThenTemp };
    const char* extension;
    const char* component;  // run-time part to find; nullptr: `program` on PATH, or nothing at all
    const char* program;    // program run when there is no component; nullptr for neither
    std::vector<const char*> options;  // before the two paths
    Order order;
    std::vector<const char*> between;  // between the two paths
};

// The row of an extension (with its point, lower case), or nullptr.
const LGenSourceDecoder* LGenSourceDecoderFind(const std::string& extension);

// The argument vector of a row: the program, its options and the two paths
// in the row's order. Never a shell command: a path is one argument whatever
// it holds.
std::vector<std::string> LGenSourceDecoderArguments(const LGenSourceDecoder& row, const std::string& program,
                                                    const std::string& source, const std::string& wave);

struct LGenSourceDecoderRun {
    enum class Outcome {
        Decoded,      // exit 0: the Wave file may hold the result
        Cancelled,    // the job was stopped
        NoComponent,  // nothing to run; `message` says so (shown only if FFmpeg fails too)
        Failed,       // the decoder failed: go on
    };
    Outcome outcome = Outcome::Failed;
    std::string message;
};

// Runs the decoder of `extension` over `source` into the claim's Wave file.
LGenSourceDecoderRun LGenSourceDecoderRunCommand(LProcessInterface& process, const std::string& extension,
                                                 const std::string& source, const LTempWaveClaim& claim);

// Decodes `source` with FFmpeg into a Wave file at `wave`, keeping the
// precision: 16-bit for integer sources of up to 16 bits, 24-bit for 24,
// otherwise 32-bit float. 0 done, 1 stopped, 2 failed (nothing reported).
LProcessResult LGenSourceDecodeWithFFmpeg(LProcessInterface& process, const std::string& source,
                                          const std::string& wave);
