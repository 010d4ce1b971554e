#pragma once

#include "tsinspect/ts.h"

#include <cstdint>

/// Ticks a second of the clock that timestamps count (ISO/IEC 13818-1, 2.4.3.7).
inline constexpr std::uint32_t ticks_per_second = 90000;

/// B-frames make timestamps fall by this many ticks at most; a deeper fall is a jump.
inline constexpr std::int64_t longest_fall = std::int64_t{2} * ticks_per_second;

/// Timestamps count modulo 2^33.
inline constexpr std::uint64_t pts_modulus = std::uint64_t{1} << 33U;

/// The difference from timestamp `from` to `to` in ticks, negative where `to` is earlier. Since the
/// clock wraps, there are two ways from one to the other: the shorter one is taken.
constexpr std::int64_t ticksBetween(std::uint64_t from, std::uint64_t to) {
    const std::uint64_t forward = (to - from) % pts_modulus;
    return static_cast<std::int64_t>(forward) -
           (forward < pts_modulus / 2 ? 0 : static_cast<std::int64_t>(pts_modulus));
}

/// Joins the five pieces of a 33-bit timestamp, named by the bits of the timestamp that they hold
/// (ISO/IEC 13818-1, 2.4.3.6), into 90 kHz ticks, 0 to 2^33 - 1.
constexpr std::uint64_t joinPTS(std::uint64_t bits_32_30, std::uint32_t bits_29_22,
                                std::uint32_t bits_21_15, std::uint32_t bits_14_7,
                                std::uint32_t bits_6_0) {
    return bits_32_30 << 30U | bits_29_22 << 22U | bits_21_15 << 15U | bits_14_7 << 7U | bits_6_0;
}

/// True when a PES packet that begins at `offset` in a transport packet has its whole timestamp in
/// the same packet. A negative `offset` stands for no PES packet.
constexpr bool holdsPTS(int offset) {
    constexpr int timestamp_end = 14; // bytes of the PES header up to the timestamp's last
    return offset >= 0 && offset <= packet_size - timestamp_end;
}

/// The presentation timestamp, in 90 kHz ticks, of the PES header that begins at `pes`.
///
/// Reads bytes 9 to 13 of the header and nothing else: what they hold is taken as a timestamp
/// whether or not the header's flags announce one.
std::uint64_t decodePTS(const char* pes);
