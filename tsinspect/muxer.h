#pragma once

#include "tsinspect/ts.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

/// The packets of one muxer that decide where segments begin, by their PIDs.
struct MuxerPIDs {
    std::uint32_t video; ///< where video PES packets carry the timestamps
    std::uint32_t cut;   ///< table packets that a segment may begin with
};

/// By Options::mux_type.
inline constexpr MuxerPIDs muxer_pids[] = {
    {.video = 0x0100, .cut = sdt_pid}, // FFmpeg
    {.video = 0x0040, .cut = pat_pid}, // GStreamer
};

/// The PIDs of muxer `mux_type`, in the table, or null for one that is not known.
constexpr const MuxerPIDs* findMuxer(std::int32_t mux_type) {
    const auto index = static_cast<std::size_t>(mux_type); // a negative one becomes too large
    return index < std::size(muxer_pids) ? &muxer_pids[index] : nullptr;
}
