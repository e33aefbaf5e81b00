// Builds small PE images and version blocks byte by byte, with the offsets of every field a test may
// want to damage. Used by the version resource tests and the fuzz target; needs nothing but the C++ library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace pe_test {

using Bytes = std::vector<unsigned char>;

inline void Put16(Bytes& bytes, size_t offset, uint32_t value)
{
    bytes.at(offset) = static_cast<unsigned char>(value);
    bytes.at(offset + 1) = static_cast<unsigned char>(value >> 8);
}

inline void Put32(Bytes& bytes, size_t offset, uint32_t value)
{
    Put16(bytes, offset, value & 0xFFFF);
    Put16(bytes, offset + 2, value >> 16);
}

inline void PadTo4(Bytes& bytes)
{
    while (bytes.size() % 4 != 0)
        bytes.push_back(0);
}

// One node of a version block. `declaredValueLength` is written as wValueLength as it is, so a test
// can lie about it; the builders below fill it as a resource compiler does.
struct VersionNode {
    std::u16string key;
    uint16_t type = 1;  // 1 text, 0 binary
    Bytes value;
    uint16_t declaredValueLength = 0;
    std::vector<VersionNode> children;
    int lengthOverride = -1;  // written as wLength instead of the true length when not -1
};

// Appends a node at a 4-aligned position of `out` (alignment counts from the block's start).
inline void AppendNode(Bytes& out, const VersionNode& node)
{
    const size_t start = out.size();
    out.resize(start + 6);
    for (char16_t unit : node.key) {
        out.push_back(static_cast<unsigned char>(unit));
        out.push_back(static_cast<unsigned char>(unit >> 8));
    }
    out.push_back(0);
    out.push_back(0);
    PadTo4(out);
    out.insert(out.end(), node.value.begin(), node.value.end());
    for (size_t i = 0; i < node.children.size(); ++i) {
        PadTo4(out);
        AppendNode(out, node.children[i]);
    }
    const size_t length = out.size() - start;
    Put16(out, start, node.lengthOverride >= 0 ? static_cast<uint32_t>(node.lengthOverride)
                                                : static_cast<uint32_t>(length));
    Put16(out, start + 2, node.declaredValueLength);
    Put16(out, start + 4, node.type);
}

inline Bytes Serialize(const VersionNode& root)
{
    Bytes out;
    AppendNode(out, root);
    return out;
}

// A String node as resource compilers write it: the text and its 0 unit, counted in units.
inline VersionNode Text(const std::u16string& key, const std::u16string& text)
{
    VersionNode node{key, 1, {}, static_cast<uint16_t>(text.size() + 1), {}, -1};
    for (char16_t unit : text) {
        node.value.push_back(static_cast<unsigned char>(unit));
        node.value.push_back(static_cast<unsigned char>(unit >> 8));
    }
    node.value.push_back(0);
    node.value.push_back(0);
    return node;
}

inline VersionNode Block(const std::u16string& key, std::vector<VersionNode> children)
{
    return VersionNode{key, 1, {}, 0, std::move(children), -1};
}

// The Translation value: pairs of language and code page.
inline VersionNode Translation(const std::vector<std::pair<uint16_t, uint16_t>>& pairs)
{
    VersionNode node{u"Translation", 0, {}, 0, {}, -1};
    for (const auto& [language, codePage] : pairs) {
        node.value.resize(node.value.size() + 4);
        Put16(node.value, node.value.size() - 4, language);
        Put16(node.value, node.value.size() - 2, codePage);
    }
    node.declaredValueLength = static_cast<uint16_t>(node.value.size());
    return node;
}

// The root, with the 52-byte fixed record (signature, structure version, file version) or without it.
inline VersionNode Root(bool withFixedRecord, std::vector<VersionNode> children)
{
    VersionNode root{u"VS_VERSION_INFO", 0, {}, 0, std::move(children), -1};
    if (withFixedRecord) {
        root.value.assign(52, 0);
        Put32(root.value, 0, 0xFEEF04BD);
        Put32(root.value, 4, 0x00010000);
        Put32(root.value, 8, 0x00010002);
        root.declaredValueLength = 52;
    }
    return root;
}

// The usual block: one string table per row, each with one "FileVersion", and the translation pairs.
struct Table {
    std::u16string key;
    std::u16string fileVersion;
};
inline Bytes StandardBlock(const std::vector<Table>& tables,
                           const std::vector<std::pair<uint16_t, uint16_t>>& translation)
{
    std::vector<VersionNode> stringTables;
    for (const Table& table : tables)
        stringTables.push_back(Block(table.key, {Text(u"CompanyName", u"Example"),
                                                 Text(u"FileVersion", table.fileVersion)}));
    return Serialize(Root(true, {Block(u"StringFileInfo", stringTables),
                                 Block(u"VarFileInfo", {Translation(translation)})}));
}

// A resource, by type, name and language numbers.
struct Resource {
    uint32_t type, name, language;
    Bytes data;
};

// An image with one section, ".rsrc", holding the resource tree and the data. Offsets are file
// offsets; those of the tree's parts belong to the first resource of type 16 and name 1.
struct PeImage {
    Bytes bytes;
    size_t ntOffset = 0;           // "PE\0\0"
    size_t optionalOffset = 0;     // optional header
    size_t resourceSlot = 0;       // the resource directory's RVA and size in the optional header
    size_t sectionHeader = 0;      // the section's 40-byte header
    size_t sectionRaw = 0;         // where the section's data begins in the file
    uint32_t sectionRva = 0;
    size_t typeEntry = 0;          // the root's entry for type 16
    size_t nameDirectory = 0;
    size_t nameEntry = 0;          // the entry for name 1
    size_t languageDirectory = 0;
    size_t languageEntry = 0;      // the entry of the first language
    size_t dataEntry = 0;          // the 16-byte data entry
    size_t data = 0;               // the resource's bytes
    size_t dataEnd = 0;
};

struct PeOptions {
    bool pe32Plus = true;
    uint32_t sectionRva = 0x1000;
    uint32_t sectionRaw = 0x200;   // file offset of the section's data
};

inline PeImage BuildPe(const std::vector<Resource>& resources, const PeOptions& options = {})
{
    // The tree: type -> name -> language -> data, numbers in ascending order as linkers sort them.
    std::map<uint32_t, std::map<uint32_t, std::map<uint32_t, const Bytes*>>> tree;
    for (const Resource& resource : resources)
        tree[resource.type][resource.name][resource.language] = &resource.data;

    PeImage image;
    Bytes section;
    auto directory = [&section](size_t entries) {
        const size_t at = section.size();
        section.resize(at + 16 + 8 * entries);
        Put16(section, at + 14, static_cast<uint32_t>(entries));
        return at;
    };
    struct Pending {
        size_t entryField;  // where the data entry's offset goes
        const Bytes* data;
        bool isVersion;
    };
    std::vector<Pending> leaves;
    size_t typeEntry = 0, nameDirectory = 0, nameEntry = 0, languageDirectory = 0, languageEntry = 0;
    bool versionSeen = false;

    const size_t root = directory(tree.size());
    size_t typeIndex = 0;
    for (const auto& [type, names] : tree) {
        const size_t typeField = root + 16 + 8 * typeIndex++;
        const size_t namesAt = directory(names.size());
        Put32(section, typeField, type);
        Put32(section, typeField + 4, 0x80000000u | static_cast<uint32_t>(namesAt));
        size_t nameIndex = 0;
        for (const auto& [name, languages] : names) {
            const size_t nameField = namesAt + 16 + 8 * nameIndex++;
            const size_t languagesAt = directory(languages.size());
            Put32(section, nameField, name);
            Put32(section, nameField + 4, 0x80000000u | static_cast<uint32_t>(languagesAt));
            size_t languageIndex = 0;
            for (const auto& [language, data] : languages) {
                const size_t languageField = languagesAt + 16 + 8 * languageIndex++;
                Put32(section, languageField, language);
                const bool isVersion = type == 16 && name == 1 && !versionSeen;
                if (isVersion) {
                    versionSeen = true;
                    typeEntry = typeField;
                    nameDirectory = namesAt;
                    nameEntry = nameField;
                    languageDirectory = languagesAt;
                    languageEntry = languageField;
                }
                leaves.push_back(Pending{languageField + 4, data, isVersion});
            }
        }
    }
    std::vector<size_t> dataEntries;
    for (Pending& leaf : leaves) {
        const size_t at = section.size();
        section.resize(at + 16);
        Put32(section, leaf.entryField, static_cast<uint32_t>(at));
        dataEntries.push_back(at);
    }
    size_t versionDataEntry = 0, versionData = 0, versionDataEnd = 0;
    for (size_t i = 0; i < leaves.size(); ++i) {
        while (section.size() % 8 != 0)
            section.push_back(0);
        const size_t at = section.size();
        section.insert(section.end(), leaves[i].data->begin(), leaves[i].data->end());
        Put32(section, dataEntries[i], options.sectionRva + static_cast<uint32_t>(at));
        Put32(section, dataEntries[i] + 4, static_cast<uint32_t>(leaves[i].data->size()));
        if (leaves[i].isVersion) {
            versionDataEntry = dataEntries[i];
            versionData = at;
            versionDataEnd = section.size();
        }
    }
    const size_t virtualSize = section.size();
    while (section.size() % 0x200 != 0)
        section.push_back(0);

    // Headers: DOS header, signature, file header, optional header, one section header.
    Bytes& bytes = image.bytes;
    bytes.assign(options.sectionRaw, 0);
    bytes[0] = 'M';
    bytes[1] = 'Z';
    image.ntOffset = 0x40;
    Put32(bytes, 0x3C, static_cast<uint32_t>(image.ntOffset));
    bytes[0x40] = 'P';
    bytes[0x41] = 'E';
    const size_t fileHeader = image.ntOffset + 4;
    const uint32_t optionalSize = options.pe32Plus ? 0xF0 : 0xE0;
    Put16(bytes, fileHeader, options.pe32Plus ? 0x8664 : 0x14C);
    Put16(bytes, fileHeader + 2, 1);
    Put16(bytes, fileHeader + 16, optionalSize);
    Put16(bytes, fileHeader + 18, 0x2022);
    image.optionalOffset = fileHeader + 20;
    Put16(bytes, image.optionalOffset, options.pe32Plus ? 0x20B : 0x10B);
    Put32(bytes, image.optionalOffset + (options.pe32Plus ? 108 : 92), 16);
    image.resourceSlot = image.optionalOffset + (options.pe32Plus ? 112 : 96) + 2 * 8;
    Put32(bytes, image.resourceSlot, options.sectionRva);
    Put32(bytes, image.resourceSlot + 4, static_cast<uint32_t>(virtualSize));
    image.sectionHeader = image.optionalOffset + optionalSize;
    std::copy_n(".rsrc", 5, bytes.begin() + static_cast<std::ptrdiff_t>(image.sectionHeader));
    Put32(bytes, image.sectionHeader + 8, static_cast<uint32_t>(virtualSize));
    Put32(bytes, image.sectionHeader + 12, options.sectionRva);
    Put32(bytes, image.sectionHeader + 16, static_cast<uint32_t>(section.size()));
    Put32(bytes, image.sectionHeader + 20, options.sectionRaw);
    Put32(bytes, image.sectionHeader + 36, 0x40000040);

    image.sectionRaw = options.sectionRaw;
    image.sectionRva = options.sectionRva;
    bytes.insert(bytes.end(), section.begin(), section.end());
    const size_t raw = options.sectionRaw;
    image.typeEntry = raw + typeEntry;
    image.nameDirectory = raw + nameDirectory;
    image.nameEntry = raw + nameEntry;
    image.languageDirectory = raw + languageDirectory;
    image.languageEntry = raw + languageEntry;
    image.dataEntry = raw + versionDataEntry;
    image.data = raw + versionData;
    image.dataEnd = raw + versionDataEnd;
    return image;
}

// The usual image: one version resource, language US English, with the given block.
inline PeImage VersionImage(const Bytes& block, const PeOptions& options = {})
{
    return BuildPe({Resource{16, 1, 0x409, block}}, options);
}

}  // namespace pe_test
