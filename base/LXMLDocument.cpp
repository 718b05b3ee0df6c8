#include "base/LXMLDocument.h"

#include <cstdio>
#include <sstream>

#include "base/LFile.h"

namespace {

const char kRootName[] = "settings";

bool IsNameStartByte(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c >= 0x80;
}

bool IsNameByte(unsigned char c) {
    return IsNameStartByte(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

}  // namespace

LXMLDocument::LXMLDocument() { Reset(); }

void LXMLDocument::Reset() {
    document_.reset();
    document_.append_child(kRootName);
}

pugi::xml_node LXMLDocument::Root() const { return document_.document_element(); }

LXMLDocument::LoadResult LXMLDocument::LoadString(std::string_view text) {
    pugi::xml_parse_result parsed = document_.load_buffer(text.data(), text.size());
    if (!parsed || !document_.document_element()) {
        Reset();
        return LoadResult::Damaged;
    }
    return LoadResult::Loaded;
}

LXMLDocument::LoadResult LXMLDocument::LoadFile(const std::string& path) {
    std::string text;
    if (!LFile::ReadWholeFile(path, &text)) {
        Reset();
        return LoadResult::Missing;
    }
    return LoadString(text);
}

std::string LXMLDocument::ToString() const {
    std::ostringstream out;
    document_.save(out, "  ", pugi::format_default, pugi::encoding_utf8);
    return out.str();
}

bool LXMLDocument::SaveFile(const std::string& path) const {
    return LFile::ReplaceWholeFile(path, ToString());
}

std::string LXMLDocument::EncodeName(std::string_view name) {
    std::string encoded;
    for (size_t i = 0; i < name.size(); ++i) {
        auto c = static_cast<unsigned char>(name[i]);
        bool valid = i == 0 ? IsNameStartByte(c) : IsNameByte(c);
        // A literal "_x" is escaped too, so that decoding stays unambiguous.
        bool startsEscape = c == '_' && i + 1 < name.size() && name[i + 1] == 'x';
        if (valid && !startsEscape) {
            encoded += static_cast<char>(c);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "_x%02X_", c);
            encoded += escape;
        }
    }
    return encoded.empty() ? std::string("_") : encoded;
}

bool LXMLDocument::GetValue(const char* section, const char* key, std::string* value) const {
    pugi::xml_node item = Root().child(EncodeName(section).c_str()).child(EncodeName(key).c_str());
    pugi::xml_attribute attribute = item.attribute("value");
    if (!attribute) return false;
    *value = attribute.value();
    return true;
}

void LXMLDocument::SetValue(const char* section, const char* key, const char* value) {
    const std::string sectionName = EncodeName(section);
    const std::string keyName = EncodeName(key);
    pugi::xml_node root = Root();
    pugi::xml_node sectionNode = root.child(sectionName.c_str());
    if (!sectionNode) sectionNode = root.append_child(sectionName.c_str());
    pugi::xml_node item = sectionNode.child(keyName.c_str());
    if (!item) item = sectionNode.append_child(keyName.c_str());
    pugi::xml_attribute attribute = item.attribute("value");
    if (!attribute) attribute = item.append_attribute("value");
    attribute.set_value(value);
}

bool LXMLDocument::RemoveValue(const char* section, const char* key) {
    pugi::xml_node sectionNode = Root().child(EncodeName(section).c_str());
    if (!sectionNode.remove_child(EncodeName(key).c_str())) return false;
    if (!sectionNode.first_child()) Root().remove_child(sectionNode);
    return true;
}
