#pragma once
// The tag vocabulary of Wave files: which keys a Wave file can hold, how keys
// map to `LIST INFO` sub-chunk ids, the fixed layouts of the `bext` and `cart`
// blocks, and the hook through which an ID3v2 coder handles the `id3 ` chunk.
#include "formats/tags/LFileTagDataAudio.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace wavtags {

// `LIST INFO` sub-chunk id for a key, or nullptr; and back (empty if unknown).
const char* InfoIdForKey(const std::string& key);
std::string KeyForInfoId(const uint8_t* id);

// One of the 49 keys a Wave file can store.
bool TagFieldIsValid(const std::string& key);

constexpr size_t kBextBlockSize = 602;
constexpr size_t kCartBlockSize = 2048;
constexpr int kCodePageUTF8 = 65001;

struct TextField {
    const char* key;
    uint16_t offset;
    uint16_t size;
};
struct NumberField {
    const char* key;
    uint16_t offset;
};

// Text fields of the `bext` block (numbers and UMID are handled apart).
extern const TextField kBextText[5];
// Text and 32-bit number fields of the `cart` block, usage codes included.
extern const TextField kCartText[23];
extern const NumberField kCartNumbers[9];
constexpr uint16_t kCartUsageFirst = 684;  // the 8 usage fields, 8 bytes apart

// Text in `codePage` (a Windows code page number) as UTF-8; unchanged for 65001
// or when the code page is unknown.
std::string ToUTF8(const std::string& text, int codePage);

}  // namespace wavtags

// The `id3 ` chunk is coded elsewhere; until a coder registers, the chunk is
// neither read nor replaced but left in the file as it is.
struct LWavId3Hooks {
    // Adds the tags of an ID3v2 body to `tags`.
    using Reader = void (*)(const uint8_t* body, size_t size, LFileTagDataAudio& tags);
    // The ID3v2 form of `tags`; false when it can't be made.
    using Writer = bool (*)(const LFileTagDataAudio& tags, std::vector<uint8_t>& body);

    Reader read = nullptr;
    Writer write = nullptr;

    static void Set(const LWavId3Hooks& hooks);
    static LWavId3Hooks Get();
};
