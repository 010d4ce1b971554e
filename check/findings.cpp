#include "check/findings.h"

#include "check/text.h"
#include "tsinspect/muxer.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

/// What is asked of a stream: its facts, the settings, and what is worked out from both.
struct Stream {
    const StreamFacts& facts;
    const Timeline& video;
    const Options& settings;
    const std::string& stray_words;
    const MuxerPIDs* muxer;          ///< null for one that is not known
    std::optional<std::size_t> late; ///< the bytes by which they begin too late
    std::size_t size;                ///< of a packet, as far as that can be told

    /// Whether nothing keeps segments from being cut.
    [[nodiscard]] bool isCut() const {
        return facts.cut_packets > 0 && video.frames > 0 && !facts.is_elsewhere &&
               video.reordered == 0;
    }
};

/// The type of the muxer that made a stream with video on `pid`: that whose own PID is next below.
std::int32_t muxerOf(std::uint32_t pid) {
    std::int32_t found = 0;
    for (std::int32_t type = 0; findMuxer(type) != nullptr; ++type) {
        const auto above = [pid](std::int32_t i) { return pid - findMuxer(i)->video; }; // or huge
        found = above(type) < above(found) ? type : found;
    }
    return found;
}

/// "2 on PID 0x20, 1 on PID 0x21".
std::string listed(const std::map<std::uint32_t, std::uint64_t>& counts) {
    std::string list;
    for (const auto& [pid, count] : counts) {
        list += (list.empty() ? "" : ", ") + std::to_string(count) + " on PID " + pidName(pid);
    }
    return list;
}

/// "in segment 3", or "2 times, first in segment 3".
std::string where(const Lengths& events) {
    return (events.count == 1 ? "" : counted(events.count, "time") + ", first ") + "in segment " +
           std::to_string(events.first_segment);
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

/// A duration that is less than all lengths which the playlist misstates, so that cuts fall due in
/// time, and what they round to; 0 where there is none.
std::int32_t fittingDuration(const Lengths& lengths) {
    const std::int64_t fitting = lengths.shortest / ticks_per_second * ticks_per_second;
    const bool fits = lengths.shortest >= fitting + cut_leeway &&
                      lengths.longest < fitting + ticks_per_second / 2;
    return fits ? static_cast<std::int32_t>(fitting / ticks_per_second) : 0;
}

/// What may stand in the texts.
Values valuesOf(const Stream& of) {
    const StreamFacts& facts = of.facts;
    const Timeline& video = of.video;
    const auto text = [](auto number) { return std::to_string(number); };
    // clang-format off
    return {
        {"{broken}", text(facts.sync.missing) + " of " + text(facts.sync.packets)},
        {"{first}", text(facts.sync.first_missing)},
        {"{late}", counted(of.late.value_or(0), "byte")},
        {"{video PID}", of.muxer == nullptr ? "" : pidName(of.muxer->video)},
        {"{cut PID}", of.muxer == nullptr ? "" : pidName(of.muxer->cut)},
        {"{elsewhere}", listed(facts.other_video)}, {"{falls}", counted(video.reordered, "time")},
        {"{frames}", counted(video.frames, "frame")}, {"{restarts}", where(facts.restarts)},
        {"{jumps}", where(facts.jumps) + ", by " + range(facts.jumps)},
        {"{uncut}", seconds(facts.uncut_time)}, {"{judged}", text(facts.judged)},
        {"{keyless}", text(facts.keyless)}, {"{tableless}", text(facts.tableless)},
        {"{unmarked}", text(facts.unmarked)}, {"{lengths}", range(facts.misstated)},
        {"{misstated}", text(facts.misstated.count) + " of " + text(facts.measured.count)},
        {"{lost}", listed(facts.lost)}, {"{damaged}", text(facts.damaged)},
        {"{scrambled}", text(facts.scrambled)},
        {"{packets}", counted(facts.sync.packets, "packet")},
        {"{video time}", seconds(video.steps_time)},
        {"{enough}", text(4 * std::max(of.settings.duration, 1)) + " s"},
        {"{streams}", unplayableStreams(facts)}, {"{words}", of.stray_words},
        {"{duration}", text(of.settings.duration)}, {"{window}", text(of.settings.window)},
        {"{mux_type}", text(of.settings.mux_type)},
    };
    // clang-format on
}

using Of = const Stream&;
constexpr std::int32_t least_window = 5; // four listed segments, with which all players start

/// A sentence or two about what can be wrong. Those with one number make up one finding.
struct Question {
    int number;
    Moment moment;
    bool (*holds)(Of);
    const char* text;
    void (*fix)(Of, Cure&) = [](Of, Cure&) {};
};

void align(Of /*of*/, Cure& cure) { cure.aligns = true; }
void remux(Of /*of*/, Cure& cure) { cure.remuxes = true; }

// clang-format off
using enum Moment;
constexpr Question questions[] = {
    {1, after_cuts, [](Of of) { return of.facts.sync.packets == 0; },
     "No whole packet came; the muxer may not have started."},
    {1, after_cuts, [](Of of) { return of.size == 192; },
     "Packets have 192 bytes, with four bytes of time in front of each, and not 188.",
     [](Of, Cure& cure) { cure.lines.emplace_back(cure.advice->small_packets); }},
    {1, after_cuts, [](Of of) { return of.size == 204; },
     "Packets have 204 bytes, with sixteen of error correction, and not 188.", remux},
    {1, after_cuts, [](Of of) { return of.late && of.facts.sync.first_missing == 0; },
     "Packets begin {late} too late. Start the segmenter before the muxer."},
    {1, after_cuts, [](Of of) { return of.late && of.facts.sync.first_missing > 0; },
     "From packet {first} on, packets begin {late} too late, and are not understood: bytes were lost "
     "or added in front of it."},
    {1, after_cuts, [](Of of) { return of.size == 0 && of.facts.sync.areNoise(); },
     "This is no transport stream: {broken} packets have no sync byte.",
     [](Of, Cure& cure) { cure.lines.emplace_back(cure.advice->transport_stream); }},
    {1, after_cuts, [](Of of) { return of.size == 0 && !of.facts.sync.areNoise(); },
     "Something damages the stream on its way: {broken} packets have no sync byte, packet {first} "
     "first."},

    {2, after_cuts, [](Of of) { return of.video.frames == 0 && of.facts.has_odd_video; },
     "Video has another stream id than 0xE0, the only one that is looked for.", remux},
    {2, after_cuts, [](Of of) { return of.video.frames == 0 && !of.facts.has_odd_video; },
     "There is no video, on any PID."},
    {2, after_cuts, [](Of of) { return of.facts.is_elsewhere; },
     "No video comes on PID {video PID}, where it is looked for; there are frames elsewhere, {elsewhere}.",
     [](Of of, Cure& cure) {
         cure.settings.mux_type = muxerOf(of.facts.video_pid);
         cure.advice = &muxer_advice[cure.settings.mux_type];
         cure.aligns = of.facts.video_pid != findMuxer(cure.settings.mux_type)->video;
     }},

    {3, after_cuts, [](Of of) { return of.muxer == nullptr; },
     "--mux_type={mux_type} is no muxer that is known, so nothing is ever cut.",
     [](Of of, Cure& cure) { cure.settings.mux_type = muxerOf(of.facts.video_pid); }},
    {3, after_cuts,
     [](Of of) { return of.muxer != nullptr && of.facts.cut_packets == 0 && !of.facts.is_elsewhere; },
     "No packet came on PID {cut PID}, and segments begin only with those.",
     [](Of of, Cure& cure) { cure.aligns |= of.video.frames > 0; }},

    {4, any, [](Of of) { return of.video.reordered > 0; },
     "Timestamps fall back {falls} in {frames}, as B-frames make them, so segments end late or never.",
     [](Of of, Cure& cure) { cure.aligns |= of.muxer != nullptr; cure.encodes = true; }},
    {4, any, [](Of of) { return of.facts.restarts.count > 0; },
     "The source restarted {restarts}, so a segment ends late. Restart the segmenter with its source."},

    {5, after_cuts, [](Of of) { return isStuck(of.facts, of.settings); },
     "Nothing was cut in the last {uncut}, although --duration is {duration}.",
     [](Of of, Cure& cure) { cure.aligns |= of.isCut() && of.facts.restarts.count == 0; }},

    {6, after_cuts, [](Of of) { return of.facts.keyless > 0 && of.video.key_frames > 0; },
     "Players cannot start at every segment: without a key frame first, {keyless} of {judged}.", align},
    {6, after_cuts, [](Of of) { return of.facts.keyless > 0 && of.video.key_frames == 0; },
     "No frame is marked as a key frame, so players may not find where to start.", align},
    {6, after_cuts, 
     [](Of of) { return of.facts.keyless > 0 && of.video.key_frames == 0 && of.facts.unmarked > 0; },
     "(The marks are missing: {unmarked} out of {frames} look like one.)"},
    {6, after_cuts, [](Of of) { return of.facts.tableless > 0; },
     "Players cannot start without PAT and PMT in front of the video: {tableless} of {judged}.", align},

    {7, after_cuts, [](Of of) { return of.facts.misstated.count > 0 && of.settings.duration > 0; },
     "Segments last {lengths}, but the playlist says {duration} s; players may stall. ({misstated}, "
     "rounded to seconds)",
     [](Of of, Cure& cure) {
         const std::int32_t fitting = fittingDuration(of.facts.misstated);
         cure.aligns |= fitting < of.settings.duration;
         cure.settings.duration = cure.aligns ? of.settings.duration : fitting;
     }},

    {8, any, [](Of of) { return !of.facts.lost.empty(); },
     "Packets were lost on the way, at least {lost}."},
    {8, any, [](Of of) { return !of.facts.lost.empty() && of.facts.restarts.count == 0; },
     "A pipe loses none; where they come over UDP, make the buffer larger.",
     [](Of, Cure& cure) { cure.lines.emplace_back(cure.advice->source); }},

    {9, any, [](Of of) { return of.settings.duration < 1; },
     "--duration={duration} is too short: players need a second or more.",
     [](Of, Cure& cure) { cure.settings.duration = 4; }},
    {9, any, [](Of of) { return of.settings.window < 0; },
     "--window={window} deletes nothing, and the playlist grows without end.",
     [](Of, Cure& cure) { cure.settings.window = least_window + 1; }},
    {9, any, [](Of of) { return of.settings.window > 0 && of.settings.window < least_window; },
     "--window={window} keeps too few segments: players start three or four before the end of a live "
     "playlist. (segmenter-run takes care of the window.)",
     [](Of, Cure& cure) { cure.settings.window = least_window + 1; }}, // the oldest is in use, too
    {9, note, [](Of of) { return of.settings.window == 0 && of.facts.segments > 1; },
     "With --window=0 every playlist says that the stream is over, as suits a recording. For a live "
     "stream give --window=6, or use segmenter-run, which takes care of the window."},

    {10, any, [](Of of) { return of.facts.jumps.count > 0; },
     "Timestamps jump forward {jumps}: players stand still or stall.",
     [](Of of, Cure& cure) { cure.aligns |= of.facts.lost.empty(); }},
    {11, any, [](Of of) { return of.facts.damaged + of.facts.scrambled > 0; },
     "Players cannot use all of {packets}: {damaged} with the transport error indicator, {scrambled} "
     "scrambled."},
    {12, end,
     [](Of of) {
         return of.isCut() && of.facts.measured.count < 2 && of.facts.restarts.count == 0 &&
                !isStuck(of.facts, of.settings);
     },
     "Too short to judge: {video time} of video, less than two whole segments. Look at {enough} or "
     "more."},
    {13, any, [](Of of) { return !of.stray_words.empty(); },
     "Some words on the command line are no options: {words}. A value follows an equals sign. Taken "
     "were --duration={duration} --window={window} --mux_type={mux_type}; look again with your own.",
     [](Of of, Cure& cure) { cure = {.advice = cure.advice, .settings = of.settings}; }},
    {14, note, [](Of of) { return !unplayableStreams(of.facts).empty(); },
     "Browsers play H.264 and AAC, but not what is on these PIDs: {streams}."},
};
// clang-format on

} // namespace

std::vector<Finding> judge(const StreamFacts& facts, const Options& settings,
                           const std::string& stray_words, Moment moment, Cure& cure) {
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    Stream stream = {facts, facts.video, settings, stray_words, muxer, {}, packet_size};
    if (facts.sync.missing > 0) {
        stream.late = facts.sync.findPackets(packet_size);
        const auto has = [&](std::size_t size) { return facts.sync.findPackets(size).has_value(); };
        stream.size = stream.late ? packet_size : has(192) ? 192 : has(204) ? 204 : 0;
    }
    cure = {.advice = &muxer_advice[muxer == nullptr ? 0 : settings.mux_type],
            .settings = settings};
    Values values;
    std::vector<Finding> findings;
    for (const Question& question : questions) {
        const bool is_told =
            !facts.sync.areNoise() || question.number == 1 || question.number == 13;
        if (moment < question.moment || !is_told || !question.holds(stream)) {
            continue;
        }
        values = values.empty() ? valuesOf(stream) : values;
        question.fix(stream, cure);
        if (findings.empty() || findings.back().number != question.number ||
            findings.back().is_note != (question.moment == note)) {
            findings.push_back({question.number, question.moment == note, ""});
        }
        std::string& text = findings.back().text;
        text += (text.empty() ? "" : " ") + fill(question.text, values);
    }
    return findings;
}

bool isStuck(const StreamFacts& facts, const Options& settings) {
    constexpr std::int64_t durations = 2;
    return facts.uncut_time > durations * std::max(settings.duration, 1) * ticks_per_second;
}
