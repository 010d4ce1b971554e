#pragma once

#include "tsinspect/pts.h"

#include <bit>
#include <cstdint>

/// The first sixteen bytes of a PES packet that carries a timestamp (ISO/IEC 13818-1, 2.4.3.6),
/// copied in as they are. The fields of one byte stand here in the reverse of the standard's order,
/// as those of TS::Packet do; fields of several bytes read as little-endian numbers.
struct PES_HEADER {
    std::uint32_t start_code : 24; // bytes 0 to 2: 00 00 01
    std::uint32_t stream_id : 8;   // byte 3
    std::uint16_t packet_length;   // bytes 4 and 5

    std::uint8_t original : 1; // byte 6
    std::uint8_t copyright : 1;
    std::uint8_t alignment : 1;
    std::uint8_t priority : 1;
    std::uint8_t scrambling : 2;
    std::uint8_t marker_10 : 2;

    std::uint8_t PES_extension : 1; // byte 7
    std::uint8_t CRC : 1;
    std::uint8_t additional_copy_info : 1;
    std::uint8_t DSM_trick_mode : 1;
    std::uint8_t ES_rate : 1;
    std::uint8_t ESCR : 1;
    std::uint8_t PTS_DTS : 2;

    std::uint8_t header_length; // byte 8

    std::uint8_t marker_bit0 : 1; // byte 9
    std::uint8_t PTS0 : 3;        // timestamp bits 32 to 30
    std::uint8_t marker_0011 : 4;

    std::uint8_t PTS1_H; // byte 10: bits 29 to 22

    std::uint8_t marker_bit1 : 1; // byte 11
    std::uint8_t PTS1_L : 7;      // bits 21 to 15

    std::uint8_t PTS2_H; // byte 12: bits 14 to 7

    std::uint8_t marker_bit2 : 1; // byte 13
    std::uint8_t PTS2_L : 7;      // bits 6 to 0

    std::uint16_t stuff; // bytes 14 and 15: whatever follows the timestamp
};

static_assert(std::endian::native == std::endian::little, "format records are byte images");
static_assert(sizeof(PES_HEADER) == 16);

/// The header's presentation timestamp in 90 kHz ticks: what decodePTS gives for its first byte.
constexpr std::uint64_t headerPTS(const PES_HEADER& header) {
    return joinPTS(header.PTS0, header.PTS1_H, header.PTS1_L, header.PTS2_H, header.PTS2_L);
}
