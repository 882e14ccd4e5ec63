// The layout of a compact dictionary file (".lxd"), shared by the writer and
// the reader: the header fields, the arc byte, variable-length integers and the
// checksum. docs/lxd-format.md describes the same layout for other readers.
//
// Every integer is little-endian. A file is a header of headerSize bytes and
// five sections: symbols, strings, analyses, lists and the automaton.

#ifndef LEXPAND_ENGINE_COMPACTDICTIONARYFORMAT_H
#define LEXPAND_ENGINE_COMPACTDICTIONARYFORMAT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lexpand::detail {

inline constexpr std::array<unsigned char, 8> lxdMagic = {0x89, 'L', 'X', 'D', '\r', '\n', 0x1A, '\n'};
inline constexpr std::uint32_t lxdVersion = 1;
inline constexpr std::size_t lxdHeaderSize = 128;

// Byte offsets of the header fields.
enum LxdField : std::size_t {
    magicAt = 0,           // 8 bytes
    versionAt = 8,         // u32
    checksumAt = 12,       // u32: CRC-32 of the file with these 4 bytes as zero
    fileSizeAt = 16,       // u64
    formCountAt = 24,      // u64: distinct word forms
    pairCountAt = 32,      // u64: (form, analysis) pairs
    analysisCountAt = 40,  // u32
    listCountAt = 44,      // u32
    stateCountAt = 48,     // u32
    arcCountAt = 52,       // u32
    symbolCountAt = 56,    // u32
    longestFormAt = 60,    // u32: scalars of the longest form
    rootAt = 64,           // u32: offset of the root state in the automaton
    referenceWidthAt = 68, // u32: bytes of each string reference of an analysis (1 to 4)
    sectionsAt = 72,       // 5 x (u32 offset, u32 size) from the start of the file
    reservedAt = 112,      // 16 bytes of zero
};

enum LxdSection : std::size_t { symbolsSection, stringsSection, analysesSection, listsSection, automatonSection };
inline constexpr std::size_t lxdSectionCount = 5;

// ---- Arcs -------------------------------------------------------------------
//
// An arc begins with one byte that holds its kind and, for the 41 most
// frequent symbols, its label: byte = label * 6 + kind, with kind
//   0 / 1: more arcs follow; the target is not / is final;
//   2 / 3: the last arc of its state; target not / is final;
//   4 / 5: the last arc, whose target state follows it immediately; not / final.
// A label byte part of 41 (escapedLabel) means a varint follows with the
// symbol minus 41. Unless the kind says that the target follows, a varint with
// the target's offset in the automaton section comes next. Bytes 252 to 255
// are not arcs.

inline constexpr std::uint32_t directLabels = 41;
inline constexpr std::uint32_t escapedLabel = 41;
inline constexpr unsigned arcKinds = 6;
inline constexpr unsigned firstInvalidArcByte = (escapedLabel + 1) * arcKinds; // 252

struct ArcByte {
    std::uint8_t label = 0; // 0..40, or escapedLabel
    bool last = false;
    bool targetFollows = false;
    bool targetFinal = false;
};

constexpr ArcByte decodeArcByte(unsigned byte) {
    const unsigned kind = byte % arcKinds;
    return ArcByte{static_cast<std::uint8_t>(byte / arcKinds), kind >= 2, kind >= 4, (kind & 1) != 0};
}

constexpr std::uint8_t encodeArcByte(std::uint32_t labelPart, bool last, bool targetFollows, bool targetFinal) {
    const unsigned kind = (targetFollows ? 4u : last ? 2u : 0u) + (targetFinal ? 1u : 0u);
    return static_cast<std::uint8_t>(labelPart * arcKinds + kind);
}

// A final state begins with varint (list offset * 2 + hasArcs); a state that
// is not final always has arcs.

// ---- Integers -------------------------------------------------------------

// Appends `value` as a varint: 7 bits per byte, low bits first, the high bit
// set on every byte but the last; at least `minimalBytes` bytes (padding with
// continuation bytes), so that a field may keep a width fixed beforehand.
void appendVarint(std::string& out, std::uint64_t value, std::size_t minimalBytes = 1);

// The number of bytes appendVarint writes for `value` without padding.
std::size_t varintSize(std::uint64_t value);

// Decodes the varint at `position` in `bytes`, at most 5 bytes (a u32), and
// advances `position` past it. Absent when it runs past the end or does not
// fit 32 bits. Reads nothing outside `bytes`.
inline std::optional<std::uint32_t> readVarint(std::string_view bytes, std::size_t& position) {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift < 35; shift += 7) {
        if (position >= bytes.size()) return std::nullopt;
        const auto byte = static_cast<unsigned char>(bytes[position++]);
        value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
        if ((byte & 0x80) == 0) {
            if (value > UINT32_MAX) return std::nullopt;
            return static_cast<std::uint32_t>(value);
        }
    }
    return std::nullopt;
}

void appendU32(std::string& out, std::uint32_t value);
void putU32(std::string& bytes, std::size_t at, std::uint32_t value);
void putU64(std::string& bytes, std::size_t at, std::uint64_t value);

// The little-endian integer of `width` bytes (1 to 8) at `at`; the caller
// guarantees that they lie inside `bytes`.
inline std::uint64_t readLittleEndian(std::string_view bytes, std::size_t at, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = width; i > 0; --i) value = (value << 8) | static_cast<unsigned char>(bytes[at + i - 1]);
    return value;
}

// ---- Arcs, decoded ------------------------------------------------------------

struct DecodedArc {
    std::uint32_t symbol = 0;
    std::uint32_t target = 0; // offset in the automaton section
    bool targetFinal = false;
    bool last = false;
};

inline constexpr std::array<ArcByte, 256> arcByteTable = [] {
    std::array<ArcByte, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte) table[byte] = decodeArcByte(byte);
    return table;
}();

// Decodes the arc at `position` of the automaton section and moves past it.
// False when it does not lie inside the section or its byte is not an arc.
inline bool decodeArc(std::string_view automaton, std::size_t& position, DecodedArc& arc) {
    if (position >= automaton.size()) return false;
    const auto byte = static_cast<unsigned char>(automaton[position++]);
    if (byte >= firstInvalidArcByte) return false;
    const ArcByte kind = arcByteTable[byte];
    arc.symbol = kind.label;
    arc.last = kind.last;
    arc.targetFinal = kind.targetFinal;
    if (kind.label == escapedLabel) {
        const std::optional<std::uint32_t> extra = readVarint(automaton, position);
        if (!extra || *extra > UINT32_MAX - directLabels) return false;
        arc.symbol = directLabels + *extra;
    }
    if (kind.targetFollows) {
        arc.target = static_cast<std::uint32_t>(position);
        return true;
    }
    const std::optional<std::uint32_t> target = readVarint(automaton, position);
    if (!target) return false;
    arc.target = *target;
    return true;
}

// ---- Checksum ---------------------------------------------------------------

// CRC-32 (the polynomial of zlib and PNG) of `bytes`, with the four bytes at
// `skipAt` read as zero (the checksum field itself). Linear in the size.
std::uint32_t checksumOf(std::string_view bytes, std::size_t skipAt);

} // namespace lexpand::detail

#endif // LEXPAND_ENGINE_COMPACTDICTIONARYFORMAT_H
