#include "tsinspect/adaptation_field.h"

namespace {

constexpr int header_size = sizeof(TS);

/// How many bytes follow the field's length byte, 0 to 255; -1 without the field.
int fieldLength(const TS& header, const char* packet) {
    const bool exists = (header.packet.adaptation_field_exist & 0b10U) != 0;
    return exists ? static_cast<unsigned char>(packet[header_size]) : -1;
}

} // namespace

AdaptationField readAdaptationField(const TS& header, const char* packet) {
    if (fieldLength(header, packet) <= 0) {
        return {};
    }
    const unsigned flags = static_cast<unsigned char>(packet[header_size + 1]);
    return {.discontinuity_indicator = (flags & 0x80U) != 0,
            .random_access_indicator = (flags & 0x40U) != 0};
}

int payloadOffset(const TS& header, const char* packet) {
    return header_size + 1 + fieldLength(header, packet);
}
