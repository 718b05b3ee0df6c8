#pragma once
// Opening a sound file by path: a ladder of attempts, each run only when the
// one before left an error in the source. First our own readers, picked by
// extension; then the platform's file reader (none on this platform); then a
// decoder that writes a temporary Wave file, run as a separate program; last
// FFmpeg, which decodes into a temporary Wave file too. So a file with a
// wrong extension still opens, and a format a reader is added for later
// costs nothing here.
//
// Runs as a job step on a worker thread; everything it asks of the user goes
// through the job interface.
#include "base/LProcessInterface.h"
#include "stream/LSoundSource.h"

#include <string>
#include <string_view>
#include <vector>

// The job interface of an opening: forwards every call to the job that runs
// it and adds whether settings prompts are allowed and where temporary Wave
// files go.
class LGenSourceOpenInterfaceProcess : public LProcessInterface {
public:
    // `job` must outlive this object. An empty `tempFolder` means the
    // program's temporary folder.
    explicit LGenSourceOpenInterfaceProcess(LProcessInterface& job, bool promptsAllowed = false,
                                            std::string tempFolder = {})
        : job_(job), promptsAllowed_(promptsAllowed), tempFolder_(std::move(tempFolder)) {}

    bool PromptsAllowed() const { return promptsAllowed_; }
    const std::string& TempFolder() const { return tempFolder_; }

    bool IsToStop() override { return job_.IsToStop(); }
    bool ProcessWait(unsigned int milliseconds) override { return job_.ProcessWait(milliseconds); }
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int milliseconds) override {
        return job_.ProcessWaitSignal(signal, milliseconds);
    }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int milliseconds) override {
        return job_.ProcessWaitSignalObjectGroup(group, milliseconds);
    }
    void SetError(const char* text) override { job_.SetError(text); }
    void SetStatus(const char* text, int line) override { job_.SetStatus(text, line); }
    void SetProgress(double fraction) override { job_.SetProgress(fraction); }
    void SetProgressIndeterminateOn() override { job_.SetProgressIndeterminateOn(); }
    void SetProgressIndeterminateOff() override { job_.SetProgressIndeterminateOff(); }

private:
    LProcessInterface& job_;
    bool promptsAllowed_;
    std::string tempFolder_;
};

// A reader of the first rung: opens `path` as a source, or gives one with an
// error byte. Readers that live above this library (the sound cache's own
// ".aud" files) register themselves at start-up.
using LGenSourceReader = LSoundSource (*)(const std::string& path, LGenSourceOpenInterfaceProcess& process);
// Replaces any earlier reader of the extension (with its point, lower case);
// nullptr removes it. Thread-safe.
void LGenSourceRegisterReader(const char* extension, LGenSourceReader reader);

// The 60 extensions the open dialog offers, in their order (".mpc" twice).
const std::vector<std::string>& LGenSourceOpenExtensions();

// Opens `path` into `source`. 0 done, 1 stopped by the user, 2 failed; a
// failure has been reported through SetError unless `quiet`. A temporary
// Wave file made on the way is deleted when the source closes (or at once,
// when the opening fails); `tempFolder` (may be null or empty) overrides the
// interface's folder when it exists.
LProcessResult ProcessGenSourceOpenSource(LSoundSource& source, const char* path,
                                          LGenSourceOpenInterfaceProcess& process, bool quiet,
                                          const char* tempFolder = nullptr);

// Reports why `source` couldn't be opened from `path`, by its error byte and
// the extension. `tempPath` names the temporary Wave file if one was used.
void ProcessGenSourceGetError(LGenSourceOpenInterfaceProcess& process, const LSoundSource& source,
                              const char* path, const char* tempPath);
// The text ProcessGenSourceGetError reports.
std::string LGenSourceErrorText(unsigned char error, const std::string& path, const std::string& tempPath);
