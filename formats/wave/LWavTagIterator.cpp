#include "formats/wave/LWavTagIterator.h"

#include "base/LByteOrder.h"
#include "base/LInputStreamFile.h"
#include "formats/wave/LRiffChunk.h"
#include "formats/wave/LWavTags.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

// Tag chunks are read whole; anything larger than this is not a tag chunk
// worth holding in memory and is stepped over.
constexpr uint32_t kMaxTagChunk = 64u << 20;

bool IsWanted(const uint8_t* id) {
    for (const char* wanted : {"cart", "bext", "DISP", "id3 ", "LIST", "CSET"}) {
        if (std::memcmp(id, wanted, 4) == 0) return true;
    }
    return false;
}

// Text of a fixed field: up to `size` bytes, ending at the first zero.
std::string FieldText(const uint8_t* p, size_t size) {
    const uint8_t* end = std::find(p, p + size, uint8_t{0});
    return std::string(reinterpret_cast<const char*>(p), static_cast<size_t>(end - p));
}

// The text behind a fixed block; an odd rest gets a blank, as it was written.
std::string RestText(const std::vector<uint8_t>& body, size_t blockSize) {
    if (body.size() <= blockSize) return {};
    std::string rest(reinterpret_cast<const char*>(body.data()) + blockSize, body.size() - blockSize);
    if (rest.size() & 1) rest += ' ';
    return rest.substr(0, rest.find('\0'));
}

std::vector<uint8_t> Block(const std::vector<uint8_t>& body, size_t size) {
    std::vector<uint8_t> block(size, 0);
    std::copy_n(body.begin(), std::min(body.size(), size), block.begin());
    return block;
}

}  // namespace

bool LWavTagIterator::Read(const std::string& path) {
    LInputStreamFile file(path);
    return file.IsOpen() && FileScanForInfo(file);
}

bool LWavTagIterator::FileScanForInfo(LInputStream& in) {
    const int64_t fileSize = in.Size();
    bool found = false;
    for (int64_t offset = 0; offset + 12 <= fileSize;) {
        uint8_t head[12];
        if (in.ReadAt(head, sizeof head, offset) != 12) break;
        const int64_t riffEnd = offset + 8 + static_cast<int64_t>(riff::EvenLength(LByteOrder::GetLE32(head + 4)));
        if (riff::IdIs(head, "RIFF") && riff::IdIs(head + 8, "WAVE")) {
            found = true;
            // The RIFF length of a file beyond 4 GiB can't tell where it ends.
            if (static_cast<uint64_t>(fileSize) >= limits_.bigFileSize) {
                WalkChunks(in, offset + 12, fileSize);
                break;
            }
            WalkChunks(in, offset + 12, std::min(riffEnd, fileSize));
        }
        offset = riffEnd;
    }
    return found;
}

void LWavTagIterator::WalkChunks(LInputStream& in, int64_t offset, int64_t end) {
    while (offset + 8 <= end) {
        uint8_t head[8];
        if (in.ReadAt(head, sizeof head, offset) != 8) return;
        uint64_t length = LByteOrder::GetLE32(head + 4);
        // A length beyond the end is cut to what is there; a zero length is
        // just a header.
        length = std::min<uint64_t>(length, static_cast<uint64_t>(end - offset - 8));
        if (length > 0 && length <= kMaxTagChunk && IsWanted(head)) {
            std::vector<uint8_t> body(length);
            if (in.ReadAt(body.data(), body.size(), offset + 8) != static_cast<int64_t>(length)) return;
            SubchunkRead(head, body);
        }
        offset += 8 + static_cast<int64_t>((length + 1) & ~uint64_t{1});
    }
}

void LWavTagIterator::SubchunkRead(const uint8_t* id, const std::vector<uint8_t>& body) {
    if (riff::IdIs(id, "CSET")) {
        if (body.size() == 8) codePage_ = LByteOrder::GetLE16(body.data());
    } else if (riff::IdIs(id, "LIST")) {
        ReadInfoList(body);
    } else if (riff::IdIs(id, "id3 ")) {
        if (LWavId3Hooks::Reader read = LWavId3Hooks::Get().read) read(body.data(), body.size(), id3_);
    } else if (riff::IdIs(id, "bext")) {
        ReadBext(body);
    } else if (riff::IdIs(id, "cart")) {
        ReadCart(body);
    } else if (riff::IdIs(id, "DISP")) {
        if (body.size() > 4 && LByteOrder::GetLE32(body.data()) == 1) {
            RawTagAdd("TITLE", FieldText(body.data() + 4, body.size() - 5), true);
        }
    }
}

void LWavTagIterator::ReadInfoList(const std::vector<uint8_t>& body) {
    if (body.size() < 4 || !riff::IdIs(body.data(), "INFO")) return;
    size_t at = 4;
    while (at + 8 <= body.size()) {
        const uint8_t* head = body.data() + at;
        size_t length = LByteOrder::GetLE32(head + 4);
        if (length > body.size() - at - 8) return;
        // The last byte of the stated length is taken as the terminator.
        std::string value = length ? FieldText(head + 8, length - 1) : std::string();
        RawTagAdd(wavtags::KeyForInfoId(head), value, true);
        at += 8 + riff::EvenLength(static_cast<uint32_t>(length));
    }
}

void LWavTagIterator::ReadBext(const std::vector<uint8_t>& body) {
    std::vector<uint8_t> b = Block(body, wavtags::kBextBlockSize);
    b[255] = b[287] = b[319] = 0;
    for (const wavtags::TextField& f : wavtags::kBextText) RawTagAdd(f.key, FieldText(&b[f.offset], f.size), false);
    char number[32];
    std::snprintf(number, sizeof number, "%d", static_cast<int32_t>(LByteOrder::GetLE32(&b[338])));
    RawTagAdd("TIMEREFLOW", number, false);
    std::snprintf(number, sizeof number, "%d", static_cast<int32_t>(LByteOrder::GetLE32(&b[342])));
    RawTagAdd("TIMEREFHIGH", number, false);
    std::snprintf(number, sizeof number, "%x", LByteOrder::GetLE16(&b[346]));
    RawTagAdd("BWFVERSION", number, false);
    std::string umid;
    for (int i = 0; i < 64; ++i) umid += std::to_string(b[348 + i]) + ",";
    RawTagAdd("UMID", umid, false);
    RawTagAdd("CODINGHISTORY", RestText(body, wavtags::kBextBlockSize), false);
}

void LWavTagIterator::ReadCart(const std::vector<uint8_t>& body) {
    std::vector<uint8_t> b = Block(body, wavtags::kCartBlockSize);
    b[2047] = 0;
    for (int n = 0; n < 8; ++n) b[wavtags::kCartUsageFirst + 8 * n + 3] = 0;
    for (const wavtags::TextField& f : wavtags::kCartText) RawTagAdd(f.key, FieldText(&b[f.offset], f.size), false);
    RawTagAdd("URL", FieldText(&b[1024], 1024), false);
    for (const wavtags::NumberField& f : wavtags::kCartNumbers) {
        RawTagAdd(f.key, std::to_string(LByteOrder::GetLE32(&b[f.offset])), false);
    }
    RawTagAdd("TAGTEXT", RestText(body, wavtags::kCartBlockSize), false);
}

void LWavTagIterator::RawTagAdd(const std::string& key, const std::string& value, bool replace) {
    if (key.empty() || value.empty()) return;
    auto it = std::find_if(raw_.begin(), raw_.end(), [&](const LRawRiffTag& t) { return t.key == key; });
    if (it != raw_.end()) {
        if (!replace) return;
        raw_.erase(it);
    }
    raw_.insert(raw_.begin(), LRawRiffTag{key, value});
}

void LWavTagIterator::CopyTo(LFileTagDataAudio& tags) const {
    LFileTagDataAudio id3 = id3_;
    for (const LRawRiffTag& t : raw_) {
        if (tags.Has(t.key)) continue;
        if (id3.Has(t.key)) {
            tags.Set(t.key, id3.Get(t.key));
            id3.Remove(t.key);
        } else {
            tags.Set(t.key, wavtags::ToUTF8(t.value, codePage_));
        }
    }
    for (const auto& [key, value] : id3.Entries()) tags.Set(key, value);
}
