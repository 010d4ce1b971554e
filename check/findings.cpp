#include "check/findings.h"

#include "tsinspect/muxer.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

using std::to_string;

constexpr std::int32_t least_window = 5; // four listed segments, with which all players start

/// "2 of 5 segments".
std::string part(std::uint64_t count, std::uint64_t all, const char* noun) {
    return to_string(count) + " of " + to_string(all) + ' ' + noun;
}

/// The streams of the program that browsers do not play, with their PIDs.
std::string unplayableStreams(const StreamFacts& facts) {
    // clang-format off
    constexpr std::pair<std::uint32_t, const char*> names[] = { // ISO/IEC 13818-1, table 2-34
        {0x01, " MPEG-1 video"}, {0x02, " MPEG-2 video"}, {0x03, " MPEG audio, if not MP3"},
        {0x04, " MPEG audio, if not MP3"}, {0x10, " MPEG-4 Visual"}, {0x11, " AAC as LATM"},
        {0x24, " HEVC (a few play it)"}, {0x81, " AC-3"}, {0x87, " E-AC-3"},
        {0x06, " private data: subtitles, or sound such as G.711"}};
    // clang-format on
    std::string list;
    const auto* program = facts.programs.chosen();
    for (const auto& stream : program == nullptr ? ProgramMap().streams : program->map.streams) {
        for (const auto& [type, name] : names) {
            if (stream.type == type) {
                list += (list.empty() ? "" : "; ") + pidName(stream.pid) + name;
            }
        }
    }
    return list;
}

/// When something can be told: once segments were cut, or should have been, or when the stream is
/// over, and then perhaps only as a note, since there is nothing to fix.
enum class Moment { start, cuts, end, note };
using enum Moment;

/// Finds what is wrong, in the order of the numbers.
struct Judge {
    const StreamFacts& facts;
    const Options& settings;
    Moment now;
    std::vector<Finding> findings{};

    /// Where `holds`, and where it is not too early, adds a finding, or a sentence to the last one
    /// if that has the same number; true if so.
    bool tell(int number, bool holds, const std::string& text, Moment moment = cuts) {
        if (!holds || now < moment || (facts.areNoise() && number != 1 && number != 13)) {
            return false;
        }
        if (findings.empty() || findings.back().number != number) {
            findings.push_back({.number = number, .is_note = moment == note});
        }
        findings.back().text += (findings.back().text.empty() ? "" : " ") + text;
        return true;
    }

    /// The same for what cureFor() repairs.
    void cure(int number, bool holds, const std::string& text) {
        if (tell(number, holds, text)) {
            findings.back().is_cured = true;
        }
    }

    void judgeCutting();
    void judgeFrames();
    void judgeSettings(const std::string& stray_words);

    /// What is wrong with how often key frames come, if anything.
    [[nodiscard]] std::string keyFrameComplaints() const {
        const std::int64_t least = (now >= end ? 1 : 0) + facts.timeline.time / twoDurations();
        const bool are_enough = static_cast<std::int64_t>(facts.key_frames) >= least;
        return are_enough || facts.timeline.frames == 0 || !facts.complaints.empty()
                   ? facts.complaints
                   : "Only " + counted(facts.key_frames, "key frame") + " came in " +
                         counted(facts.timeline.frames, "frame") + ", and players begin with one.";
    }

    /// In ticks.
    [[nodiscard]] std::int64_t twoDurations() const {
        return std::int64_t{2} * ticks_per_second * std::max(settings.duration, 1);
    }
};

void Judge::judgeCutting() {
    const MuxerPIDs* known = findMuxer(settings.mux_type);
    const MuxerPIDs pids = known == nullptr ? MuxerPIDs{} : *known;
    const Timeline& frames = facts.timeline;
    const bool has_frames = frames.frames > 0;
    const bool is_timed = has_frames && facts.timed > 0 && known != nullptr;
    const bool is_reordered = is_timed && frames.reordered > 0 && facts.main.pid == pids.video;
    const bool is_cut = is_timed && facts.cut_packets > 0 && !is_reordered;
    const bool is_stuck = facts.uncut_time > twoDurations();
    const std::string unsynced = part(facts.unsynced, facts.packets, "packets") +
                                 " do not begin where the segmenter reads them, every 188 bytes";

    tell(1, facts.packets == 0, "Not one whole packet arrived; the muxer may not have started.",
         end);
    tell(1, facts.unsynced > 0 && !facts.missing.empty(), unsynced + ". " + facts.missing);
    cure(1, facts.unsynced > 0 && facts.missing.empty(),
         unsynced + ": they are longer, or bytes were lost, added or damaged on the way.");
    tell(2, !has_frames && facts.unusable * 2 < facts.packets, facts.missing);
    cure(2, has_frames && facts.timed == 0,
         "The segmenter looks for timestamps in video with stream id 0xE0 on PID " +
             pidName(pids.video) + ", and finds none: the " +
             (isVideo(facts.main.codec) ? "video" : "sound") + " is on PID " +
             pidName(facts.main.pid) + '.');
    cure(3, has_frames && known == nullptr,
         "--mux_type=" + to_string(settings.mux_type) +
             " is not a known muxer, so nothing is ever cut.");
    cure(3, is_timed && facts.cut_packets == 0,
         "No packet came on PID " + pidName(pids.cut) + ", and only those can begin a segment.");
    cure(4, is_reordered,
         part(frames.reordered, frames.frames, "timestamps") +
             " go back, as they do with B-frames, so segments end late or never.");
    tell(4, facts.restarts.count > 0,
         "The source restarted " + facts.restarts.where() +
             ", and the playlist does not tell players. Restart the segmenter together with its "
             "source, or use segmenter-live.");
    cure(5, is_cut && is_stuck && keyFrameComplaints().empty(),
         "Nothing was cut in the last " + seconds(facts.uncut_time) + ", although --duration is " +
             to_string(settings.duration) + '.');
    tell(12, is_cut && !is_stuck && facts.measured.count < 2,
         "Too short to judge: " + seconds(frames.time) +
             ", with fewer than two whole segments. Check a longer part.",
         end);
}

void Judge::judgeFrames() {
    const std::string complaints = keyFrameComplaints();
    cure(6, facts.keyless > 0 && facts.key_frames > 0,
         part(facts.keyless, facts.judged, "segments") +
             " begin without a key frame: players cannot join there.");
    cure(6, facts.tableless > 0,
         part(facts.tableless, facts.judged, "segments") +
             " have no PAT and PMT in front of the frames: players cannot join there.");
    tell(7, !complaints.empty(),
         complaints +
             " Have the encoder make key frames more often (FFmpeg: -g, x264enc: key-int-max).");
    cure(7, facts.misstated.count > 0 && complaints.empty() && settings.duration > 0,
         part(facts.misstated.count, facts.measured.count, "segments") + " last " +
             facts.misstated.range() + ", but the playlist says " + to_string(settings.duration) +
             " s; players may stall.");
    tell(8, facts.continuity.lost > 0,
         "At least " + counted(facts.continuity.lost, "packet") +
             " got lost on the way. A pipe loses none unless its source restarts; over UDP, a "
             "larger buffer helps (FFmpeg: ?buffer_size=4000000, GStreamer: buffer-size=4000000).");
    tell(10, facts.jumps.count > 0,
         "Timestamps jump forward " + facts.jumps.where() + ", by " + facts.jumps.range() +
             ": players freeze or stall.");
    tell(11, facts.unusable > 0,
         part(facts.unusable, facts.packets, "packets") +
             " are scrambled, or marked as damaged: players cannot use them.");
    const std::string unplayable = unplayableStreams(facts);
    tell(14, !unplayable.empty(),
         "Note: Browsers play H.264 and AAC, but not what is on these PIDs: " + unplayable + '.',
         note);
    tell(15, facts.bare_key_frames > 0,
         part(facts.bare_key_frames, facts.key_frames, "key frames") +
             " come without parameter sets: players cannot begin there. Have these repeated "
             "(GStreamer: h265parse or h264parse config-interval=-1).");
}

void Judge::judgeSettings(const std::string& stray_words) {
    const std::string duration = "--duration=" + to_string(settings.duration);
    const std::string window = "--window=" + to_string(settings.window);
    tell(9, settings.duration < 1,
         duration + " is too short: players need at least a second. Give 4, for example.");
    tell(9, settings.window != 0 && settings.window < least_window,
         window + " suits no live stream: players start three or four segments before its end. "
                  "Give 6, or more.");
    tell(9, settings.window == 0 && settings.duration > 0 && facts.segments > 1,
         "Note: With --window=0 every playlist says that the stream is over, which suits a "
         "recording. For a live stream give --window=6, or use segmenter-live.",
         note);
    tell(13, !stray_words.empty(),
         "These words on the command line are not options: " + stray_words +
             ". A value needs an equals sign. This report is for " + duration + ' ' + window +
             " --mux_type=" + to_string(settings.mux_type) + "; check again with your own.");
}

} // namespace

std::vector<Finding> judge(const StreamFacts& facts, const Options& settings,
                           const std::string& stray_words, bool is_over) {
    constexpr std::uint64_t many = 4096; // packets, among which there should be all kinds
    const bool is_late = facts.segments > 0 || facts.packets >= many;
    Judge judge{facts, settings, is_over ? note : is_late ? cuts : start};
    judge.judgeCutting();
    judge.judgeFrames();
    judge.judgeSettings(stray_words);
    std::stable_sort(judge.findings.begin(), judge.findings.end(),
                     [](const Finding& a, const Finding& b) { return a.number < b.number; });
    return std::move(judge.findings);
}

std::string cureFor(const std::vector<Finding>& findings, const Options& settings) {
    const auto option = [](const char* name, const std::string& value, const char* usual = "") {
        return value == usual ? "" : ' ' + (name + ("='" + value) + '\'');
    };
    if (std::none_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.is_cured; })) {
        return "";
    }
    const std::string window =
        " --window=" + to_string(std::max(settings.window, settings.window < least_window ? 6 : 0));
    const std::string duration =
        " --duration=" + to_string(settings.duration < 1 ? 4 : settings.duration);
    const std::string name =
        option("--playlist_name", settings.playlist_name, default_playlist_name);
    return "\nTo fix it, put this in place of the segmenter:\n  segmenter-align" + duration +
           " | segmenter" + duration + " --mux_type=1" + (settings.window == 0 ? "" : window) +
           option("--prefix", settings.prefix) + option("--url_prefix", settings.url_prefix) +
           name + "\nor this, which has both in it:\n  segmenter-live FOLDER" + duration + name +
           '\n';
}
