#include "formats/wave/LWavTagWriter.h"

#include "base/LByteOrder.h"
#include "base/LFile.h"
#include "base/LFileLock.h"
#include "base/LInputStreamFileShared.h"
#include "formats/wave/LRiffChunk.h"
#include "formats/wave/LWavTags.h"
#include "formats/wave/LWaveHeaderReader.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

using NewChunk = LWavTagWriter::NewChunk;

NewChunk Chunk(const char (&id)[5], std::vector<uint8_t> body) {
    NewChunk c;
    std::memcpy(c.id, id, 5);
    c.body = std::move(body);
    return c;
}

void PutText(std::vector<uint8_t>& block, size_t offset, size_t size, const std::string& text) {
    std::memcpy(&block[offset], text.data(), std::min(size, text.size()));
}

void AppendText(std::vector<uint8_t>& body, const std::string& text) {
    body.insert(body.end(), text.begin(), text.end());
    body.push_back(0);
}

// EncodeNumberTagIfValid: the first 11 characters in base 10; nothing if they aren't a number.
void PutNumber(std::vector<uint8_t>& block, size_t offset, const std::string& text) {
    std::string digits = text.substr(0, 11);
    char* end = nullptr;
    long long v = std::strtoll(digits.c_str(), &end, 10);
    if (end == digits.c_str()) return;
    LByteOrder::PutLE32(&block[offset], static_cast<uint32_t>(v));
}

void PutUmid(std::vector<uint8_t>& block, const std::string& text) {
    size_t at = 0;
    for (int i = 0; i < 64 && at < text.size(); ++i) {
        block[348 + i] = static_cast<uint8_t>(std::strtoul(text.c_str() + at, nullptr, 10));
        size_t comma = text.find(',', at);
        if (comma == std::string::npos) break;
        at = comma + 1;
    }
}

// OtherChunkTagsPrepare: the `cart` and `bext` fields a key fills.
void PrepareBlocks(const std::string& key, const std::string& value, std::vector<uint8_t>& cart,
                   std::vector<uint8_t>& bext, std::string& tagText, std::string& history) {
    for (const wavtags::TextField& f : wavtags::kCartText) {
        if (key == f.key) PutText(cart, f.offset, f.size, value);
    }
    for (const wavtags::NumberField& f : wavtags::kCartNumbers) {
        if (key == f.key) PutNumber(cart, f.offset, value);
    }
    if (key == "URL") PutText(cart, 1024, 1024, value);
    if (key == "TAGTEXT") tagText = value;
    for (const wavtags::TextField& f : wavtags::kBextText) {
        if (key == f.key) PutText(bext, f.offset, f.size, value);
    }
    if (key == "TIMEREFLOW") PutNumber(bext, 338, value);
    if (key == "TIMEREFHIGH") PutNumber(bext, 342, value);
    if (key == "BWFVERSION") {
        // Read out in hexadecimal, parsed back in decimal: kept as it always was.
        LByteOrder::PutLE16(&bext[346], static_cast<uint16_t>(std::strtoul(value.substr(0, 6).c_str(), nullptr, 10)));
    }
    if (key == "UMID") PutUmid(bext, value);
    if (key == "CODINGHISTORY") history = value;
}

bool IsTagChunk(const uint8_t* head, LFile& file, int64_t offset, bool replaceId3) {
    if (riff::IdIs(head, "cart") || riff::IdIs(head, "bext") || riff::IdIs(head, "CSET")) return true;
    if (riff::IdIs(head, "id3 ")) return replaceId3;
    uint8_t type[4];
    if (riff::IdIs(head, "LIST")) return file.ReadAt(type, 4, offset + 8) == 4 && riff::IdIs(type, "INFO");
    if (riff::IdIs(head, "DISP")) return file.ReadAt(type, 4, offset + 8) == 4 && LByteOrder::GetLE32(type) == 1;
    return false;
}

}  // namespace

std::vector<NewChunk> LWavTagWriter::PrepareChunks(const LFileTagDataAudio& tags) {
    std::vector<uint8_t> cart(wavtags::kCartBlockSize, 0), bext(wavtags::kBextBlockSize, 0);
    std::vector<std::vector<uint8_t>> info;  // sub-chunks, the latest key first
    std::string tagText, history, title;
    for (const auto& [key, value] : tags.Entries()) {
        if (key.empty() || value.empty() || !wavtags::TagFieldIsValid(key)) continue;
        if (const char* id = wavtags::InfoIdForKey(key)) {
            std::vector<uint8_t> sub(8);
            riff::PutHeader(sub.data(), *reinterpret_cast<const char(*)[5]>(id), uint32_t(value.size() + 1));
            AppendText(sub, value);
            if (sub.size() & 1) sub.push_back(0);
            info.insert(info.begin(), std::move(sub));
        }
        PrepareBlocks(key, value, cart, bext, tagText, history);
        if (key == "TITLE") title = value;
    }
    if (!tagText.empty()) AppendText(cart, tagText);
    if (!history.empty()) AppendText(bext, history);

    std::vector<uint8_t> list = {'I', 'N', 'F', 'O'};
    for (const auto& sub : info) list.insert(list.end(), sub.begin(), sub.end());
    std::vector<uint8_t> cset(8, 0);
    LByteOrder::PutLE16(cset.data(), wavtags::kCodePageUTF8);
    std::vector<uint8_t> disp(4, 0);
    LByteOrder::PutLE32(disp.data(), 1);
    if (!title.empty()) AppendText(disp, title);
    if (disp.size() & 1) disp.push_back(0);

    std::vector<NewChunk> chunks;
    std::vector<uint8_t> id3;
    if (LWavId3Hooks::Writer write = LWavId3Hooks::Get().write; write && write(tags, id3) && !id3.empty()) {
        chunks.push_back(Chunk("id3 ", std::move(id3)));
    }
    chunks.push_back(Chunk("cart", std::move(cart)));
    chunks.push_back(Chunk("bext", std::move(bext)));
    chunks.push_back(Chunk("LIST", std::move(list)));
    chunks.push_back(Chunk("CSET", std::move(cset)));
    chunks.push_back(Chunk("DISP", std::move(disp)));
    return chunks;
}

std::vector<LWavTagWriter::OldChunk> LWavTagWriter::Scan(LFile& file) const {
    std::vector<OldChunk> chunks;
    const int64_t size = file.Size();
    uint8_t head[8];
    if (file.ReadAt(head, 8, 0) != 8) return chunks;
    int64_t end = static_cast<uint64_t>(size) >= limits_.bigFileSize
                      ? size
                      : std::min<int64_t>(size, 8 + static_cast<int64_t>(riff::EvenLength(LByteOrder::GetLE32(head + 4))));
    for (int64_t offset = 12; offset + 8 <= end;) {
        if (file.ReadAt(head, 8, offset) != 8) break;
        OldChunk c{offset, {}, LByteOrder::GetLE32(head + 4)};
        std::memcpy(c.id, head, 4);
        c.length = static_cast<uint32_t>(std::min<int64_t>(c.length, end - offset - 8));
        chunks.push_back(c);
        offset = c.End();
    }
    return chunks;
}

bool LWavTagWriter::Touchable(const OldChunk& c) const {
    return c.End() <= protectedStart_ || c.offset >= protectedEnd_;
}

bool LWavTagWriter::JunkOldChunks(LFile& file, bool replaceId3) {
    static const uint8_t zeros[1024] = {};
    for (const OldChunk& c : Scan(file)) {
        if (!Touchable(c) || !IsTagChunk(reinterpret_cast<const uint8_t*>(c.id), file, c.offset, replaceId3)) continue;
        uint8_t head[8];
        riff::PutHeader(head, "JUNK", c.length);
        if (!file.WriteAllAt(head, 8, c.offset)) return false;
        int64_t bodyEnd = std::min(c.End(), file.Size());
        for (int64_t at = c.offset + 8; at < bodyEnd; at += sizeof zeros) {
            if (!file.WriteAllAt(zeros, static_cast<size_t>(std::min<int64_t>(sizeof zeros, bodyEnd - at)), at)) {
                return false;
            }
        }
    }
    return true;
}

bool LWavTagWriter::MergeJunk(LFile& file) {
    std::vector<OldChunk> chunks = Scan(file);
    for (size_t i = 0; i + 1 < chunks.size(); ++i) {
        OldChunk& a = chunks[i];
        const OldChunk& b = chunks[i + 1];
        if (!riff::IdIs(a.id, "JUNK") || !riff::IdIs(b.id, "JUNK") || !Touchable(a) || !Touchable(b)) continue;
        uint64_t merged = static_cast<uint64_t>(b.End() - a.offset - 8);
        if (merged > 0xFFFFFFFEu) continue;
        static const uint8_t zeros[8] = {};
        uint8_t head[8];
        riff::PutHeader(head, "JUNK", static_cast<uint32_t>(merged));
        if (!file.WriteAllAt(zeros, 8, b.offset) || !file.WriteAllAt(head, 8, a.offset)) return false;
        a.length = static_cast<uint32_t>(merged);
        chunks.erase(chunks.begin() + static_cast<long>(i) + 1);
        --i;  // the grown chunk may meet the next one too
    }
    return true;
}

bool LWavTagWriter::WriteChunk(LFile& file, int64_t offset, const NewChunk& chunk) {
    std::vector<uint8_t> bytes(8);
    riff::PutHeader(bytes.data(), *reinterpret_cast<const char(*)[5]>(chunk.id), uint32_t(chunk.body.size()));
    bytes.insert(bytes.end(), chunk.body.begin(), chunk.body.end());
    if (bytes.size() & 1) bytes.push_back(0);
    return file.WriteAllAt(bytes.data(), bytes.size(), offset);
}

// ChunkWriteIfSizeFits: an exact fit first, else the first chunk that leaves
// room for a `JUNK` header behind it. Each placement starts a new scan.
bool LWavTagWriter::PlaceInJunk(LFile& file, std::vector<NewChunk>& chunks) {
    for (bool placed = true; placed;) {
        placed = false;
        for (const OldChunk& c : Scan(file)) {
            if (!riff::IdIs(c.id, "JUNK") || (c.length & 1) || !Touchable(c)) continue;
            const uint64_t n = c.length;
            auto exact = std::find_if(chunks.begin(), chunks.end(),
                                      [&](const NewChunk& k) { return !k.written && k.EvenLength() == n; });
            auto fits = std::find_if(chunks.begin(), chunks.end(),
                                     [&](const NewChunk& k) { return !k.written && k.EvenLength() + 8 <= n; });
            auto chosen = exact != chunks.end() ? exact : fits;
            if (chosen == chunks.end()) continue;
            if (!WriteChunk(file, c.offset, *chosen)) return false;
            chosen->written = true;
            if (chosen != exact) {
                uint8_t head[8];
                riff::PutHeader(head, "JUNK", static_cast<uint32_t>(n - chosen->EvenLength() - 8));
                if (!file.WriteAllAt(head, 8, c.offset + 8 + static_cast<int64_t>(chosen->EvenLength()))) return false;
            }
            placed = true;
            break;
        }
    }
    return true;
}

bool LWavTagWriter::TruncateTrailingJunk(LFile& file) {
    std::vector<OldChunk> chunks = Scan(file);
    if (chunks.empty()) return true;
    const OldChunk& last = chunks.back();
    if (!riff::IdIs(last.id, "JUNK") || !Touchable(last) || last.End() < file.Size()) return true;
    return file.Truncate(last.offset);
}

bool LWavTagWriter::AppendRest(LFile& file, std::vector<NewChunk>& chunks) {
    int64_t end = file.Size();
    if (end & 1) {
        const uint8_t pad = 0;
        if (!file.WriteAllAt(&pad, 1, end++)) return false;
    }
    for (const char* id : {"CSET", "id3 ", "LIST", "DISP", "bext", "cart"}) {
        for (NewChunk& c : chunks) {
            if (c.written || std::memcmp(c.id, id, 4) != 0) continue;
            if (!WriteChunk(file, end, c)) {
                file.Truncate(end);  // nothing half-written stays behind
                return false;
            }
            c.written = true;
            end += 8 + static_cast<int64_t>(c.EvenLength());
        }
    }
    return true;
}

bool LWavTagWriter::MainHeaderLengthUpdate(LFile& file) {
    int64_t size = file.Size();
    if (size < 8) return false;
    uint8_t length[4];
    LByteOrder::PutLE32(length, static_cast<uint32_t>(std::min<int64_t>(size - 8, limits_.riffLengthMax)));
    return file.WriteAllAt(length, 4, 4);
}

bool LWavTagWriter::Write(const std::string& path, const LFileTagDataAudio& tags) {
    LFile file;
    if (!file.Open(path.c_str(), O_RDWR)) return false;
    // Exclusive: two instances must not rewrite one file's chunks at once.
    LFileLock lock(file.Fd(), LOCK_EX, 1000);
    if (!lock.IsLocked()) return false;

    LWaveHeaderInfo header;
    // Read through the descriptor without buffering: the chunks are rewritten below.
    LInputStreamFileShared view(file.Fd(), LInputStreamFileShared::kUnbuffered);
    if (LWaveReadFormatChunk(view, header) != 0 || LWaveFindDataChunk(view, header) != 0) return false;
    uint8_t head[12];
    if (file.ReadAt(head, 12, 0) != 12 || !riff::IdIs(head, "RIFF")) return false;  // not behind foreign chunks
    // The samples, from the first `data` header on, are never written to. A
    // file whose writer hasn't finished is refused: its samples still grow into
    // the space behind them. (A full first chunk of a file beyond 4 GiB has a
    // length above the mark too; a finished chunk behind it tells them apart.)
    protectedStart_ = header.dataStart - 8;
    protectedEnd_ = header.dataStart + static_cast<int64_t>(riff::EvenLength(header.dataLength));
    // A file cut short inside its samples is refused too: chunks appended at
    // its end would land inside the `data` body and play as noise. (A missing
    // pad byte alone is fine; AppendRest puts it in.)
    if (header.dataStart + static_cast<int64_t>(header.dataLength) > file.Size()) return false;
    if (header.dataLength >= kWaveUnknownDataLength) {
        uint8_t next[8];
        if (file.ReadAt(next, 8, header.dataStart + header.dataLength) != 8 || !riff::IdIs(next, "data") ||
            LByteOrder::GetLE32(next + 4) == 0) {
            return false;
        }
    }

    std::vector<NewChunk> chunks = PrepareChunks(tags);
    const bool replaceId3 = !chunks.empty() && std::memcmp(chunks.front().id, "id3 ", 4) == 0;
    if (!JunkOldChunks(file, replaceId3) || !MergeJunk(file) || !PlaceInJunk(file, chunks)) return false;
    bool allPlaced = std::all_of(chunks.begin(), chunks.end(), [](const NewChunk& c) { return c.written; });
    if (allPlaced ? !TruncateTrailingJunk(file) : !AppendRest(file, chunks)) return false;
    return MainHeaderLengthUpdate(file);
}
