#include "check/findings.h"

#include "check/text.h"
#include "tsinspect/muxer.h"

#include <algorithm>

namespace {

constexpr std::int64_t second = ticks_per_second;

/// What the questions are about: a stream, its settings, and what follows from both.
struct Stream {
    const StreamFacts& facts;
    const Timeline& video;
    const Options& settings;
    const std::string& stray_words;
    const MuxerPIDs* muxer; ///< null for an unknown one
    PacketRun packets;      ///< after the first missing sync byte

    /// Whether nothing keeps segments from being cut.
    [[nodiscard]] bool isCut() const {
        return facts.cut_packets > 0 && video.frames > 0 && !facts.video.is_elsewhere &&
               video.reordered == 0;
    }

    /// Whether nothing was cut for more than two durations.
    [[nodiscard]] bool isStuck() const {
        return facts.uncut_time > 2 * second * std::max(settings.duration, 1);
    }
};

/// "in segment 3", or "2 times, first in segment 3".
std::string where(const Lengths& events) {
    return (events.count == 1 ? "" : counted(events.count, "time") + ", first ") + "in segment " +
           std::to_string(events.first);
}

std::string unplayableStreams(const StreamFacts& facts) {
    std::string list;
    for (const auto& [pid, type] : facts.streams.types) {
        if (const char* name = unplayable(type)) {
            list += (list.empty() ? "" : "; ") + pidName(pid) + ' ' + name;
        }
    }
    return list;
}

/// What the texts may name.
Values valuesOf(const Stream& of) {
    const StreamFacts& facts = of.facts;
    const Timeline& video = of.video;
    const auto text = [](auto number) { return std::to_string(number); };
    // clang-format off
    return {
        {"{broken}", text(facts.sync.missing) + " of " + text(facts.sync.packets)},
        {"{first}", text(facts.sync.first_missing)},
        {"{late}", counted(of.packets.offset, "byte")}, {"{PID}", pidName(facts.video.pid)},
        {"{video PID}", of.muxer == nullptr ? "" : pidName(of.muxer->video)},
        {"{cut PID}", of.muxer == nullptr ? "" : pidName(of.muxer->cut)},
        {"{frames}", counted(video.frames, "frame")}, {"{falls}", counted(video.reordered, "time")},
        {"{restarts}", where(facts.restarts)},
        {"{jumps}", where(facts.jumps) + ", by " + range(facts.jumps)},
        {"{uncut}", seconds(facts.uncut_time)}, {"{judged}", text(facts.judged)},
        {"{keyless}", text(facts.keyless)}, {"{tableless}", text(facts.tableless)},
        {"{unmarked}", text(facts.video.unmarked)}, {"{lengths}", range(facts.misstated)},
        {"{misstated}", text(facts.misstated.count) + " of " + text(facts.measured.count)},
        {"{lost}", counted(facts.continuity.lost, "packet")},
        {"{packets}", counted(facts.sync.packets, "packet")},
        {"{damaged}", text(facts.damaged)}, {"{scrambled}", text(facts.scrambled)},
        {"{video time}", seconds(video.steps_time)},
        {"{streams}", unplayableStreams(facts)}, {"{words}", of.stray_words},
        {"{duration}", text(of.settings.duration)}, {"{window}", text(of.settings.window)},
        {"{mux_type}", text(of.settings.mux_type)},
    };
    // clang-format on
}

using Of = const Stream&;
constexpr std::int32_t least_window = 5; // four listed segments, with which all players start

/// When a question can be answered.
enum class Moment {
    any,        ///< as soon as it is true
    after_cuts, ///< once segments were cut, or none was for a long time
    end,        ///< when the stream is over
    note,       ///< at the end, too, but only as a note: there is nothing to fix
};

/// Something that can be wrong. Questions with the same number stand together: what is wrong under
/// one number makes up one finding.
struct Question {
    int number;
    Moment moment;
    bool (*holds)(Of);
    const char* text;
    void (*fix)(Of, Cure&) = [](Of, Cure&) {};
};

void align(Of /*of*/, Cure& cure) { cure.aligns = true; }
void remux(Of /*of*/, Cure& cure) { cure.remuxes = true; }
void keepMore(Of /*of*/, Cure& cure) { cure.settings.window = 6; }

// clang-format off
using enum Moment;
constexpr Question questions[] = {
    {1, after_cuts, [](Of of) { return of.facts.sync.packets == 0; },
     "Not one whole packet arrived; the muxer may not have started."},
    {1, after_cuts, [](Of of) { return of.packets.size == 192; },
     "Packets are 192 bytes long, not 188: each has a timestamp of four bytes in front.",
     [](Of, Cure& cure) { cure.lines.emplace_back(cure.advice->small_packets); }},
    {1, after_cuts, [](Of of) { return of.packets.size == 204; },
     "Packets are 204 bytes long, not 188: each ends with 16 bytes of error correction.", remux},
    {1, after_cuts, [](Of of) { return of.packets.size == packet_size && of.packets.offset > 0; },
     "From packet {first} on, packets start {late} late and cannot be read: bytes were lost or "
     "added, as happens when the muxer starts before the segmenter."},
    {1, after_cuts, [](Of of) { return of.packets.size == 0 && of.facts.sync.areNoise(); },
     "This is not a transport stream: {broken} packets have no sync byte.",
     [](Of, Cure& cure) { cure.lines.emplace_back(cure.advice->transport_stream); }},
    {1, after_cuts, [](Of of) { return of.packets.size == 0 && !of.facts.sync.areNoise(); },
     "Something damages the stream on its way: {broken} packets have no sync byte, the first of "
     "them packet {first}."},

    {2, after_cuts, [](Of of) { return of.video.frames == 0 && of.facts.video.has_odd_id; },
     "The video's stream id is not 0xE0, the only one that the segmenter looks for.", remux},
    {2, after_cuts, [](Of of) { return of.video.frames == 0 && !of.facts.video.has_odd_id; },
     "There is no video on any PID."},
    {2, after_cuts, [](Of of) { return of.facts.video.is_elsewhere; },
     "There is no video on PID {video PID}, where the segmenter looks for it, but on PID {PID}.",
     [](Of of, Cure& cure) {
         cure.settings.mux_type = muxerOf(of.facts.video.pid);
         cure.advice = &muxer_advice[cure.settings.mux_type];
         cure.aligns = of.facts.video.pid != findMuxer(cure.settings.mux_type)->video;
     }},

    {3, after_cuts, [](Of of) { return of.muxer == nullptr; },
     "--mux_type={mux_type} is not a known muxer, so nothing is ever cut.",
     [](Of of, Cure& cure) { cure.settings.mux_type = muxerOf(of.facts.video.pid); }},
    {3, after_cuts,
     [](Of of) {
         return of.muxer != nullptr && of.facts.cut_packets == 0 && !of.facts.video.is_elsewhere;
     },
     "No packet came on PID {cut PID}, and only those can begin a segment.",
     [](Of of, Cure& cure) { cure.aligns |= of.video.frames > 0; }},

    {4, any, [](Of of) { return of.video.reordered > 0; },
     "Timestamps go back {falls} in {frames}, as they do with B-frames, so segments end late or "
     "never.",
     [](Of of, Cure& cure) { cure.aligns |= of.muxer != nullptr; cure.encodes = true; }},
    {4, any, [](Of of) { return of.facts.restarts.count > 0; },
     "The source restarted {restarts}, so a segment ends late. Restart the segmenter together with "
     "its source."},

    {5, after_cuts, [](Of of) { return of.isStuck(); },
     "Nothing was cut in the last {uncut}, although --duration is {duration}.",
     [](Of of, Cure& cure) { cure.aligns |= of.isCut() && of.facts.restarts.count == 0; }},

    {6, after_cuts, [](Of of) { return of.facts.keyless > 0 && of.video.key_frames > 0; },
     "{keyless} of {judged} segments begin without a key frame: players cannot join there.", align},
    {6, after_cuts, [](Of of) { return of.facts.keyless > 0 && of.video.key_frames == 0; },
     "No frame is marked as a key frame, so players may not find where to start. ({unmarked} of "
     "{frames} look like an H.264 key frame.)", align},
    {6, after_cuts, [](Of of) { return of.facts.tableless > 0; },
     "{tableless} of {judged} segments have no PAT and PMT before the video: players cannot join "
     "there.", align},

    {7, after_cuts, [](Of of) { return of.facts.misstated.count > 0 && of.settings.duration > 0; },
     "Segments last {lengths}, but the playlist says {duration} s; players may stall. (Rounded to "
     "seconds, it is wrong for {misstated}.)", align},

    {8, any, [](Of of) { return of.facts.continuity.lost > 0; },
     "At least {lost} got lost on the way. A pipe loses none unless its source restarts; over UDP, "
     "a larger buffer helps (FFmpeg: ?buffer_size=4000000, GStreamer: buffer-size=4000000)."},

    {9, any, [](Of of) { return of.settings.duration < 1; },
     "--duration={duration} is too short: players need at least a second.",
     [](Of, Cure& cure) { cure.settings.duration = 4; }},
    {9, any, [](Of of) { return of.settings.window < 0; },
     "--window={window} deletes nothing, so the playlist grows without end.", keepMore},
    {9, any, [](Of of) { return of.settings.window > 0 && of.settings.window < least_window; },
     "--window={window} keeps too few segments: players start three or four before the end of a "
     "live playlist. (segmenter-live takes care of the window.)", keepMore},
    {9, note, [](Of of) { return of.settings.window == 0 && of.facts.segments > 1; },
     "Note: With --window=0 every playlist says that the stream is over, which suits a recording. "
     "For a live stream give --window=6, or use segmenter-live, which takes care of the window."},

    {10, any, [](Of of) { return of.facts.jumps.count > 0; },
     "Timestamps jump forward {jumps}: players freeze or stall.",
     [](Of of, Cure& cure) { cure.aligns |= of.facts.continuity.lost == 0; }},
    {11, any, [](Of of) { return of.facts.damaged + of.facts.scrambled > 0; },
     "Players cannot use all of {packets}: {damaged} with the transport error indicator, "
     "{scrambled} scrambled."},
    {12, end,
     [](Of of) {
         return of.isCut() && of.facts.measured.count < 2 && of.facts.restarts.count == 0 &&
                !of.isStuck();
     },
     "Too short to judge: {video time} of video, with fewer than two whole segments. Check a "
     "longer part."},
    {13, any, [](Of of) { return !of.stray_words.empty(); },
     "These words on the command line are not options: {words}. A value needs an equals sign. This "
     "report is for --duration={duration} --window={window} --mux_type={mux_type}; check again "
     "with your own.",
     [](Of of, Cure& cure) { cure = {.advice = cure.advice, .settings = of.settings}; }},
    {14, note, [](Of of) { return !unplayableStreams(of.facts).empty(); },
     "Note: Browsers play H.264 and AAC, but not what is on these PIDs: {streams}."},
};
// clang-format on

} // namespace

Verdict judge(const StreamFacts& facts, const Options& settings, const std::string& stray_words,
              bool is_over) {
    constexpr std::uint64_t many = 4096; // packets, among which video should be
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    const Stream stream = {.facts = facts,
                           .video = facts.video.time,
                           .settings = settings,
                           .stray_words = stray_words,
                           .muxer = muxer,
                           .packets = facts.sync.findPackets()};
    const bool is_empty = facts.video.time.frames == 0 && facts.sync.packets >= many;
    const bool is_told_late = facts.segments > 0 || is_empty || stream.isStuck();
    const Moment now = is_over ? note : is_told_late ? after_cuts : any;
    Verdict verdict = {.cure = {.advice = &muxer_advice[muxer == nullptr ? 0 : settings.mux_type],
                                .settings = settings}};
    std::vector<Finding>& findings = verdict.findings;
    for (const auto& [number, moment, holds, text, fix] : questions) {
        const bool can_be_told = !facts.sync.areNoise() || number == 1 || number == 13;
        if (now < moment || !can_be_told || !holds(stream)) {
            continue;
        }
        fix(stream, verdict.cure);
        const bool is_note = moment == note;
        if (findings.empty() || findings.back().number != number ||
            findings.back().is_note != is_note) {
            findings.push_back({number, is_note, ""});
        }
        std::string& whole = findings.back().text;
        whole += (whole.empty() ? "" : " ") + fill(text, valuesOf(stream));
    }
    return verdict;
}
