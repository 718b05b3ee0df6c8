#include "base/LSettingsFile.h"

#include <sys/file.h>

#include <cstdio>
#include <ctime>

#include "base/LFile.h"
#include "base/LFileLock.h"
#include "base/LHexDigit.h"
#include "base/LSettingsLog.h"

namespace {

const char kHeader[] = "# Kelvane settings: one escaped key=value per line\n";

// A writer that holds the lock longer than this is hung; the write goes ahead
// without it, still replacing the file atomically.
constexpr int kLockWaitMs = 10000;

void AppendEscaped(std::string& out, const std::string& text) {
    static const char hex[] = "0123456789ABCDEF";
    for (char ch : text) {
        auto c = static_cast<unsigned char>(ch);
        switch (c) {
            case '\\': out += "\\\\"; break;
            case '=': out += "\\="; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            default:
                if (c < 0x20 || c == 0x7f) {
                    out += "\\x";
                    out += hex[c >> 4];
                    out += hex[c & 15];
                } else {
                    out += ch;
                }
        }
    }
}


// Unescapes line[from, to) up to the first unescaped '=' (when stopAtEquals);
// returns the index after the stop, or npos on a bad escape or a NUL.
size_t Unescape(const std::string& line, size_t from, bool stopAtEquals, std::string* out, bool* stopped) {
    *stopped = false;
    size_t i = from;
    while (i < line.size()) {
        char c = line[i];
        if (c == '\0') return std::string::npos;
        if (c == '=' && stopAtEquals) {
            *stopped = true;
            return i + 1;
        }
        if (c != '\\') {
            *out += c;
            ++i;
            continue;
        }
        if (i + 1 >= line.size()) return std::string::npos;
        char e = line[i + 1];
        if (e == '\\' || e == '=') *out += e;
        else if (e == 'n') *out += '\n';
        else if (e == 'r') *out += '\r';
        else if (e == 'x' && i + 3 < line.size() && LHexDigitValue(line[i + 2]) >= 0 && LHexDigitValue(line[i + 3]) >= 0) {
            int byte = LHexDigitValue(line[i + 2]) * 16 + LHexDigitValue(line[i + 3]);
            if (byte == 0) return std::string::npos;
            *out += static_cast<char>(byte);
            i += 2;
        } else {
            return std::string::npos;
        }
        i += 2;
    }
    return i;
}

bool ParseLine(const std::string& line, std::string* key, std::string* value) {
    bool stopped = false;
    size_t next = Unescape(line, 0, true, key, &stopped);
    if (next == std::string::npos || !stopped || key->empty()) return false;
    return Unescape(line, next, false, value, &stopped) != std::string::npos;
}

}  // namespace

bool LSettingsFile::Identity::operator==(const Identity& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
}

LSettingsFile::LSettingsFile(std::string path) : path_(std::move(path)) {}

std::string LSettingsFile::Serialize(const Map& entries) {
    std::string text = kHeader;
    for (const auto& [key, value] : entries) {
        AppendEscaped(text, key);
        text += '=';
        AppendEscaped(text, value);
        text += '\n';
    }
    return text;
}

int LSettingsFile::Parse(const std::string& text, Map* entries) {
    entries->clear();
    int bad = 0;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line.empty() || line[0] == '#') continue;
        std::string key, value;
        if (ParseLine(line, &key, &value)) (*entries)[key] = value;
        else ++bad;
    }
    return bad;
}

bool LSettingsFile::IdentityOf(const std::string& path, Identity* identity) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
        *identity = Identity{};
        return false;
    }
    identity->device = info.st_dev;
    identity->inode = info.st_ino;
    identity->size = info.st_size;
    identity->modified = info.st_mtim;
    identity->changed = info.st_ctim;
    return true;
}

LSettingsFile::Map LSettingsFile::LoadFresh(Identity* identity, bool* complete) {
    Map entries;
    std::string text;
    // Identity first: if the file changes while we read, the next read sees
    // a different identity and loads again.
    const bool exists = IdentityOf(path_, identity);
    const bool read = LFile::ReadWholeFile(path_, &text);
    if (complete) *complete = !exists || (read && static_cast<off_t>(text.size()) == identity->size);
    if (!read) return entries;
    int bad = Parse(text, &entries);
    if (bad > 0) LSettingsLogDamage(path_.c_str(), bad);
    return entries;
}

void LSettingsFile::Refresh() {
    Identity now;
    IdentityOf(path_, &now);
    if (cacheValid_ && !cacheRacy_ && now == cachedIdentity_) return;
    timespec loadedAt;
    clock_gettime(CLOCK_REALTIME, &loadedAt);
    cache_ = LoadFresh(&cachedIdentity_);
    cacheValid_ = true;
    // Rename frees inode numbers for reuse, and file times are coarse. A file
    // changed within the last second could be followed by a replacement with
    // the same inode, size and times, so such a copy is not trusted (the
    // "racy" rule of version-control indexes). Older copies are safe: any
    // replacement made now gets a newer change time.
    cacheRacy_ = loadedAt.tv_sec - cachedIdentity_.changed.tv_sec < 2;
}

bool LSettingsFile::Get(const std::string& key, std::string* value) {
    std::lock_guard<std::mutex> hold(mutex_);
    Refresh();
    auto found = cache_.find(key);
    if (found == cache_.end()) return false;
    *value = found->second;
    return true;
}

std::vector<std::string> LSettingsFile::KeysWithPrefix(const std::string& prefix) {
    std::lock_guard<std::mutex> hold(mutex_);
    Refresh();
    std::vector<std::string> keys;
    for (auto it = cache_.lower_bound(prefix); it != cache_.end() && it->first.compare(0, prefix.size(), prefix) == 0;
         ++it)
        keys.push_back(it->first);
    return keys;
}

bool LSettingsFile::Update(const std::function<void(Map&)>& change) {
    std::lock_guard<std::mutex> hold(mutex_);
    LFileLock lock(path_ + ".lock", LOCK_EX, kLockWaitMs);
    Identity identity;
    bool complete = false;
    Map entries = LoadFresh(&identity, &complete);
    // A file that is there but can't be read whole (an I/O or permission
    // error) is never replaced by a copy holding only what we could read.
    if (!complete) return false;
    change(entries);
    bool written = LFile::ReplaceWholeFile(path_, Serialize(entries));
    cacheValid_ = false;
    return written;
}

bool LSettingsFile::Set(const std::string& key, const std::string& value) {
    return Update([&](Map& entries) { entries[key] = value; });
}

bool LSettingsFile::Erase(const std::string& key) {
    return Update([&](Map& entries) { entries.erase(key); });
}

bool LSettingsFile::ErasePrefix(const std::string& prefix) {
    return Update([&](Map& entries) {
        auto it = entries.lower_bound(prefix);
        while (it != entries.end() && it->first.compare(0, prefix.size(), prefix) == 0) it = entries.erase(it);
    });
}
