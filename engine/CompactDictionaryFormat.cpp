// Exports the integer encodings and the checksum of the compact dictionary format.

#include "CompactDictionaryFormat.h"

namespace lexpand::detail {
namespace {

// The CRC-32 table of the reflected polynomial 0xEDB88320, eight bytes at a
// time ("slicing by 8"): table[k][b] is the CRC of byte b followed by k zeros.
struct CrcTables {
    std::array<std::array<std::uint32_t, 256>, 8> table{};
    constexpr CrcTables() {
        for (std::uint32_t b = 0; b < 256; ++b) {
            std::uint32_t crc = b;
            for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320u : 0u);
            table[0][b] = crc;
        }
        for (std::size_t k = 1; k < 8; ++k) {
            for (std::uint32_t b = 0; b < 256; ++b)
                table[k][b] = (table[k - 1][b] >> 8) ^ table[0][table[k - 1][b] & 0xFF];
        }
    }
};
constexpr CrcTables crcTables;

std::uint32_t updateCrc(std::uint32_t crc, std::string_view bytes) {
    const auto& t = crcTables.table;
    std::size_t i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
        const std::uint64_t word = readLittleEndian(bytes, i, 8) ^ crc;
        crc = t[7][word & 0xFF] ^ t[6][(word >> 8) & 0xFF] ^ t[5][(word >> 16) & 0xFF] ^ t[4][(word >> 24) & 0xFF] ^
              t[3][(word >> 32) & 0xFF] ^ t[2][(word >> 40) & 0xFF] ^ t[1][(word >> 48) & 0xFF] ^
              t[0][(word >> 56) & 0xFF];
    }
    for (; i < bytes.size(); ++i) crc = (crc >> 8) ^ t[0][(crc ^ static_cast<unsigned char>(bytes[i])) & 0xFF];
    return crc;
}

} // namespace

void appendVarint(std::string& out, std::uint64_t value, std::size_t minimalBytes) {
    std::size_t written = 1;
    while (value >= 0x80 || written < minimalBytes) {
        out.push_back(static_cast<char>((value & 0x7F) | 0x80));
        value >>= 7;
        ++written;
    }
    out.push_back(static_cast<char>(value));
}

std::size_t varintSize(std::uint64_t value) {
    std::size_t size = 1;
    while (value >= 0x80) {
        value >>= 7;
        ++size;
    }
    return size;
}

void appendU32(std::string& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

void putU32(std::string& bytes, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

void putU64(std::string& bytes, std::size_t at, std::uint64_t value) {
    for (std::size_t i = 0; i < 8; ++i) bytes[at + i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

std::uint32_t checksumOf(std::string_view bytes, std::size_t skipAt) {
    std::uint32_t crc = 0xFFFFFFFFu;
    if (skipAt + 4 > bytes.size()) return updateCrc(crc, bytes) ^ 0xFFFFFFFFu;
    crc = updateCrc(crc, bytes.substr(0, skipAt));
    crc = updateCrc(crc, std::string_view("\0\0\0\0", 4));
    crc = updateCrc(crc, bytes.substr(skipAt + 4));
    return crc ^ 0xFFFFFFFFu;
}

} // namespace lexpand::detail
