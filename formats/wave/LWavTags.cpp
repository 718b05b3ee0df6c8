#include "formats/wave/LWavTags.h"

#include <iconv.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <mutex>

namespace wavtags {
namespace {

struct InfoKey {
    char id[5];
    const char* key;
};

constexpr InfoKey kInfoKeys[] = {
    {"INAM", "TITLE"},   {"IART", "ARTIST"},      {"ISTR", "ALBUMARTIST"}, {"IPRD", "ALBUM"},
    {"ICRD", "DATE"},    {"ICMT", "COMMENT"},     {"ITRK", "TRACKNUMBER"}, {"IGNR", "GENRE"},
    {"ICOP", "COPYRIGHT"}, {"ISRC", "ENCODEDBY"}, {"ISFT", "ENCODER"},     {"ISBJ", "CATEGORY"},
    // The BWF version goes into `LIST INFO` too, under the id of its chunk.
    {"bext", "BWFVERSION"},
};

// The 49 names a Wave file can hold (CATEGORY stands twice, as it always has).
constexpr const char* kWavTags[] = {
    "ALBUM", "ALBUMARTIST", "ARTIST", "CODINGHISTORY", "REFERENCE", "ORIGINATOR", "TIMEREFHIGH", "TIMEREFLOW",
    "UMID", "BWFVERSION", "CLASSIFICATION", "CLIENTID", "CUTID", "ENDDATE", "ENDTIME", "LEVELREFERENCE", "OUTCUE",
    "POSTTIMER1USAGE", "POSTTIMER1VALUE", "POSTTIMER2USAGE", "POSTTIMER2VALUE", "POSTTIMER3USAGE",
    "POSTTIMER3VALUE", "POSTTIMER4USAGE", "POSTTIMER4VALUE", "POSTTIMER5USAGE", "POSTTIMER5VALUE",
    "POSTTIMER6USAGE", "POSTTIMER6VALUE", "POSTTIMER7USAGE", "POSTTIMER7VALUE", "POSTTIMER8USAGE",
    "POSTTIMER8VALUE", "PRODUCERAPPVERSION", "TAGTEXT", "USERDEF", "CARTVERSION", "CATEGORY", "CATEGORY",
    "COMMENT", "COPYRIGHT", "DATE", "ENCODER", "GENRE", "ENCODEDBY", "TIME", "TITLE", "TRACKNUMBER", "URL",
};
static_assert(std::size(kWavTags) == 49);

// iconv's name for a Windows code page number.
std::string IconvName(int codePage) {
    switch (codePage) {
        case 1200: return "UTF-16LE";
        case 1201: return "UTF-16BE";
        case 20127: return "ASCII";
        case 10000: return "MACINTOSH";
        case 20866: return "KOI8-R";
        case 21866: return "KOI8-U";
        case 932: return "CP932";
        case 936: return "GBK";
        case 949: return "CP949";
        case 950: return "BIG5";
        default:
            if (codePage >= 28591 && codePage <= 28605) return "ISO-8859-" + std::to_string(codePage - 28590);
            return "CP" + std::to_string(codePage);
    }
}

}  // namespace

const TextField kBextText[5] = {
    {"COMMENT", 0, 256}, {"ORIGINATOR", 256, 32}, {"REFERENCE", 288, 32}, {"DATE", 320, 10}, {"TIME", 330, 8},
};

const TextField kCartText[23] = {
    {"CARTVERSION", 0, 4},         {"TITLE", 4, 64},          {"ARTIST", 68, 64},
    {"CUTID", 132, 64},            {"CLIENTID", 196, 64},     {"CATEGORY", 260, 64},
    {"CLASSIFICATION", 324, 64},   {"OUTCUE", 388, 64},       {"DATE", 452, 10},
    {"TIME", 462, 8},              {"ENDDATE", 470, 10},      {"ENDTIME", 480, 8},
    {"ENCODEDBY", 488, 64},        {"PRODUCERAPPVERSION", 552, 64}, {"USERDEF", 616, 64},
    {"POSTTIMER1USAGE", 684, 4},   {"POSTTIMER2USAGE", 692, 4}, {"POSTTIMER3USAGE", 700, 4},
    {"POSTTIMER4USAGE", 708, 4},   {"POSTTIMER5USAGE", 716, 4}, {"POSTTIMER6USAGE", 724, 4},
    {"POSTTIMER7USAGE", 732, 4},   {"POSTTIMER8USAGE", 740, 4},
};
// URL is read apart: it is the one text field of 1024 bytes.

const NumberField kCartNumbers[9] = {
    {"LEVELREFERENCE", 680},  {"POSTTIMER1VALUE", 688}, {"POSTTIMER2VALUE", 696},
    {"POSTTIMER3VALUE", 704}, {"POSTTIMER4VALUE", 712}, {"POSTTIMER5VALUE", 720},
    {"POSTTIMER6VALUE", 728}, {"POSTTIMER7VALUE", 736}, {"POSTTIMER8VALUE", 744},
};

const char* InfoIdForKey(const std::string& key) {
    for (const InfoKey& k : kInfoKeys) {
        if (key == k.key) return k.id;
    }
    return nullptr;
}

std::string KeyForInfoId(const uint8_t* id) {
    for (const InfoKey& k : kInfoKeys) {
        if (std::memcmp(id, k.id, 4) == 0) return k.key;
    }
    return {};
}

bool TagFieldIsValid(const std::string& key) {
    return std::any_of(std::begin(kWavTags), std::end(kWavTags), [&](const char* k) { return key == k; });
}

std::string ToUTF8(const std::string& text, int codePage) {
    if (codePage == kCodePageUTF8 || text.empty()) return text;
    iconv_t cd = iconv_open("UTF-8", IconvName(codePage).c_str());
    if (cd == reinterpret_cast<iconv_t>(-1)) return text;
    std::string out(text.size() * 4 + 16, '\0');
    char* in = const_cast<char*>(text.data());
    size_t inLeft = text.size();
    char* dst = out.data();
    size_t outLeft = out.size();
    size_t done = iconv(cd, &in, &inLeft, &dst, &outLeft);
    iconv_close(cd);
    if (done == static_cast<size_t>(-1)) return text;
    out.resize(out.size() - outLeft);
    return out;
}

}  // namespace wavtags

namespace {
std::mutex gId3Mutex;
LWavId3Hooks gId3Hooks;
}  // namespace

void LWavId3Hooks::Set(const LWavId3Hooks& hooks) {
    std::lock_guard lock(gId3Mutex);
    gId3Hooks = hooks;
}

LWavId3Hooks LWavId3Hooks::Get() {
    std::lock_guard lock(gId3Mutex);
    return gId3Hooks;
}
