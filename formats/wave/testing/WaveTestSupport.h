#pragma once
// Helpers shared by the Wave tests: hand-built RIFF files, whole-source reads
// and the reference tools' view of a file.
#include "base/testing/TestSupport.h"
#include "stream/LSoundSource.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace wavetest {

inline void Append(std::vector<uint8_t>& v, const void* p, size_t n) {
    auto b = static_cast<const uint8_t*>(p);
    v.insert(v.end(), b, b + n);
}
inline void AppendId(std::vector<uint8_t>& v, const char* id) { Append(v, id, 4); }
inline void AppendLE16(std::vector<uint8_t>& v, uint16_t x) {
    v.push_back(uint8_t(x));
    v.push_back(uint8_t(x >> 8));
}
inline void AppendLE32(std::vector<uint8_t>& v, uint32_t x) {
    for (int i = 0; i < 4; ++i) v.push_back(uint8_t(x >> (8 * i)));
}
inline uint32_t LE32(const std::vector<uint8_t>& v, size_t at) {
    return uint32_t(v[at]) | uint32_t(v[at + 1]) << 8 | uint32_t(v[at + 2]) << 16 | uint32_t(v[at + 3]) << 24;
}
inline uint16_t LE16(const std::vector<uint8_t>& v, size_t at) { return uint16_t(v[at] | v[at + 1] << 8); }

inline void AppendChunk(std::vector<uint8_t>& v, const char* id, const std::vector<uint8_t>& body) {
    AppendId(v, id);
    AppendLE32(v, uint32_t(body.size()));
    Append(v, body.data(), body.size());
    if (body.size() & 1) v.push_back(0);
}

inline std::vector<uint8_t> FmtBody(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits) {
    std::vector<uint8_t> b;
    uint16_t align = uint16_t(channels * ((bits + 7) / 8));
    AppendLE16(b, tag);
    AppendLE16(b, channels);
    AppendLE32(b, rate);
    AppendLE32(b, rate * align);
    AppendLE16(b, align);
    AppendLE16(b, bits);
    return b;
}

// RIFF/WAVE around the given chunks; the RIFF length is the true one.
inline std::vector<uint8_t> Riff(const std::vector<uint8_t>& chunks) {
    std::vector<uint8_t> v;
    AppendId(v, "RIFF");
    AppendLE32(v, uint32_t(chunks.size() + 4));
    AppendId(v, "WAVE");
    Append(v, chunks.data(), chunks.size());
    return v;
}

// Reads the whole source from 0 to its end.
inline std::vector<float> ReadAll(LSoundSource& s) {
    long long end = s->GetEndSample();
    std::vector<float> out(size_t(end) * s->GetChannels());
    s->Seek(0);
    for (long long at = 0; at < end;) {
        long long n = std::min<long long>(4096, end - at);
        s->Read(out.data() + at * s->GetChannels(), n);
        at += n;
    }
    return out;
}

// `sox file -t s32 -`: sox's 32-bit view of every sample.
inline std::vector<int32_t> SoxS32(const std::string& path) {
    std::vector<uint8_t> bytes;
    EXPECT_EQ(kvtest::RunCommandBytes("sox " + kvtest::ShellQuote(path) + " -t s32 -", &bytes), 0);
    std::vector<int32_t> v(bytes.size() / 4);
    std::memcpy(v.data(), bytes.data(), v.size() * 4);
    return v;
}

inline std::string Sh(const std::string& command) {
    std::string out;
    kvtest::RunCommand(command + " 2>&1", &out);
    return out;
}

}  // namespace wavetest
