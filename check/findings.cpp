#include "check/findings.h"

#include "check/text.h"
#include "tsinspect/muxer.h"
#include "tsinspect/pts.h"
#include "tsinspect/ts.h"

#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

namespace {

/// Values of Options::mux_type.
constexpr std::int32_t mux_ffmpeg = 0;
constexpr std::int32_t mux_gst = 1;

/// The smallest window with which every player starts: four listed segments and the one being
/// written. One more lets a player fetch the oldest in peace.
constexpr std::int32_t smallest_window = 5;
constexpr const char* good_window = "--window=6";

using Answer = std::optional<Finding>;

bool isGst(const Options& settings) { return settings.mux_type == mux_gst; }

std::string by(const Options& settings, const char* ffmpeg, const char* gst) {
    return isGst(settings) ? gst : ffmpeg;
}

std::string share(std::uint64_t part, std::uint64_t whole, std::string_view noun) {
    return std::to_string(part) + " of " + counted(whole, noun);
}

/// The muxer that made a stream in which video begins on `pid`: GStreamer's numbers begin at 0x40,
/// FFmpeg's at 0x100.
std::int32_t muxerOf(std::uint32_t pid) {
    return pid < findMuxer(mux_ffmpeg)->video ? mux_gst : mux_ffmpeg;
}

/// True where sync bytes stand every `size` bytes from the `offset`th on in what the stream begins
/// with.
bool hasPackets(const std::string& bytes, std::size_t size, std::size_t offset) {
    for (std::size_t at = offset; at < bytes.size(); at += size) {
        if (static_cast<unsigned char>(bytes[at]) != sync_byte) {
            return false;
        }
    }
    return bytes.size() > offset + 8 * size; // fewer could be chance
}

/// Where packets of `size` bytes begin in what the stream begins with.
std::optional<std::size_t> findPackets(const std::string& bytes, std::size_t size) {
    for (std::size_t offset = 0; offset < size; ++offset) {
        if (hasPackets(bytes, size, offset)) {
            return offset;
        }
    }
    return std::nullopt;
}

/// "30000/1001" for a rate of the NTSC family, the number for others.
std::string rateOption(double rate) {
    const std::string plain = decimal(rate);
    const std::string family = decimal(rate * ntsc, 3);
    const auto is_whole = [](const std::string& number) {
        return number.find('.') == std::string::npos;
    };
    return is_whole(family) && !is_whole(plain) ? family + "000/1001" : plain;
}

/// A finding with the remedy that lets every segment begin with PAT, PMT and a key frame, and last
/// what the playlist says: a cut falls due once the duration has passed, so key frames and cut
/// packets come one frame later than that.
Finding mendByAlignment(std::string reason, const StreamFacts& facts, const Options& settings) {
    constexpr double rounding = 1e-6; // a product such as 4 * 25 may come out a little less
    const double rate = frameRate(facts);
    if (rate <= 0 || settings.duration < 1) {
        return {.reason = std::move(reason), .remedy = "Have tables come with the key frames."};
    }
    const double frames = std::floor(settings.duration * rate + rounding) + 1;
    // Cut off, not rounded: a period longer than the key frames' would miss every one.
    const std::string period = decimal(std::floor(frames / rate * 1e6 + rounding) / 1e6, 6);
    const double now = static_cast<double>(facts.key_frame_distances.get()) / ticks_per_second;
    const std::string every = std::abs(now - frames / rate) < 0.5 / rate
                                  ? " go on coming every " + period + " s"
                                  : " come every " + period +
                                        " s, a frame later than the duration" +
                                        (now > 0 ? ", not every " + decimal(now) + " s" : "");
    if (isGst(settings)) {
        return {.reason = std::move(reason),
                .remedy = "Let key frames" + every +
                          ", asked for with all headers by an application, as demo/gst-aligned "
                          "does; PAT and PMT then come with them and nowhere else:",
                .to_copy = "mpegtsmux pat-interval=4294967295 pmt-interval=4294967295"};
    }
    return {.reason = std::move(reason),
            .remedy = "Let key frames" + every +
                      ", with an SDT in front of each, and PAT and PMT in front of every frame:",
            .to_copy = "-r " + rateOption(rate) + " -g " + std::to_string(std::llround(frames)) +
                       " -sc_threshold 0 -sdt_period " + period +
                       " \\\n        -mpegts_flags +pat_pmt_at_frames"};
}

/// An answer where the stream has packets of another size than 188 bytes.
Answer otherPacketSize(const StreamFacts& facts, const Options& settings) {
    constexpr std::size_t size_with_time = 192;
    constexpr std::size_t size_with_correction = 204;
    if (findPackets(facts.beginning, size_with_time)) {
        return Finding{
            .reason = "This is a stream of 192 bytes a packet, with four bytes of time "
                      "in front of each, and not of 188.",
            .remedy = "Have the muxer leave these out.",
            .to_copy = by(settings, "-f mpegts -mpegts_m2ts_mode 0", "mpegtsmux m2ts-mode=false")};
    }
    if (findPackets(facts.beginning, size_with_correction)) {
        return Finding{.reason = "This is a stream of 204 bytes a packet, with sixteen bytes of "
                                 "error correction behind each, and not of 188.",
                       .remedy = "Have the receiver leave these out, or write the stream anew.",
                       .to_copy = "ffmpeg -i ... -c copy -f mpegts -"};
    }
    return std::nullopt;
}

Answer noTransportStream(const StreamFacts& facts, const Options& settings) {
    if (facts.packets == 0) {
        return Finding{.reason = "No whole packet came.",
                       .remedy = "Look at what the muxer says; it may not have started."};
    }
    if (facts.without_sync_byte == 0) {
        return std::nullopt;
    }
    if (Answer answer = otherPacketSize(facts, settings)) {
        return answer;
    }
    const std::string missing =
        share(facts.without_sync_byte, facts.packets, "packet") + " without a sync byte";
    const auto offset = findPackets(facts.beginning, packet_size);
    if (!isNoise(facts) || offset == 0U) {
        return Finding{.reason = "Bytes are missing: " + missing + ", the first of them packet " +
                                 std::to_string(facts.first_without_sync_byte) + ".",
                       .remedy = "Look for what drops bytes between the muxer and here."};
    }
    if (offset) {
        return Finding{.reason = "The first packet begins only " + counted(*offset, "byte") +
                                 " into the stream.",
                       .remedy = "Begin with a whole packet: start the muxer with the segmenter."};
    }
    return Finding{.reason = "This is not a transport stream: " + missing + ".",
                   .remedy = "Have the muxer write MPEG-2 transport packets.",
                   .to_copy = by(settings, "-f mpegts", "mpegtsmux")};
}

Answer videoElsewhere(const StreamFacts& facts, const Options& settings) {
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    if (muxer == nullptr || facts.frames > 0) {
        return std::nullopt;
    }
    const std::string nothing = "No video begins on PID " + pidName(muxer->video);
    const auto others = facts.other_video.listed();
    if (others.empty()) {
        return Finding{.reason = nothing + ", nor on any other.",
                       .remedy = "Add a video stream; its PES packets need stream id 0xE0."};
    }
    std::string elsewhere;
    for (const auto& [pid, count] : others) {
        elsewhere += (elsewhere.empty() ? "" : ", ") + pidName(pid);
    }
    Finding finding{.reason = nothing + ", but on " + elsewhere + "."};
    const std::uint32_t pid = others.front().pid;
    const std::int32_t mux_type = muxerOf(pid);
    const std::string type_option = "--mux_type=" + std::to_string(mux_type);
    if (pid == findMuxer(mux_type)->video) {
        finding.remedy = "That is where the other muxer has its video:";
        finding.to_copy = type_option;
    } else if (mux_type == mux_gst) {
        finding.remedy = "Ask mpegtsmux for its pad sink_64, which is PID 0x40" +
                         (isGst(settings) ? ":" : ", and give " + type_option + ":");
        finding.to_copy = "... ! h264parse ! mux.sink_64";
    } else {
        finding.remedy = "Put video first into the stream, on the muxer's first PID" +
                         (isGst(settings) ? ", and give " + type_option + ":" : ":");
        finding.to_copy = "-map 0:v:0 -map 0:a:0? -mpegts_start_pid 256";
    }
    return finding;
}

/// True where the stream looks like one of the other muxer, whose tables are others too.
bool isOfOtherMuxer(const StreamFacts& facts, const Options& settings) {
    const auto others = facts.other_video.listed();
    return facts.frames == 0 && !others.empty() && muxerOf(others.front().pid) != settings.mux_type;
}

Answer noCutPackets(const StreamFacts& facts, const Options& settings) {
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    if (muxer == nullptr) {
        const auto video = facts.other_video.listed();
        return Finding{.reason = "With --mux_type=" + std::to_string(settings.mux_type) +
                                 " no packet is known that segments could begin with.",
                       .remedy = "Say which muxer made the stream, 0 for FFmpeg, 1 for GStreamer:",
                       .to_copy =
                           "--mux_type=" +
                           std::to_string(video.empty() ? mux_ffmpeg : muxerOf(video.front().pid))};
    }
    if (facts.cut_packets > 0 || isOfOtherMuxer(facts, settings)) {
        return std::nullopt;
    }
    const std::string reason =
        "No packet came on PID " + pidName(muxer->cut) + ", with which segments begin.";
    if (isGst(settings)) {
        return Finding{.reason = reason,
                       .remedy = "This is the PAT, which every muxer writes: let nothing behind "
                                 "the muxer take it out."};
    }
    return mendByAlignment(reason, facts, settings);
}

Answer fallingTimestamps(const StreamFacts& facts, const Options& settings) {
    const std::string where = " in " + counted(facts.frames, "frame");
    if (facts.reordered > 0) {
        return Finding{.reason = "Timestamps fall back " + counted(facts.reordered, "time") +
                                 where +
                                 ", as B-frames make them, and each fall puts the next "
                                 "cut off.",
                       .remedy = "Make the encoder do without B-frames, and look again:",
                       .to_copy = by(settings, "-bf 0", "x264enc bframes=0")};
    }
    if (facts.restarts > 0) {
        return Finding{.reason = "Timestamps fall back " + counted(facts.restarts, "time") + where +
                                 ": the source began anew, and the cut after that comes a "
                                 "whole duration later.",
                       .remedy = "Start the segmenter anew with its source."};
    }
    return std::nullopt;
}

Answer nothingCut(const StreamFacts& facts, const Options& settings) {
    const std::int64_t duration = std::int64_t{settings.duration} * ticks_per_second;
    if (duration <= 0 || facts.uncut_time <= 2 * duration) {
        return std::nullopt;
    }
    const std::string reason = "Nothing was cut in the last " + seconds(facts.uncut_time) +
                               ", although --duration is " + std::to_string(settings.duration) +
                               ".";
    const bool is_explained =
        facts.frames == 0 || facts.reordered > 0 || facts.restarts > 0 || facts.cut_packets == 0;
    return is_explained ? Finding{.reason = reason, .remedy = "Mend what is said above."}
                        : mendByAlignment(reason, facts, settings);
}

Answer badBeginnings(const StreamFacts& facts, const Options& settings) {
    const std::uint64_t keyless = facts.with_video - facts.with_key_frame;
    const std::uint64_t tableless = facts.with_video - facts.with_tables;
    if (keyless == 0 && tableless == 0) {
        return std::nullopt;
    }
    std::string reason = "Players cannot begin at every segment:";
    if (keyless > 0) {
        reason += " without a key frame first, " + share(keyless, facts.with_video, "segment");
    }
    if (tableless > 0) {
        reason += std::string(keyless > 0 ? ";" : "") +
                  " without PAT and PMT in front of the video, " +
                  share(tableless, facts.with_video, "segment");
    }
    return mendByAlignment(reason + ".", facts, settings);
}

Answer misstatedLengths(const StreamFacts& facts, const Options& settings) {
    if (facts.misstated == 0 || settings.duration < 1) {
        return std::nullopt;
    }
    const double usual = static_cast<double>(facts.lengths.get()) / 100;
    const std::string reason = "The playlist misstates the length of " +
                               share(facts.misstated, facts.measured, "segment") +
                               ", rounded to seconds (RFC 8216, 4.3.3.1): they last " +
                               decimal(usual) + " s as a rule, and it says " +
                               std::to_string(settings.duration) + " s.";
    if (badBeginnings(facts, settings)) {
        return Finding{.reason = reason, .remedy = "Mend number 6, which mends this too."};
    }
    // Less than the length, so that the cut falls due in time, and no less than what it rounds to.
    const auto fitting = static_cast<std::int32_t>(usual);
    constexpr double leeway = 0.02; // so little more than the duration may be late, and miss a cut
    if (fitting > settings.duration && usual >= fitting + leeway && usual < fitting + 0.5) {
        return Finding{.reason = reason,
                       .remedy = "Let the playlist say what is true:",
                       .to_copy = "--duration=" + std::to_string(fitting)};
    }
    return mendByAlignment(reason, facts, settings);
}

Answer lostPackets(const StreamFacts& facts, const Options& settings) {
    if (facts.lost.total() == 0) {
        return std::nullopt;
    }
    std::string places;
    for (const auto& [pid, count] : facts.lost.listed()) {
        places += (places.empty() ? "" : ", ") + std::to_string(count) + " on PID " + pidName(pid);
    }
    Finding finding{
        .reason = counted(facts.lost.total(), "packet") +
                  " or more were lost on the way, by the continuity counters: " + places + "."};
    if (facts.restarts > 0) {
        finding.remedy = "A source that began anew, as in number 4, counts anew too: mend that.";
    } else {
        finding.remedy = "A pipe loses nothing; a UDP source does when its buffer is small:";
        finding.to_copy =
            by(settings, "-i 'udp://...?buffer_size=4000000'", "udpsrc buffer-size=4000000");
    }
    return finding;
}

Answer hardDuration(const StreamFacts& /*facts*/, const Options& settings) {
    if (settings.duration >= 1) {
        return std::nullopt;
    }
    return Finding{.reason = "--duration=" + std::to_string(settings.duration) +
                             " is a length that no player can live with.",
                   .remedy = "Use at least a second, better four:",
                   .to_copy = "--duration=4"};
}

Answer hardWindow(const StreamFacts& facts, const Options& settings) {
    if (settings.window > 0 && settings.window < smallest_window) {
        return Finding{.reason = "--window=" + std::to_string(settings.window) +
                                 " keeps too few segments: players begin three or four before the "
                                 "end of a live playlist.",
                       .remedy = "Keep six:",
                       .to_copy = good_window};
    }
    if (settings.window == 0 && facts.segments > 1) {
        return Finding{.is_note = true,
                       .reason = "With --window=0 every playlist says that the stream is over.",
                       .remedy = "That suits a recording; for a live stream:",
                       .to_copy = good_window};
    }
    return std::nullopt;
}

/// What is asked of every stream, and the number of the finding that may be the answer.
constexpr struct {
    int number;
    Answer (*ask)(const StreamFacts&, const Options&);
} questions[] = {
    {1, noTransportStream}, {2, videoElsewhere}, {3, noCutPackets},     {4, fallingTimestamps},
    {5, nothingCut},        {6, badBeginnings},  {7, misstatedLengths}, {8, lostPackets},
    {9, hardDuration},      {9, hardWindow},
};

} // namespace

std::vector<Finding> findFindings(const StreamFacts& facts, const Options& settings) {
    std::vector<Finding> findings;
    for (const auto& [number, ask] : questions) {
        if (Answer answer = ask(facts, settings)) {
            answer->number = number;
            findings.push_back(*std::move(answer));
        }
        if (isNoise(facts)) { // only the first question has an answer then
            break;
        }
    }
    return findings;
}
