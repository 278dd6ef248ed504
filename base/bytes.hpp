#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace quillon {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

inline ByteView viewOf(std::string_view text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// Big-endian (network order) fields. Callers guarantee that `at` has room for the whole field.

inline void storeBigEndian32(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}
inline void storeBigEndian64(uint8_t* at, uint64_t value) {
    for (int i = 0; i < 8; ++i) at[i] = static_cast<uint8_t>(value >> (56 - 8 * i));
}
inline uint32_t loadBigEndian32(const uint8_t* at) {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | at[i];
    return value;
}
inline uint64_t loadBigEndian64(const uint8_t* at) {
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i) value = value << 8 | at[i];
    return value;
}
inline void storeBigEndianFloat(uint8_t* at, float value) {
    storeBigEndian32(at, std::bit_cast<uint32_t>(value));
}
inline float loadBigEndianFloat(const uint8_t* at) {
    return std::bit_cast<float>(loadBigEndian32(at));
}

}  // namespace quillon
