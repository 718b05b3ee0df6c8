#pragma once
// LXMLDocument: a small XML document over pugixml, with the two-level shape
// of the XML settings files:
//
//   <settings>
//     <Section>
//       <Key value="text"/>
//     </Section>
//   </settings>
//
// Section and key names that aren't valid XML names are written with the
// escape _xHH_ for each offending byte, so any name round-trips.
#include <pugixml.hpp>

#include <string>
#include <string_view>

class LXMLDocument {
public:
    enum class LoadResult { Loaded, Missing, Damaged };

    LXMLDocument();

    // A missing or damaged file leaves an empty document with a root element.
    LoadResult LoadFile(const std::string& path);
    LoadResult LoadString(std::string_view text);
    // Replaces the file whole (LFileReplace); false leaves the old file intact.
    bool SaveFile(const std::string& path) const;
    std::string ToString() const;

    bool GetValue(const char* section, const char* key, std::string* value) const;
    void SetValue(const char* section, const char* key, const char* value);
    bool RemoveValue(const char* section, const char* key);

    // The root element, for readers that walk the sections themselves.
    pugi::xml_node Root() const;
    pugi::xml_document& Document() { return document_; }

    // The element name under which a section or key is stored.
    static std::string EncodeName(std::string_view name);

private:
    void Reset();
    pugi::xml_document document_;
};
