#include "tsinspect/dump.h"

// The labels are part of the output that others read, so their odd spellings are kept.

namespace {

/// Writes `label`, then `value` in hexadecimal, and ends the line.
void field(std::ostream& os, const char* label, std::uint32_t value) {
    os << label << ": 0x" << std::hex << value << std::endl;
}

} // namespace

std::ostream& operator<<(std::ostream& os, TS::Packet& header) {
    os << "======= TS HEADER =======" << std::endl;
    field(os, "Sync                         ", header.sync);
    field(os, "Transport error indicator    ", header.transport_error_indicator);
    field(os, "Payload unit start indicator ", header.payload_unit_start_indicator);
    field(os, "Transport priority           ", header.transport_priority);
    field(os, "PID - High 5 bits            ", header.PID_H);
    field(os, "PID - Low 8 bits             ", header.PID_L);
    field(os, "Screambling control          ", header.scrambling_control);
    field(os, "Adaptation field exist       ", header.adaptation_field_exist);
    field(os, "Continuity counter           ", header.continuity_counter);
    return os;
}

std::ostream& operator<<(std::ostream& os, PES_HEADER& header) {
    os << "===== PES =====" << std::endl;
    field(os, "Start Code     ", header.start_code);
    field(os, "Stream ID      ", header.stream_id);
    field(os, "Packet length  ", header.packet_length);
    os << ">>>>>" << std::endl;
    field(os, "10             ", header.marker_10);
    field(os, "Scrmbling      ", header.scrambling);
    field(os, "Priority       ", header.priority);
    field(os, "Alignment      ", header.alignment);
    field(os, "Copyright      ", header.copyright);
    field(os, "Original       ", header.original);
    field(os, "PTS_DTS        ", header.PTS_DTS);
    field(os, "ESCR           ", header.ESCR);
    field(os, "ES_rate        ", header.ES_rate);
    field(os, "DSM_trick_mode ", header.DSM_trick_mode);
    field(os, "addi. copy info", header.additional_copy_info);
    field(os, "CRC            ", header.CRC);
    field(os, "PES ext.       ", header.PES_extension);
    os << ">>>>>" << std::endl;
    field(os, "PES header len.", header.header_length);
    field(os, "_0011_         ", header.marker_0011);
    field(os, "PTS0           ", header.PTS0);
    field(os, "marker_bit0    ", header.marker_bit0);
    field(os, "PTS1_H         ", header.PTS1_H);
    field(os, "PTS1_L         ", header.PTS1_L);
    field(os, "marker_bit1    ", header.marker_bit1);
    os << ">>>>>" << std::endl;
    field(os, "PTS2_H         ", header.PTS2_H);
    field(os, "PTS2_L         ", header.PTS2_L);
    field(os, "marker_bit2    ", header.marker_bit2);
    field(os, "stuff          ", header.stuff);
    const std::uint64_t pts = headerPTS(header);
    return os << " PTS           : " << std::dec << pts
              << " secs elapsed  : " << pts / ticks_per_second;
}
