#include "check/cure.h"

#include "tsinspect/muxer.h"

#include <algorithm>
#include <cmath>

namespace {

const std::string new_recipe = "To fix it, in this order (later options win over your own; leave "
                               "out -force_key_frames and -muxrate):";
const std::string given_recipe =
    "The options that fix this seem to be in use already, but -fps_mode cfr is missing, or "
    "something overrides them: "
    "-force_key_frames, -muxrate, -x264-params, -x264opts, or an encoder that ignores -bf or -g.";

/// How many recipes were given already, 0 to 2, as far as the distance of cut packets shows it. The
/// second one has longer segments, so that it can be told from the first.
std::uint64_t recipesGiven(const StreamFacts& facts, const FrameRate& rate, std::int32_t duration) {
    const double frames =
        static_cast<double>(facts.cut_packet_distance.get()) * rate.perSecond() / ticks_per_second;
    for (const std::uint64_t recipes : {1U, 2U}) {
        const Values values = recipeValues(rate, duration, recipes);
        if (!facts.video.is_elsewhere &&
            std::abs(frames - std::stod(fill("{frames}", values))) < 0.25) {
            return recipes;
        }
    }
    return 0;
}

/// The option that puts the video on the PID where the segmenter looks for it; empty if it is
/// there.
std::string firstPID(const StreamFacts& facts) {
    const std::uint32_t wanted = muxer_pids[0].video;
    const std::uint32_t pid = facts.video.pid;
    const std::uint32_t first =
        facts.streams.types.empty() ? wanted : facts.streams.types.begin()->first;
    return pid == wanted
               ? ""
               : " -mpegts_start_pid " + std::to_string(wanted - (pid - std::min(first, pid)));
}

/// Has FFmpeg put an SDT in front of each key frame, without encoding again.
std::string remuxLine(const std::string& input) {
    return "ffmpeg: " + input +
           "-map 0:v -map '0:a?' -c copy -f segment -segment_time 1 -strftime 1 -segment_format "
           "mpegts -segment_format_options mpegts_flags=+initial_discontinuity:sdt_period=3600 "
           "pipe:1";
}

std::string segmenterLine(const Options& settings) {
    const auto given = [](const char* option, std::int32_t value) {
        return value == 0 ? "" : option + std::to_string(value);
    };
    return "segmenter: --duration=" + std::to_string(settings.duration) +
           given(" --window=", settings.window) + given(" --mux_type=", settings.mux_type);
}

void writeLines(std::ostream& out, const std::string& before,
                const std::vector<std::string>& lines) {
    out << '\n' << before << '\n';
    for (const std::string& line : lines) {
        out << "  " << line << '\n';
    }
}

} // namespace

Values recipeValues(const FrameRate& rate, std::int32_t duration, std::uint64_t more) {
    constexpr std::uint64_t parts = 2000; // of a second: one more than the duration is safe
    constexpr std::uint64_t million = 1000000;
    const std::uint64_t least = static_cast<std::uint64_t>(duration) * parts + 1;
    const std::uint64_t frames = least * rate.frames / (parts * rate.seconds) + more;
    // Rounded down: a period longer than that of the key frames would miss every one.
    const std::uint64_t period = frames * rate.seconds * million / rate.frames;
    const std::string number = std::to_string(rate.frames);
    const std::string fraction = number + '/' + std::to_string(rate.seconds);
    return {{"{rate}", rate.seconds == 1 ? number : fraction},
            {"{fraction}", fraction},
            {"{frames}", std::to_string(frames)},
            {"{period}", decimal(static_cast<double>(period) / million, 6)}};
}

void writeCure(std::ostream& out, const Cure& cure, const StreamFacts& facts,
               const Options& settings) {
    const FrameRate rate = facts.video.time.good();
    Options good = cure.settings;
    std::vector<std::string> lines = cure.lines;
    std::string before = "To fix it:";
    Values values;
    if (cure.aligns) {
        const std::uint64_t given = recipesGiven(facts, rate, good.duration);
        if (given > 1) {
            writeLines(out, given_recipe, {});
            return;
        }
        before = given > 0 ? given_recipe + " With libx264, these win:" : new_recipe;
        values = recipeValues(rate, good.duration, given + 1);
        values.emplace_back("{first PID}", firstPID(facts));
        lines.push_back(
            fill(cure.advice->recipe + std::string(given > 0 ? cure.advice->insist : ""), values));
    }
    if (cure.remuxes || (cure.aligns && cure.advice->is_remuxed)) {
        lines.push_back(remuxLine("-i - "));
    }
    good.mux_type = cure.remuxes || cure.aligns ? 0 : good.mux_type; // FFmpeg comes last then
    if (!lines.empty() || segmenterLine(good) != segmenterLine(settings)) {
        lines.push_back(segmenterLine(good));
        writeLines(out, before, lines);
    }
    // Where segments begin as they should, it was given already.
    const bool is_new = facts.keyless + facts.tableless > 0 || facts.measured.count == 0;
    if (cure.aligns && !cure.encodes && !cure.advice->is_remuxed && is_new) {
        writeLines(out,
                   fill("If you do not re-encode, a key frame must come every {period} s; use this "
                        "in place of that line, of your -map, and of -f mpegts -:",
                        values),
                   {remuxLine("")});
    }
}
