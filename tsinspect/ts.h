#pragma once

#include <bit>
#include <cstdint>

class Options;

/// Bytes of a transport packet (ISO/IEC 13818-1, 2.4.3.2).
inline constexpr int packet_size = 188;

/// What a transport packet begins with (ISO/IEC 13818-1, 2.4.3.3).
inline constexpr std::uint32_t sync_byte = 0x47;

/// PIDs with a fixed meaning (ISO/IEC 13818-1, 2.4.3.3; ETSI EN 300 468, 5.1.3).
inline constexpr std::uint32_t pat_pid = 0x0000;  ///< program association table
inline constexpr std::uint32_t sdt_pid = 0x0011;  ///< service description table
inline constexpr std::uint32_t null_pid = 0x1FFF; ///< packets that only fill the stream
inline constexpr std::uint32_t pid_count = 0x2000;

/// The header of a transport packet (ISO/IEC 13818-1, 2.4.3.2): its bytes 0 to 3, copied in as
/// they are. Compilers for little-endian targets allocate bit fields from the least significant
/// bit up, so the fields of one byte stand here in the reverse of the standard's order.
struct TS {
    struct Packet {
        std::uint32_t sync : 8; // byte 0: 0x47

        std::uint32_t PID_H : 5; // byte 1
        std::uint32_t transport_priority : 1;
        std::uint32_t payload_unit_start_indicator : 1;
        std::uint32_t transport_error_indicator : 1;

        std::uint32_t PID_L : 8; // byte 2

        std::uint32_t continuity_counter : 4; // byte 3
        std::uint32_t adaptation_field_exist : 2;
        std::uint32_t scrambling_control : 2;
    };

    Packet packet;
};

static_assert(std::endian::native == std::endian::little, "format records are byte images");
static_assert(sizeof(TS::Packet) == 4 && sizeof(TS) == 4);

/// The packet's PID, 0 to 8191.
constexpr std::uint32_t packetPID(const TS& header) {
    return std::uint32_t{header.packet.PID_H} << 8U | header.packet.PID_L;
}

/// Finds the start code of a video PES packet (stream id 0xE0) that begins in `packet`.
///
/// `header` holds the first four of the 188 bytes at `packet`. Of `settings` only mux_type is read:
/// packets that are not on the muxer's video PID are passed over; a muxer that is not known may
/// have video on any PID. Returns the offset of the start code, 2 to 184, or -1 without one.
int syncPES(Options& settings, TS& header, char* packet);
