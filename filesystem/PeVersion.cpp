// The version resource of a PE file: headers, section table and resource tree read through a byte
// source, and the system's query over the version block. Every number in the file is untrusted: each
// sum is computed in 64 bits and checked against the section, the file or the block before it is used.
#include "filesystem/PeVersion.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace peversion {

MemorySource::MemorySource(const void* data, size_t size)
    : m_pData(static_cast<const unsigned char*>(data)), m_nSize(data != nullptr ? size : 0)
{
}

uint64_t MemorySource::Size() const
{
    return m_nSize;
}

bool MemorySource::ReadAt(uint64_t offset, void* buffer, size_t count) const
{
    if (offset > m_nSize || count > m_nSize - offset)
        return false;
    if (count != 0)
        std::memcpy(buffer, m_pData + offset, count);
    return true;
}

namespace {

uint16_t Le16(const unsigned char* bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

uint32_t Le32(const unsigned char* bytes)
{
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

// Header layout: the fields this parser reads, at their offsets.
constexpr uint64_t kDosHeaderSize = 64;
constexpr uint64_t kNewHeaderPointer = 0x3C;
constexpr uint64_t kFileHeaderSize = 4 + 20;  // "PE\0\0" and the COFF file header
constexpr uint32_t kOptionalMagicPe32 = 0x10B;
constexpr uint32_t kOptionalMagicPe32Plus = 0x20B;
constexpr uint32_t kResourceDirectoryIndex = 2;
constexpr uint64_t kSectionHeaderSize = 40;

// Resource tree: type 16 holds version resources, and the system asks for name 1 of it.
constexpr uint32_t kVersionResourceType = 16;
constexpr uint32_t kVersionResourceName = 1;
constexpr uint32_t kSubdirectoryFlag = 0x80000000u;
constexpr uint32_t kDirectoryHeaderSize = 16;
constexpr uint32_t kDirectoryEntrySize = 8;
constexpr uint32_t kDataEntrySize = 16;

struct Section {
    uint32_t virtualAddress;
    uint32_t span;  // bytes of the section that the file really holds
    uint32_t rawOffset;
};

// The parts of an image that resource lookups need: its section table and where its tree begins.
class Image {
public:
    explicit Image(const ByteSource& file) : m_file(file), m_fileSize(file.Size()) {}

    // Reads the headers and the section table; false for anything that is not a PE image with a
    // resource directory.
    bool Open();

    // Copies `count` bytes at `rva`; false unless they all lie in the file data of one section.
    bool ReadRva(uint64_t rva, void* buffer, size_t count) const;

    // Where `count` bytes at `rva` lie in the file; false unless they all lie in one section's data.
    bool MapRva(uint64_t rva, uint64_t count, uint64_t& offset) const;

    uint32_t ResourceRva() const { return m_resourceRva; }

private:
    const ByteSource& m_file;
    uint64_t m_fileSize;
    std::vector<Section> m_sections;
    uint32_t m_resourceRva = 0;

    bool Read(uint64_t offset, void* buffer, size_t count) const
    {
        return offset <= m_fileSize && count <= m_fileSize - offset && m_file.ReadAt(offset, buffer, count);
    }
};

bool Image::Open()
{
    unsigned char dos[kDosHeaderSize];
    if (!Read(0, dos, sizeof dos) || dos[0] != 'M' || dos[1] != 'Z')
        return false;
    const uint64_t ntOffset = Le32(dos + kNewHeaderPointer);

    // The signature and file header, then the optional header up to the end of the resource
    // directory's slot in either form (PE32+ has the longer one).
    unsigned char nt[kFileHeaderSize + 136];
    if (!Read(ntOffset, nt, kFileHeaderSize + 2) || std::memcmp(nt, "PE\0\0", 4) != 0)
        return false;
    const uint32_t sectionCount = Le16(nt + 6);
    const uint32_t optionalSize = Le16(nt + 20);
    const uint32_t magic = Le16(nt + kFileHeaderSize);
    uint32_t countField, directoriesField;
    if (magic == kOptionalMagicPe32) {
        countField = 92;
        directoriesField = 96;
    } else if (magic == kOptionalMagicPe32Plus) {
        countField = 108;
        directoriesField = 112;
    } else {
        return false;
    }
    const uint32_t resourceField = directoriesField + kResourceDirectoryIndex * 8;
    if (optionalSize < resourceField + 8 || !Read(ntOffset, nt, kFileHeaderSize + resourceField + 8))
        return false;
    const unsigned char* optional = nt + kFileHeaderSize;
    if (Le32(optional + countField) <= kResourceDirectoryIndex)
        return false;
    m_resourceRva = Le32(optional + resourceField);
    if (m_resourceRva == 0 || Le32(optional + resourceField + 4) == 0)
        return false;

    // The section table, read a few headers at a time: the count is the file's word, up to 65535.
    uint64_t tableOffset = ntOffset + kFileHeaderSize + optionalSize;
    m_sections.reserve(std::min<uint32_t>(sectionCount, 96));
    unsigned char headers[16 * kSectionHeaderSize];
    for (uint32_t first = 0; first < sectionCount; first += 16) {
        const uint32_t batch = std::min<uint32_t>(16, sectionCount - first);
        if (!Read(tableOffset, headers, batch * kSectionHeaderSize))
            return false;
        tableOffset += batch * kSectionHeaderSize;
        for (uint32_t i = 0; i < batch; ++i) {
            const unsigned char* header = headers + i * kSectionHeaderSize;
            const uint32_t virtualSize = Le32(header + 8);
            const uint32_t rawSize = Le32(header + 16);
            // A virtual size of 0 is the old linkers' way of saying "as much as the file holds";
            // past the file data the loader maps zeros, which no resource may rely on.
            const uint32_t span = virtualSize == 0 ? rawSize : std::min(virtualSize, rawSize);
            m_sections.push_back(Section{Le32(header + 12), span, Le32(header + 20)});
        }
    }
    return !m_sections.empty();
}

bool Image::MapRva(uint64_t rva, uint64_t count, uint64_t& offset) const
{
    for (const Section& section : m_sections) {
        if (rva < section.virtualAddress || rva - section.virtualAddress >= section.span)
            continue;
        // The first section that holds the address decides, as the loader lays them out in order.
        const uint64_t within = rva - section.virtualAddress;
        if (count > section.span - within)
            return false;
        offset = section.rawOffset + within;
        return offset <= m_fileSize && count <= m_fileSize - offset;
    }
    return false;
}

bool Image::ReadRva(uint64_t rva, void* buffer, size_t count) const
{
    uint64_t offset;
    return MapRva(rva, count, offset) && m_file.ReadAt(offset, buffer, count);
}

// Calls visit(name, target) for the entries of the directory at `directory` (an offset into the
// resource tree) that carry a number rather than a name, in their order, until visit returns false.
// False when the directory cannot be read.
template <typename Visit>
bool ForEachIdEntry(const Image& image, uint32_t directory, Visit visit)
{
    const uint64_t base = static_cast<uint64_t>(image.ResourceRva()) + directory;
    unsigned char header[kDirectoryHeaderSize];
    if (!image.ReadRva(base, header, sizeof header))
        return false;
    const uint32_t namedCount = Le16(header + 12);
    const uint32_t idCount = Le16(header + 14);
    // A directory whose entries do not all fit in its section is damaged, whichever entry is sought.
    uint64_t unused;
    if (!image.MapRva(base, kDirectoryHeaderSize + uint64_t{kDirectoryEntrySize} * (namedCount + idCount), unused))
        return false;
    // Named entries come first; the numbered ones follow them.
    uint64_t entry = base + kDirectoryHeaderSize + static_cast<uint64_t>(namedCount) * kDirectoryEntrySize;
    unsigned char entries[64 * kDirectoryEntrySize];
    for (uint32_t first = 0; first < idCount; first += 64) {
        const uint32_t batch = std::min<uint32_t>(64, idCount - first);
        if (!image.ReadRva(entry, entries, batch * kDirectoryEntrySize))
            return false;
        entry += batch * kDirectoryEntrySize;
        for (uint32_t i = 0; i < batch; ++i) {
            const uint32_t name = Le32(entries + i * kDirectoryEntrySize);
            if ((name & kSubdirectoryFlag) == 0 && !visit(name, Le32(entries + i * kDirectoryEntrySize + 4)))
                return true;
        }
    }
    return true;
}

// The target of the entry numbered `id` in a directory, which must be a subdirectory.
bool FindSubdirectory(const Image& image, uint32_t directory, uint32_t id, uint32_t& subdirectory)
{
    bool found = false;
    if (!ForEachIdEntry(image, directory, [&](uint32_t name, uint32_t target) {
            if (name != id)
                return true;
            found = (target & kSubdirectoryFlag) != 0;
            subdirectory = target & ~kSubdirectoryFlag;
            return false;
        }))
        return false;
    return found;
}

// The language entry to read, in the order a system with English as its language takes: neutral,
// the user's default (neutral with the default sublanguage), US English, then the first there is.
bool ChooseLanguage(const Image& image, uint32_t directory, uint32_t& target)
{
    constexpr uint32_t kPreferred[] = {0x0000, 0x0400, 0x0409};
    constexpr int kFirstThereIs = 3;
    int bestRank = kFirstThereIs + 1;
    if (!ForEachIdEntry(image, directory, [&](uint32_t language, uint32_t entryTarget) {
            int rank = kFirstThereIs;
            for (int i = 0; i < kFirstThereIs; ++i)
                if (language == kPreferred[i])
                    rank = i;
            if (rank < bestRank) {
                bestRank = rank;
                target = entryTarget;
            }
            return bestRank != 0;
        }))
        return false;
    return bestRank <= kFirstThereIs;
}

struct Location {
    uint64_t fileOffset;
    uint32_t size;  // the version block's, at most kMaxVersionBlockSize
};

// The type, name and language levels of the tree, each directory read once: the walk is three levels
// deep by construction, and a level that points back at one already on the way is refused.
bool LocateVersionResource(const ByteSource& file, Location& location)
{
    Image image(file);
    if (!image.Open())
        return false;
    const uint32_t root = 0;
    uint32_t names = 0, languages = 0, dataEntry = 0;
    if (!FindSubdirectory(image, root, kVersionResourceType, names) || names == root)
        return false;
    if (!FindSubdirectory(image, names, kVersionResourceName, languages) || languages == root ||
        languages == names)
        return false;
    if (!ChooseLanguage(image, languages, dataEntry) || (dataEntry & kSubdirectoryFlag) != 0)
        return false;

    unsigned char entry[kDataEntrySize];
    if (!image.ReadRva(static_cast<uint64_t>(image.ResourceRva()) + dataEntry, entry, sizeof entry))
        return false;
    const uint32_t dataRva = Le32(entry);
    const uint32_t dataSize = Le32(entry + 4);
    // The whole resource must lie in the file, though no more than a block's worth is ever read.
    if (dataSize == 0 || !image.MapRva(dataRva, dataSize, location.fileOffset))
        return false;
    location.size = std::min(dataSize, kMaxVersionBlockSize);
    return true;
}

// One node of a version block: its extent, its key, its value and where its children begin. Offsets
// are from the start of the block, as the block's 32-bit alignment is.
struct Node {
    uint32_t start;
    uint32_t end;        // cut at the end of the parent (or of the block, for the root)
    uint32_t step;       // from this node to its next sibling
    uint32_t keyStart;   // first unit of the key; the key ends at its 0 unit
    uint32_t keyUnits;
    uint32_t valueStart;
    uint32_t valueBytes;  // declared length, cut at the node's end
    uint32_t childrenStart;
    bool text;
};

constexpr uint32_t kNodeHeaderSize = 6;  // wLength, wValueLength, wType

uint32_t AlignUp4(uint32_t offset)
{
    return (offset + 3) & ~3u;
}

// Reads the node at `start` inside [start, limit). False when no whole header and key fit.
bool ReadNode(const unsigned char* block, uint32_t start, uint32_t limit, Node& node)
{
    if (start >= limit || limit - start < kNodeHeaderSize)
        return false;
    const uint32_t length = Le16(block + start);
    if (length < kNodeHeaderSize)
        return false;
    node.start = start;
    node.step = AlignUp4(length);
    node.end = start + std::min(length, limit - start);
    const uint32_t valueLength = Le16(block + start + 2);
    node.text = Le16(block + start + 4) == 1;

    node.keyStart = start + kNodeHeaderSize;
    uint32_t keyEnd = node.keyStart;
    while (true) {
        if (node.end - keyEnd < 2)
            return false;  // the key runs out of its node
        if (Le16(block + keyEnd) == 0)
            break;
        keyEnd += 2;
    }
    node.keyUnits = (keyEnd - node.keyStart) / 2;
    // All of these stay far below 2^32: a node is at most 0xFFFF bytes and its value twice that.
    node.valueStart = std::min(AlignUp4(keyEnd + 2), node.end);
    const uint32_t declared = valueLength * (node.text ? 2u : 1u);
    node.valueBytes = std::min(declared, node.end - node.valueStart);
    node.childrenStart = AlignUp4(node.valueStart + declared);
    return true;
}

wchar16 FoldAscii(wchar16 unit)
{
    return unit >= u'a' && unit <= u'z' ? static_cast<wchar16>(unit - (u'a' - u'A')) : unit;
}

bool KeyEquals(const unsigned char* block, const Node& node, const wchar16* component, size_t units)
{
    if (node.keyUnits != units)
        return false;
    for (size_t i = 0; i < units; ++i)
        if (FoldAscii(Le16(block + node.keyStart + 2 * i)) != FoldAscii(component[i]))
            return false;
    return true;
}

// Walks the path from the root, one component at a time among the children of the node found so far.
bool FindNode(const unsigned char* block, uint32_t blockSize, const wchar16* subBlock, Node& found)
{
    if (block == nullptr || subBlock == nullptr)
        return false;
    Node current;
    if (!ReadNode(block, 0, blockSize, current))
        return false;
    const wchar16* cursor = subBlock;
    while (true) {
        while (*cursor == u'\\')
            ++cursor;
        if (*cursor == 0)
            break;
        const wchar16* componentEnd = cursor;
        while (*componentEnd != 0 && *componentEnd != u'\\')
            ++componentEnd;
        const size_t units = static_cast<size_t>(componentEnd - cursor);

        bool matched = false;
        Node child;
        // Each step is at least the header's length, so the walk ends within the node.
        for (uint32_t offset = current.childrenStart; offset < current.end; offset += child.step) {
            if (!ReadNode(block, offset, current.end, child))
                break;
            if (KeyEquals(block, child, cursor, units)) {
                matched = true;
                break;
            }
        }
        if (!matched)
            return false;
        current = child;
        cursor = componentEnd;
    }
    found = current;
    return true;
}

void AppendHex4(std::u16string& text, uint16_t value)
{
    static const char kDigits[] = "0123456789ABCDEF";
    for (int shift = 12; shift >= 0; shift -= 4)
        text.push_back(static_cast<wchar16>(kDigits[(value >> shift) & 0xF]));
}

}  // namespace

uint32_t GetVersionInfoSize(const ByteSource& file)
{
    Location location;
    return LocateVersionResource(file, location) ? location.size : 0;
}

bool GetVersionInfo(const ByteSource& file, uint32_t size, void* block)
{
    Location location;
    if (size == 0 || block == nullptr || !LocateVersionResource(file, location))
        return false;
    const uint32_t copied = std::min(size, location.size);
    std::vector<unsigned char> bytes(copied);
    if (!file.ReadAt(location.fileOffset, bytes.data(), copied))
        return false;
    std::memcpy(block, bytes.data(), copied);
    std::memset(static_cast<unsigned char*>(block) + copied, 0, size - copied);
    return true;
}

bool QueryValue(const void* block, uint32_t blockSize, const wchar16* subBlock,
                const unsigned char*& value, uint32_t& length)
{
    const unsigned char* bytes = static_cast<const unsigned char*>(block);
    Node node;
    if (!FindNode(bytes, blockSize, subBlock, node))
        return false;
    value = bytes + node.valueStart;
    length = node.text ? node.valueBytes / 2 : node.valueBytes;
    return true;
}

bool QueryTranslation(const void* block, uint32_t blockSize, uint16_t& language, uint16_t& codePage)
{
    const unsigned char* bytes = static_cast<const unsigned char*>(block);
    Node node;
    if (!FindNode(bytes, blockSize, u"\\VarFileInfo\\Translation", node) || node.valueBytes < 4)
        return false;
    language = Le16(bytes + node.valueStart);
    codePage = Le16(bytes + node.valueStart + 2);
    return true;
}

bool QueryText(const void* block, uint32_t blockSize, const wchar16* subBlock, std::u16string& text)
{
    const unsigned char* bytes = static_cast<const unsigned char*>(block);
    Node node;
    if (!FindNode(bytes, blockSize, subBlock, node))
        return false;
    // The system hands its caller a 0-terminated string at the value's place, whatever the declared
    // length says (compilers disagree on its unit): so the text is read up to its 0, within the node.
    std::u16string result;
    for (uint32_t offset = node.valueStart; node.end - offset >= 2; offset += 2) {
        const wchar16 unit = Le16(bytes + offset);
        if (unit == 0)
            break;
        result.push_back(unit);
    }
    text = std::move(result);
    return true;
}

bool ReadFileVersion(const ByteSource& file, std::u16string& version)
{
    const uint32_t size = GetVersionInfoSize(file);
    if (size == 0)
        return false;
    std::vector<unsigned char> block(size);
    uint16_t language, codePage;
    if (!GetVersionInfo(file, size, block.data()) || !QueryTranslation(block.data(), size, language, codePage))
        return false;
    std::u16string path = u"\\StringFileInfo\\";
    AppendHex4(path, language);
    AppendHex4(path, codePage);
    path += u"\\FileVersion";
    return QueryText(block.data(), size, path.c_str(), version);
}

}  // namespace peversion
