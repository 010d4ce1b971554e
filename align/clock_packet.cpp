#include "align/clock_packet.h"

#include "tsinspect/ts.h"

#include <algorithm>
#include <iterator>

void appendClockPacket(PacketBuffer& packets, std::uint64_t time) {
    constexpr unsigned unit_start = 0x40;
    constexpr unsigned adaptation_field_only = 0x20;
    constexpr unsigned field_length = packet_size - sizeof(TS) - 1;
    constexpr unsigned private_data_flag = 0x02;
    constexpr unsigned data_length = 14; // a PES header up to its timestamp
    const std::uint64_t bytes[] = {
        sync_byte, unit_start | clock_pid >> 8U, clock_pid & 0xFFU, adaptation_field_only,
        field_length, private_data_flag, data_length,
        // The PES header: start code, video stream 0, no length, flags, five bytes that follow.
        0, 0, 1, 0xE0, 0, 0, 0x80, 0x80, 5,
        // The timestamp with its marker bits, as joinPTS reads it.
        0x21U | (time >> 29U & 0x0EU), time >> 22U & 0xFFU, 1U | (time >> 14U & 0xFEU),
        time >> 7U & 0xFFU, 1U | (time << 1U & 0xFEU)};
    char* packet = packets.add();
    std::fill_n(packet, packet_size, '\xFF');
    std::transform(std::begin(bytes), std::end(bytes), packet,
                   [](std::uint64_t byte) { return static_cast<char>(byte); });
}
