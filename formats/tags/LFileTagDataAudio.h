#pragma once
// LFileTagDataAudio: a document's tags, a table from key (TITLE, ARTIST,
// ALBUM, DATE, COMMENT, GENRE, TRACKNUMBER and the format-specific ones) to
// a UTF-8 value. Keys iterate in sorted order, which is also the order in
// which writers store them.
#include <map>
#include <string>

class LFileTagDataAudio {
public:
    using Table = std::map<std::string, std::string>;

    static constexpr const char* kTitle = "TITLE";
    static constexpr const char* kArtist = "ARTIST";
    static constexpr const char* kAlbum = "ALBUM";
    static constexpr const char* kDate = "DATE";
    static constexpr const char* kComment = "COMMENT";
    static constexpr const char* kGenre = "GENRE";
    static constexpr const char* kTrackNumber = "TRACKNUMBER";

    bool Has(const std::string& key) const { return table_.count(key) != 0; }
    // Empty when the key is absent.
    std::string Get(const std::string& key) const {
        auto it = table_.find(key);
        return it == table_.end() ? std::string() : it->second;
    }
    void Set(const std::string& key, const std::string& value) { table_[key] = value; }
    void Remove(const std::string& key) { table_.erase(key); }
    void Clear() { table_.clear(); }

    bool Empty() const { return table_.empty(); }
    size_t Size() const { return table_.size(); }
    const Table& Entries() const { return table_; }

    bool operator==(const LFileTagDataAudio& other) const = default;

    // Reads the tags of the file at `path` by its format (Wave: its INFO,
    // bext, cart and DISP chunks), replacing what the table held. False when
    // the format keeps no tags we read, or the file couldn't be read.
    bool ReadTags(const std::string& path);
    // Writes the table into the file at `path` by its format, in place.
    // True when there was nothing to write or the format keeps no tags.
    bool SaveTags(const std::string& path) const;

private:
    Table table_;
};
