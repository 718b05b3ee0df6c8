#include "dsp/LPointList.h"

#include "base/LFile.h"
#include "base/LFileReplace.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <utility>

namespace {

// --- curve mapping ---------------------------------------------------------

double PercentFromDB(double dB) { return std::pow(10.0, dB / 20.0) * 100.0; }

// Bin index of a frequency as the point curve places it: trunc(2*f/rate*2049).
long BinOf(double frequency, double rate) { return static_cast<long>(2.0 * frequency / rate * 2049.0); }

void MapBands(const LPointList& list, LEqGains& gain, double rate) {
    std::array<double, kEqBins> dB{};
    for (int b = 0; b < list.bandCount; ++b) {
        const double f = list.bands[b].frequency, g = list.bands[b].gainDB, q = list.bands[b].bandwidth;
        const double w = f / q;
        if (!(w > 0.0) || !std::isfinite(w)) continue;  // a band of no width adds nothing
        const double spread = w * w / 2.772588722239781;
        // The bin spacing here is rate/4098, not rate/4096: the curves users
        // saved were drawn with it.
        for (int k = 0; k < kEqBins; ++k) {
            const double d = (k / 4098.0 * rate) - f;
            dB[k] += g * std::exp(-(d * d) / spread);
        }
    }
    for (int k = 0; k < kEqBins; ++k) gain[k] = std::pow(10.0, dB[k] / 20.0) * 100.0;
}

void MapPoints(const LPointList& list, LEqGains& gain, double rate) {
    const long n = list.count;
    if (n <= 0) {
        gain.fill(100.0);
        return;
    }
    constexpr long kLast = kEqBins - 1;
    long next = 0;  // first bin not written yet
    const LPointList::CurvePoint& first = list.points[0];
    if (first.frequency > 10.0) {
        const long end = std::min(BinOf(first.frequency - 10.0, rate), kLast);
        for (long k = 0; k <= end; ++k) gain[k] = PercentFromDB(first.dB);
        next = end + 1;
    }
    for (long i = 1; i < n; ++i) {
        const LPointList::CurvePoint& prev = list.points[i - 1];
        const LPointList::CurvePoint& cur = list.points[i];
        const long start = prev.frequency < 10.0 ? 0 : BinOf(prev.frequency - 10.0, rate);
        const long end = std::min(BinOf(cur.frequency, rate), static_cast<long>(kEqBins));
        if (end <= start) continue;
        const double left = PercentFromDB(prev.dB), right = PercentFromDB(cur.dB);
        const double step = (right - left) / static_cast<double>(end - start);
        for (long k = std::max(start, 0L); k < end && k <= kLast; ++k) gain[k] = left + step * (k - start);
        next = std::max(next, end);
    }
    const double lastLevel = PercentFromDB(list.points[n - 1].dB);
    for (long k = next; k <= kLast; ++k) gain[k] = lastLevel;
}

// --- block form ------------------------------------------------------------

class Writer {
public:
    explicit Writer(std::vector<uint8_t>& out) : out_(out) {}
    template <class T>
    void Put(T v) {
        const size_t at = out_.size();
        out_.resize(at + sizeof(T));
        std::memcpy(out_.data() + at, &v, sizeof(T));  // the host is little-endian (x86-64, arm64)
    }
    void Pad(size_t n) { out_.insert(out_.end(), n, 0); }

private:
    std::vector<uint8_t>& out_;
};

class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    template <class T>
    bool Get(T* v) {
        if (size_ - pos_ < sizeof(T)) return false;
        std::memcpy(v, data_ + pos_, sizeof(T));
        pos_ += sizeof(T);
        return true;
    }
    bool Skip(size_t n) {
        if (size_ - pos_ < n) return false;
        pos_ += n;
        return true;
    }
    const uint8_t* Here() const { return data_ + pos_; }
    size_t Left() const { return size_ - pos_; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

bool Fail(std::string* error, const std::string& message) {
    if (error) *error = message;
    return false;
}

// --- equalizer.dat ---------------------------------------------------------

constexpr char kMagic[4] = {'K', 'V', 'E', 'Q'};
constexpr uint32_t kVersion = 1;
constexpr uint32_t kMaxEntries = 256;

using Entries = std::vector<std::pair<std::string, std::vector<uint8_t>>>;

bool ReadFile(const std::string& path, std::vector<uint8_t>* out, std::string* error) {
    LFile file;
    if (!file.OpenRead(path.c_str())) return Fail(error, "cannot open " + path + ": " + std::strerror(errno));
    if (file.Size() > (1 << 20)) return Fail(error, path + " is too large for a curve file");
    std::string text;
    if (!file.ReadToEnd(&text)) return Fail(error, "cannot read " + path + ": " + std::strerror(errno));
    out->assign(text.begin(), text.end());
    return true;
}

bool ParseFile(const std::vector<uint8_t>& bytes, Entries* entries, std::string* error) {
    Reader r(bytes.data(), bytes.size());
    char magic[4];
    uint32_t version = 0, count = 0;
    if (!r.Get(&magic) || std::memcmp(magic, kMagic, 4) != 0) return Fail(error, "not a curve file (bad magic)");
    if (!r.Get(&version) || version != kVersion) return Fail(error, "unknown curve file version");
    if (!r.Get(&count) || count > kMaxEntries) return Fail(error, "damaged curve file (entry count)");
    entries->clear();
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t nameLength = 0;
        if (!r.Get(&nameLength) || r.Left() < nameLength + LPointList::kBlockSize)
            return Fail(error, "curve file is truncated");
        std::string name(reinterpret_cast<const char*>(r.Here()), nameLength);
        r.Skip(nameLength);
        std::vector<uint8_t> block(r.Here(), r.Here() + LPointList::kBlockSize);
        r.Skip(LPointList::kBlockSize);
        entries->emplace_back(std::move(name), std::move(block));
    }
    if (r.Left() != 0) return Fail(error, "damaged curve file (trailing data)");
    return true;
}

std::vector<uint8_t> SerializeFile(const Entries& entries) {
    std::vector<uint8_t> out(kMagic, kMagic + 4);
    Writer w(out);
    w.Put(kVersion);
    w.Put(static_cast<uint32_t>(entries.size()));
    for (const auto& [name, block] : entries) {
        w.Put(static_cast<uint8_t>(name.size()));
        out.insert(out.end(), name.begin(), name.end());
        out.insert(out.end(), block.begin(), block.end());
    }
    return out;
}

// Readers see the old file or the new one, never a part.
bool ReplaceFile(const std::string& path, const std::vector<uint8_t>& bytes, std::string* error) {
    LFileReplace replace(path);
    if (!replace.IsOpen() || !replace.File().WriteAll(bytes.data(), bytes.size()) || !replace.Commit())
        return Fail(error, "cannot write " + path + ": " + std::strerror(errno));
    return true;
}

}  // namespace

void LPointList::MapPointListToEq(LEqGains& gain, double sampleRate) const {
    const double rate = sampleRate <= 0.0 ? 44100.0 : sampleRate;
    if (bandMode && bandCount >= 3) {
        MapBands(*this, gain, rate);
    } else {
        MapPoints(*this, gain, rate);
    }
}

std::vector<uint8_t> LPointList::ToBlock() const {
    std::vector<uint8_t> out;
    out.reserve(kBlockSize);
    Writer w(out);
    w.Put(static_cast<int64_t>(count));
    for (const PixelPoint& p : pixels) {
        w.Put(p.x);
        w.Put(p.y);
    }
    for (const CurvePoint& p : points) {
        w.Put(p.frequency);
        w.Put(p.dB);
    }
    w.Put(static_cast<uint8_t>(bandMode));
    w.Put(static_cast<uint8_t>(useBands));
    w.Pad(2);
    w.Put(static_cast<int32_t>(bandCount));
    for (const Band& b : bands) {
        w.Put(b.frequency);
        w.Put(b.gainDB);
        w.Put(b.bandwidth);
    }
    w.Put(static_cast<uint16_t>(word0));
    w.Put(static_cast<uint16_t>(word1));
    w.Pad(4);
    return out;
}

bool LPointList::FromBlock(const uint8_t* data, size_t size, LPointList* out, std::string* error) {
    if (size != kBlockSize) return Fail(error, "curve block has " + std::to_string(size) + " bytes, not 1032");
    LPointList list;
    Reader r(data, size);
    int64_t n = 0;
    r.Get(&n);
    if (n < 0 || n > kMaxPoints) return Fail(error, "curve block has a point count out of range");
    list.count = n;
    bool finite = true;
    for (PixelPoint& p : list.pixels) {
        r.Get(&p.x);
        r.Get(&p.y);
        finite = finite && std::isfinite(p.x) && std::isfinite(p.y);
    }
    for (CurvePoint& p : list.points) {
        r.Get(&p.frequency);
        r.Get(&p.dB);
        finite = finite && std::isfinite(p.frequency) && std::isfinite(p.dB);
    }
    uint8_t flag = 0;
    r.Get(&flag);
    list.bandMode = flag != 0;
    r.Get(&flag);
    list.useBands = flag != 0;
    r.Skip(2);
    int32_t bandCount = 0;
    r.Get(&bandCount);
    if (bandCount < 0 || bandCount > kMaxBands) return Fail(error, "curve block has a band count out of range");
    list.bandCount = bandCount;
    for (Band& b : list.bands) {
        r.Get(&b.frequency);
        r.Get(&b.gainDB);
        r.Get(&b.bandwidth);
        finite = finite && std::isfinite(b.frequency) && std::isfinite(b.gainDB) && std::isfinite(b.bandwidth);
    }
    if (!finite) return Fail(error, "curve block holds a number that is not finite");
    uint16_t word = 0;
    r.Get(&word);
    list.word0 = word;
    r.Get(&word);
    list.word1 = word;
    *out = list;
    return true;
}

bool LPointList::Load(const std::string& path, const std::string& name, std::string* error) {
    std::vector<uint8_t> bytes;
    Entries entries;
    if (!ReadFile(path, &bytes, error) || !ParseFile(bytes, &entries, error)) return false;
    for (const auto& [entryName, block] : entries) {
        if (entryName == name) return FromBlock(block.data(), block.size(), this, error);
    }
    return Fail(error, "no curve named \"" + name + "\" in " + path);
}

bool LPointList::Save(const std::string& path, const std::string& name, std::string* error) const {
    if (name.empty() || name.size() > 255) return Fail(error, "curve name must have 1 to 255 bytes");
    Entries entries;
    std::vector<uint8_t> bytes;
    struct stat st;
    if (::stat(path.c_str(), &st) == 0) {
        std::string why;
        if (!ReadFile(path, &bytes, &why)) return Fail(error, why);
        if (!ParseFile(bytes, &entries, &why)) {
            // Keep what the user had where it can be looked at, then start afresh.
            if (::rename(path.c_str(), (path + ".bad").c_str()) != 0)
                return Fail(error, "damaged curve file " + path + " could not be set aside");
            entries.clear();
        }
    }
    const std::vector<uint8_t> block = ToBlock();
    bool replaced = false;
    for (auto& [entryName, entryBlock] : entries) {
        if (entryName == name) {
            entryBlock = block;
            replaced = true;
        }
    }
    if (!replaced) {
        if (entries.size() >= kMaxEntries) return Fail(error, "curve file is full");
        entries.emplace_back(name, block);
    }
    return ReplaceFile(path, SerializeFile(entries), error);
}
