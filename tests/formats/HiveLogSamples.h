#pragma once

#include "formats/Marvin32.h"
#include "testing/HiveMaker.h"

/// Hives that differ in one value, and logs that lead from one to another.
namespace bkfd::samples {

/// A hive with one value; all hives of one length.
inline Bytes Version(std::uint8_t number) {
    return HiveMaker({u"r", {{u"version", 4, {number, 0, 0, 0}}}, {}, "lh", 0, {}}).File();
}

inline void SetSequences(Bytes& file, std::uint32_t first, std::uint32_t second) {
    Write32(file, 4, first);
    Write32(file, 8, second);
    SealHive(file);
}

/// The base block of a log whose first write had that number.
inline Bytes LogHead(std::uint32_t type, std::uint32_t sequence) {
    Bytes head = Version(0);
    head.resize(hive::kBaseBlockUsed);
    Write32(head, 28, type);
    SetSequences(head, sequence, sequence);
    return head;
}

/// A log of the old form that has all pages of a version.
inline Bytes OldLog(std::uint32_t sequence, std::uint8_t version) {
    Bytes log = LogHead(1, sequence);
    const Bytes hive = Version(version);
    for (const char unit : std::string_view("DIRT")) log.push_back(static_cast<std::uint8_t>(unit));
    log.insert(log.end(), (hive.size() - hive::kBaseBlockSize) / 512 / 8, 0xFF);
    log.resize(1024);
    log.insert(log.end(), hive.begin() + hive::kBaseBlockSize, hive.end());
    return log;
}

inline void PutHash(Bytes& entry, std::size_t at, std::uint64_t hash) {
    Write32(entry, at, static_cast<std::uint32_t>(hash));
    Write32(entry, at + 4, static_cast<std::uint32_t>(hash >> 32));
}

/// A log of the new form with an entry for each version, numbered from `sequence` on.
inline Bytes NewLog(std::uint32_t sequence, const std::vector<std::uint8_t>& versions) {
    Bytes log = LogHead(6, sequence);
    for (const std::uint8_t version : versions) {
        const Bytes hive = Version(version);
        const auto bins = static_cast<std::uint32_t>(hive.size() - hive::kBaseBlockSize);
        Bytes entry(48);
        entry.insert(entry.end(), hive.begin() + hive::kBaseBlockSize, hive.end());
        entry.resize((entry.size() + 511) / 512 * 512);
        const std::uint32_t fields[] = {
            0x454C7648, static_cast<std::uint32_t>(entry.size()), 0, sequence++, bins, 1};
        for (std::size_t i = 0; i < std::size(fields); ++i) Write32(entry, 4 * i, fields[i]);
        Write32(entry, 44, bins);
        PutHash(entry, 24, HiveLogHash(std::span(entry).subspan(40)));
        PutHash(entry, 32, HiveLogHash(std::span(entry).first(32)));
        log.insert(log.end(), entry.begin(), entry.end());
    }
    return log;
}

}  // namespace bkfd::samples
