#pragma once

#include "tsinspect/tables.h"
#include "tsinspect/ts.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Reads how the frames of one elementary stream begin: their timestamps, and whether decoding can
/// begin with them. A frame is what a PES packet with a timestamp begins (ISO/IEC
/// 13818-1, 2.4.3.6).
///
/// A frame of H.264 is a key frame with an IDR slice, or with a sequence parameter set and an I
/// slice; of HEVC, with an IRAP slice; of MPEG-2, with a sequence header and an I picture; of other
/// video, with the random access indicator. Every frame of sound is one.
class FrameReader {
public:
    explicit FrameReader(Codec codec = Codec::none) : codec(codec) {}

    /// Takes the first packet of a PES packet, the 188 bytes at `packet`, whose first four `header`
    /// holds. Whatever was undecided before is forgotten.
    void begin(const TS& header, const char* packet);

    /// Takes the next packet of the same PES packet; does nothing once all is decided.
    void add(const TS& header, const char* packet);

    /// Says that no more of the frame's beginning will come: what is undecided by now is not a key
    /// frame by its bytes.
    void giveUp();

    /// True once the timestamps are known.
    [[nodiscard]] bool hasTimes() const { return es_begin > 0; }

    /// The timestamps of presentation and decoding in 90 kHz ticks; the same where the frame has
    /// only one.
    [[nodiscard]] std::uint64_t pts() const { return presentation; }
    [[nodiscard]] std::uint64_t dts() const { return decoding; }

    /// True from begin() until isKeyFrame() is known, or until no frame was found.
    [[nodiscard]] bool isUndecided() const { return is_undecided; }

    [[nodiscard]] bool isKeyFrame() const { return is_key_frame; }

    /// True where a sequence parameter set of H.264 or HEVC, or a sequence header of MPEG-2, came
    /// in front of the key frame: without one, decoding cannot begin there.
    [[nodiscard]] bool hasParameters() const { return has_parameters; }

private:
    void look();
    std::optional<bool> readHeader();
    std::optional<bool> findKeyFrame();

    /// What a unit of the frame's bytes, as start codes divide them, tells.
    enum class Unit { cut_off, other, key_frame, other_frame };
    [[nodiscard]] Unit readUnit(std::string_view unit);
    [[nodiscard]] Unit readH264(std::string_view unit);
    [[nodiscard]] Unit readHEVC(std::string_view unit);
    [[nodiscard]] Unit readMPEG2(std::string_view unit);

    Codec codec;
    std::string bytes;        // the PES packet as far as it was looked at
    std::size_t es_begin = 0; // where its payload begins; 0 until that is known
    std::size_t looked_at = 0;
    std::uint64_t presentation = 0;
    std::uint64_t decoding = 0;
    bool has_parameters = false; // a sequence parameter set or a sequence header came
    bool has_random_access = false;
    bool is_undecided = false;
    bool is_key_frame = false;
};
