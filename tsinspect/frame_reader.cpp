#include "tsinspect/frame_reader.h"

#include "tsinspect/adaptation_field.h"
#include "tsinspect/pts.h"

#include <string_view>

namespace {

constexpr std::string_view start_code("\0\0\1", 3);

unsigned byteAt(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

/// The second number of a slice header, slice_type, after first_mb_in_slice. Both are written as
/// ue(v) (ISO/IEC 14496-10, 7.3.3 and 9.1). Nothing where `slice` ends before it.
std::optional<unsigned> sliceType(std::string_view slice) {
    std::size_t at = 0;
    const auto bit = [slice, &at] {
        const unsigned byte = byteAt(slice, at / 8);
        return byte >> (7 - at++ % 8) & 1U;
    };
    unsigned number = 0;
    for (int field = 0; field < 2; ++field) {
        std::size_t zeros = 0;
        while (at < 8 * slice.size() && bit() == 0) {
            ++zeros;
        }
        if (at + zeros >= 8 * slice.size()) {
            return std::nullopt;
        }
        number = 1;
        for (; zeros > 0; --zeros) {
            number = number << 1U | bit();
        }
    }
    return number - 1;
}

} // namespace

void FrameReader::begin(const TS& header, const char* packet) {
    bytes.clear();
    es_begin = 0;
    looked_at = 0;
    has_parameters = has_parameters && is_undecided; // before its slices, it may have come in parts
    has_random_access = readAdaptationField(header, packet).random_access_indicator;
    is_undecided = true;
    is_key_frame = false;
    add(header, packet);
}

void FrameReader::add(const TS& header, const char* packet) {
    const int offset = payloadOffset(header, packet);
    if (is_undecided && offset < packet_size) {
        bytes.append(packet + offset, static_cast<std::size_t>(packet_size - offset));
        look();
    }
}

void FrameReader::giveUp() { is_undecided = false; }

void FrameReader::look() {
    constexpr std::size_t enough_bytes = 8192; // for parameter sets and messages before a slice
    std::optional<bool> found = es_begin == 0 ? readHeader() : true;
    if (found && *found) {
        found = findKeyFrame();
    }
    if (found) {
        is_key_frame = *found;
        is_undecided = false;
    } else if (bytes.size() > enough_bytes) {
        giveUp();
    }
}

/// True when the PES header is whole and has a timestamp, false when it has none.
std::optional<bool> FrameReader::readHeader() {
    constexpr std::size_t fixed_size = 9;
    constexpr std::size_t pts_size = 5;
    if (bytes.size() < fixed_size) {
        return std::nullopt;
    }
    const unsigned flags = byteAt(bytes, 7);
    if (!bytes.starts_with(start_code) || (byteAt(bytes, 6) & 0xC0U) != 0x80 ||
        (flags & 0x80U) == 0) {
        return false;
    }
    const std::size_t size = fixed_size + byteAt(bytes, 8);
    const bool has_dts = (flags & 0x40U) != 0;
    if (bytes.size() < size || size < fixed_size + pts_size * (has_dts ? 2 : 1)) {
        return bytes.size() < size ? std::nullopt : std::optional(false);
    }
    presentation = decodePTS(bytes.data());
    decoding = has_dts ? decodePTS(bytes.data() + pts_size) : presentation;
    es_begin = looked_at = size;
    return true;
}

/// Whether the frame is a key frame; nothing where more bytes have to tell.
std::optional<bool> FrameReader::findKeyFrame() {
    if (codec == Codec::sound) {
        return true;
    }
    if (codec == Codec::other_video || codec == Codec::none) {
        return has_random_access;
    }
    const std::string_view view = bytes;
    for (std::size_t at = 0; (at = view.find(start_code, looked_at)) != std::string_view::npos;) {
        const Unit unit = readUnit(view.substr(at + start_code.size()));
        if (unit == Unit::key_frame || unit == Unit::other_frame) {
            return unit == Unit::key_frame;
        }
        if (unit == Unit::cut_off) {
            return std::nullopt;
        }
        looked_at = at + start_code.size();
    }
    return std::nullopt;
}

/// What `unit` says, which follows a start code. Notes where it has parameters.
FrameReader::Unit FrameReader::readUnit(std::string_view unit) {
    if (unit.empty()) {
        return Unit::cut_off;
    }
    switch (codec) {
    case Codec::h264:
        return readH264(unit);
    case Codec::hevc:
        return readHEVC(unit);
    default:
        return readMPEG2(unit);
    }
}

/// A NAL unit of ISO/IEC 14496-10, 7.4.1.
FrameReader::Unit FrameReader::readH264(std::string_view unit) {
    constexpr std::size_t enough_bytes = 16; // for the numbers in front of slice_type
    constexpr unsigned i_slice = 2;
    constexpr unsigned si_slice = 4;
    switch (byteAt(unit, 0) & 0x1FU) {
    case 1: // a slice, or the first part of one
    case 2:
        break;
    case 5: // a slice of an IDR picture
        return Unit::key_frame;
    case 7: // a sequence parameter set
        has_parameters = true;
        return Unit::other;
    default:
        return Unit::other;
    }
    if (!has_parameters) {
        return Unit::other_frame;
    }
    const std::optional<unsigned> type = sliceType(unit.substr(1));
    if (!type && unit.size() <= enough_bytes) {
        return Unit::cut_off;
    }
    return type && (*type % 5 == i_slice || *type % 5 == si_slice) ? Unit::key_frame
                                                                   : Unit::other_frame;
}

/// A NAL unit of ISO/IEC 23008-2, 7.4.2.2.
FrameReader::Unit FrameReader::readHEVC(std::string_view unit) {
    constexpr unsigned first_irap = 16;
    constexpr unsigned last_irap = 23;
    constexpr unsigned first_without_slice = 32;
    constexpr unsigned parameter_set = 33; // of the sequence
    const unsigned type = byteAt(unit, 0) >> 1U & 0x3FU;
    has_parameters |= type == parameter_set;
    if (type >= first_without_slice) {
        return Unit::other;
    }
    return type >= first_irap && type <= last_irap ? Unit::key_frame : Unit::other_frame;
}

/// A header of ISO/IEC 13818-2, 6.2.
FrameReader::Unit FrameReader::readMPEG2(std::string_view unit) {
    constexpr unsigned picture = 0x00;
    constexpr unsigned sequence = 0xB3;
    constexpr unsigned i_picture = 1;
    constexpr std::size_t coding_type = 2; // in this byte
    const unsigned code = byteAt(unit, 0);
    has_parameters |= code == sequence;
    if (code != picture) {
        return Unit::other;
    }
    if (unit.size() <= coding_type) {
        return Unit::cut_off;
    }
    return has_parameters && (byteAt(unit, coding_type) >> 3U & 7U) == i_picture
               ? Unit::key_frame
               : Unit::other_frame;
}
