#include "tsinspect/pts.h"

std::uint64_t decodePTS(const char* pes) {
    const auto byte = [pes](int i) -> std::uint32_t { return static_cast<unsigned char>(pes[i]); };
    return joinPTS(byte(9) >> 1U & 0x07U, byte(10), byte(11) >> 1U, byte(12), byte(13) >> 1U);
}
