#pragma once

#include <vector>

#include "formats/VersionRecord.h"

/// Small program files with a version record each, made to order: what the tests read, what is
/// compared with version.dll, and what the fuzzer starts from.
namespace bkfd::samples {

struct VersionSample {
    const char* label;
    Bytes file;
    VersionStrings strings;  // the answer
    bool systemSays = true;  // false where version.dll's answer depends on what lies behind
};

// ---------------------------------------------------------------- bytes

inline void Put(Bytes& out, std::uint32_t number, std::size_t size) {
    for (; size > 0; --size, number >>= 8) out.push_back(static_cast<std::uint8_t>(number));
}
inline void PutAt(Bytes& out, std::size_t offset, std::uint32_t number, std::size_t size) {
    if (out.size() < offset + size) out.resize(offset + size);
    for (; size > 0; --size, number >>= 8) out[offset++] = static_cast<std::uint8_t>(number);
}
inline void Align(Bytes& out, std::size_t unit) {
    out.resize((out.size() + unit - 1) / unit * unit);
}

// ---------------------------------------------------------------- the record

enum class Width { Narrow, Wide };

inline Bytes TextBytes(TextView text, Width width, bool hasNul = true) {
    Bytes bytes;
    for (const char16_t unit : text) Put(bytes, unit, width == Width::Wide ? 2 : 1);
    if (hasNul) Put(bytes, 0, width == Width::Wide ? 2 : 1);
    return bytes;
}

/// One block: its header, key, value and children, each aligned to four bytes.
inline Bytes Block(TextView key, Width width, std::uint32_t type, const Bytes& value,
                   std::size_t valueLength, const std::vector<Bytes>& children) {
    Bytes block;
    Put(block, 0, 2);
    Put(block, static_cast<std::uint32_t>(valueLength), 2);
    if (width == Width::Wide) Put(block, type, 2);
    const Bytes keyBytes = TextBytes(key, width);
    block.insert(block.end(), keyBytes.begin(), keyBytes.end());
    if (!value.empty() || !children.empty()) Align(block, 4);
    block.insert(block.end(), value.begin(), value.end());
    for (const Bytes& child : children) {
        Align(block, 4);
        block.insert(block.end(), child.begin(), child.end());
    }
    PutAt(block, 0, static_cast<std::uint32_t>(block.size()), 2);
    return block;
}

inline Bytes Field(TextView name, TextView value, Width width = Width::Wide) {
    return Block(name, width, 1, TextBytes(value, width), value.size() + 1, {});
}

inline Bytes Table(TextView language, const std::vector<Bytes>& fields, Width width = Width::Wide) {
    return Block(language, width, 1, {}, 0, fields);
}
inline Bytes StringInfo(const std::vector<Bytes>& tables, Width width = Width::Wide) {
    return Block(u"StringFileInfo", width, 1, {}, 0, tables);
}
inline Bytes Translation(std::uint32_t languageAndCodePage, Width width = Width::Wide) {
    Bytes value;
    Put(value, languageAndCodePage, 4);
    return Block(u"VarFileInfo", width, 1, {}, 0, {Block(u"Translation", width, 0, value, 4, {})});
}

constexpr std::uint32_t kEnglishUnicode = 0x04B00409;

inline Bytes Record(const std::vector<Bytes>& children, Width width = Width::Wide,
                    bool hasFixedInfo = true) {
    Bytes fixedInfo;
    if (hasFixedInfo) {
        Put(fixedInfo, 0xFEEF04BD, 4);
        fixedInfo.resize(52);
    }
    return Block(u"VS_VERSION_INFO", width, 0, fixedInfo, fixedInfo.size(), children);
}
inline Bytes EnglishRecord(const std::vector<Bytes>& fields) {
    return Record({StringInfo({Table(u"040904b0", fields)}), Translation(kEnglishUnicode)});
}

// ---------------------------------------------------------------- the files

struct LanguageRecord {
    std::uint32_t language;
    Bytes record;
};

/// The resources of an image whose resource section is at address 0x1000.
inline Bytes ResourceSection(const std::vector<LanguageRecord>& records) {
    constexpr std::uint32_t kSubdirectory = 0x80000000;
    Bytes section;
    const auto directory = [&section](std::uint32_t count) {
        section.resize(section.size() + 14);
        Put(section, count, 2);
    };
    directory(1);
    Put(section, 16, 4);  // RT_VERSION
    Put(section, kSubdirectory | 24, 4);
    directory(1);
    Put(section, 1, 4);  // VS_VERSION_INFO
    Put(section, kSubdirectory | 48, 4);
    const auto count = static_cast<std::uint32_t>(records.size());
    directory(count);
    const std::uint32_t entries = 64 + 8 * count;
    for (std::uint32_t i = 0; i < count; ++i) {
        Put(section, records[i].language, 4);
        Put(section, entries + 16 * i, 4);
    }
    section.resize(entries + 16 * count);
    for (std::uint32_t i = 0; i < count; ++i) {
        Align(section, 8);
        PutAt(section, entries + 16 * i, static_cast<std::uint32_t>(0x1000 + section.size()), 4);
        PutAt(section, entries + 16 * i + 4, static_cast<std::uint32_t>(records[i].record.size()),
              4);
        section.insert(section.end(), records[i].record.begin(), records[i].record.end());
    }
    return section;
}

inline Bytes DosStub(std::size_t header) {
    Bytes file{'M', 'Z'};
    PutAt(file, 60, static_cast<std::uint32_t>(header), 4);
    return file;
}

enum class Bits { Pe32, Pe64 };

inline Bytes PeFile(const std::vector<LanguageRecord>& records, Bits bits = Bits::Pe64) {
    const bool is64 = bits == Bits::Pe64;
    const std::uint32_t optionalSize = is64 ? 240 : 224;
    const Bytes resources = ResourceSection(records);
    const auto size = static_cast<std::uint32_t>(resources.size());
    const std::uint32_t alignedSize = (size + 0x1FF) / 0x200 * 0x200;

    Bytes file = DosStub(64);
    Put(file, 0x4550, 4);
    Put(file, is64 ? 0x8664 : 0x14C, 2);
    Put(file, 1, 2);  // sections
    PutAt(file, 64 + 20, optionalSize, 2);
    Put(file, 0x2102, 2);  // executable library
    const std::size_t optional = 64 + 24;
    PutAt(file, optional, is64 ? 0x20B : 0x10B, 2);
    PutAt(file, optional + 28, 0x10000000, 4);  // image base, or its low half at 24 in PE32+
    if (is64) PutAt(file, optional + 24, 0x80000000, 4), PutAt(file, optional + 28, 1, 4);
    PutAt(file, optional + 32, 0x1000, 4);  // alignment of sections, then of the file
    Put(file, 0x200, 4);
    PutAt(file, optional + 48, 4, 2);  // subsystem version
    PutAt(file, optional + 56, 0x1000 + (size + 0xFFF) / 0x1000 * 0x1000, 4);
    Put(file, 0x200, 4);  // size of headers
    PutAt(file, optional + 68, 3, 2);
    PutAt(file, optional + (is64 ? 108 : 92), 16, 4);
    PutAt(file, optional + (is64 ? 128 : 112), 0x1000, 4);  // the resources' address and size
    Put(file, size, 4);
    file.resize(optional + optionalSize);
    file.insert(file.end(), {'.', 'r', 's', 'r', 'c', 0, 0, 0});
    for (const std::uint32_t number : {size, 0x1000U, alignedSize, 0x200U, 0U, 0U, 0U}) {
        Put(file, number, 4);
    }
    Put(file, 0x40000040, 4);
    file.resize(0x200);
    file.insert(file.end(), resources.begin(), resources.end());
    Align(file, 0x200);
    return file;
}

/// A program file with those fields in English.
inline Bytes FileWithVersion(const VersionStrings& fields) {
    std::vector<Bytes> blocks;
    for (const auto& [name, value] : fields) blocks.push_back(Field(name, value));
    return PeFile({{0x409, EnglishRecord(blocks)}});
}

inline Bytes NeFile(const Bytes& record) {
    Bytes file = DosStub(64);
    Put(file, 0x454E, 2);
    PutAt(file, 64 + 0x24, 0x40, 2);               // resource table
    Put(file, 0x40 + 2 + 8 + 12 + 8 + 12 + 2, 2);  // resident names
    file.resize(64 + 0x40);
    const auto units = static_cast<std::uint32_t>((record.size() + 15) / 16);
    Put(file, 4, 2);                                       // units of 16 bytes
    for (const std::uint32_t type : {0x8003U, 0x8010U}) {  // an icon, then the record
        Put(file, type, 2);
        Put(file, 1, 2);
        Put(file, 0, 4);
        Put(file, 16, 2);
        Put(file, units, 2);
        Put(file, 0, 2);
        Put(file, 0x8001, 2);
        Put(file, 0, 4);
    }
    Put(file, 0, 2);
    file.resize(256);
    file.insert(file.end(), record.begin(), record.end());
    Align(file, 16);
    return file;
}

// ---------------------------------------------------------------- the samples

inline std::vector<VersionSample> VersionSamples() {
    const VersionStrings both{{u"CompanyName", u"Maker \u00E9"}, {u"FileDescription", u"A file"}};
    const std::vector<Bytes> fields{Field(u"CompanyName", u"Maker \u00E9"),
                                    Field(u"FileDescription", u"A file")};
    const Bytes english = EnglishRecord(fields);
    const auto pe = [](const Bytes& record) { return PeFile({{0x409, record}}); };
    const auto one = [](TextView value) {
        return VersionStrings{{u"CompanyName", Text(value)}, {u"ProductName", u"P"}};
    };
    const Bytes product = Field(u"ProductName", u"P");
    // A file whose first field is of that type and says to be of that length.
    const auto company = [&](std::uint32_t type, const Bytes& value, std::size_t length) {
        const Bytes field = Block(u"CompanyName", Width::Wide, type, value, length, {});
        return pe(EnglishRecord({field, product}));
    };
    const Bytes maker = TextBytes(u"Maker", Width::Wide);

    std::vector<VersionSample> samples{
        {"PE32+", pe(english), both},
        {"PE32", PeFile({{0x409, english}}, Bits::Pe32), both},
        {"values' lengths in bytes", company(1, maker, 12), one(u"Maker")},
        {"a value of the binary type", company(0, maker, 12), one(u"Maker")},
        {"a length without the NUL", company(1, maker, 5), one(u"Maker")},
        {"a value without a NUL", company(1, TextBytes(u"Make", Width::Wide, false), 4),
         one(u"Make"), false},
        {"a value with an embedded NUL", company(1, TextBytes({u"Ma\0ker", 6}, Width::Wide), 7),
         one(u"Ma")},
        {"no value at all", company(1, {}, 0), one(u"")},
        {"length 0 and yet a text", company(1, maker, 0), one(u"")},
        {"names that differ in case only",
         pe(EnglishRecord(
             {Field(u"CompanyName", u"Maker"), Field(u"COMPANYNAME", u"Other"), product})),
         one(u"Maker")},
        {"the translation before the strings",
         pe(Record({Translation(kEnglishUnicode), StringInfo({Table(u"040904b0", fields)})})),
         both},
        {"no fixed information",
         pe(Record({StringInfo({Table(u"040904b0", fields)})}, Width::Wide, false)), both},
        {"the first of two tables",
         pe(Record({StringInfo({Table(u"040904b0", fields),
                                Table(u"040704b0", {Field(u"CompanyName", u"Hersteller")})}),
                    Translation(kEnglishUnicode)})),
         both},
        {"a block of length 0 ends the table",
         pe(EnglishRecord({fields[0], fields[1], Bytes(8), product})), both},
        {"English before the first language",
         PeFile({{0x407, EnglishRecord({Field(u"CompanyName", u"Hersteller")})}, {0x409, english}}),
         both},
        {"the first language where none is English",
         PeFile({{0x407, english}, {0x40C, EnglishRecord({Field(u"CompanyName", u"Auteur")})}}),
         both},
        {"no strings", pe(Record({Translation(kEnglishUnicode)})), {}},
    };
    const std::vector<Bytes> narrow{Field(u"CompanyName", u"Maker \u00E9", Width::Narrow),
                                    Field(u"FileDescription", u"A file", Width::Narrow)};
    samples.push_back(
        {"NE",
         NeFile(Record({StringInfo({Table(u"040904E4", narrow, Width::Narrow)}, Width::Narrow),
                        Translation(0x04E40409, Width::Narrow)},
                       Width::Narrow)),
         both});
    return samples;
}

}  // namespace bkfd::samples
