#pragma once

#include "tsinspect/ts.h"

/// What is used here of a packet's adaptation field (ISO/IEC 13818-1, 2.4.3.4).
struct AdaptationField {
    bool discontinuity_indicator = false; ///< the continuity counter may jump here
    bool random_access_indicator = false; ///< decoding may begin here: a key frame, for video
};

/// Reads the adaptation field of the 188 bytes at `packet`, whose first four `header` holds;
/// nothing is set where there is none.
AdaptationField readAdaptationField(const TS& header, const char* packet);

/// Where the payload of that packet begins: 4 to 188, or more where the adaptation field runs over
/// the packet's end.
int payloadOffset(const TS& header, const char* packet);

/// True when the packet that `header` belongs to has a payload.
constexpr bool hasPayload(const TS& header) {
    return (header.packet.adaptation_field_exist & 0b01U) != 0;
}
