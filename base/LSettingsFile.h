#pragma once
// LSettingsFile: one keyed text file of settings, shared by processes.
//
// The file holds one "fullkey=value" line per setting, keys sorted, with
// '\\', '=', and control bytes escaped (\\ \= \n \r \xHH). Every change loads
// the file afresh, applies itself, and replaces the file whole, all under an
// exclusive flock on "<file>.lock": concurrent writers in other processes
// never lose each other's keys and no reader sees half a file. Lines that
// don't parse are dropped and logged; the next write rewrites the file whole.
//
// Thread-safe. Reads are served from a copy that is reloaded whenever the
// file on disk changes (or changed too recently to tell).
#include <sys/stat.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

class LSettingsFile {
public:
    using Map = std::map<std::string, std::string>;

    explicit LSettingsFile(std::string path);
    LSettingsFile(const LSettingsFile&) = delete;
    LSettingsFile& operator=(const LSettingsFile&) = delete;

    const std::string& Path() const { return path_; }

    bool Get(const std::string& key, std::string* value);
    // Full keys beginning with prefix, sorted.
    std::vector<std::string> KeysWithPrefix(const std::string& prefix);

    // Load, change, replace; false when the file could not be written (the
    // change is then lost).
    bool Update(const std::function<void(Map&)>& change);
    bool Set(const std::string& key, const std::string& value);
    bool Erase(const std::string& key);
    bool ErasePrefix(const std::string& prefix);

    // The text form, exposed for tests and tools.
    static std::string Serialize(const Map& entries);
    // Returns the number of lines that could not be read.
    static int Parse(const std::string& text, Map* entries);

private:
    struct Identity {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = -1;
        timespec modified{};
        timespec changed{};
        bool operator==(const Identity& other) const;
    };
    static bool IdentityOf(const std::string& path, Identity* identity);
    // Re-reads the file when it changed since the cached copy; mutex held.
    void Refresh();
    // The entries of the file as it is now. *complete (if given) is false when
    // the file exists but could not be read whole, so that nothing is
    // written from what would be a partial copy.
    Map LoadFresh(Identity* identity, bool* complete = nullptr);

    const std::string path_;
    std::mutex mutex_;
    Map cache_;
    Identity cachedIdentity_;
    bool cacheValid_ = false;
    bool cacheRacy_ = false;
};
