#include "check/cure.h"

#include "check/text.h"
#include "tsinspect/muxer.h"

#include <cmath>

namespace {

/// True where cut packets come as far apart as with these values: they were given already.
bool areGiven(const Values& values, const FrameRate& rate, const StreamFacts& facts) {
    const double frame = ticks_per_second / rate.perSecond();
    const auto found = static_cast<double>(facts.cut_packet_distance.get());
    return !facts.is_elsewhere &&
           std::abs(found - std::stod(fill("{frames}", values)) * frame) < frame / 4;
}

/// `option` and the PID for the muxer's first stream with which the video comes where it is looked
/// for; empty if it does.
std::string firstPID(const char* option, const StreamFacts& facts) {
    const std::uint32_t wanted = muxer_pids[0].video;
    const std::uint32_t pid = facts.video_pid;
    const std::uint32_t first =
        facts.streams.types.empty() ? wanted : facts.streams.types.begin()->first;
    return pid == wanted ? "" : option + std::to_string(wanted - (pid - std::min(first, pid)));
}

/// Has FFmpeg put an SDT in front of each key frame, without encoding again.
std::string remuxLine(const char* input, const std::string& more) {
    return fill("ffmpeg: {input}-map 0:v -map '0:a?' -c copy -f segment -segment_time 1 -strftime 1"
                " -segment_format mpegts -segment_format_options"
                " mpegts_flags=+initial_discontinuity:sdt_period=3600{more} pipe:1",
                {{"{input}", input}, {"{more}", more}});
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
    out << '\n';
    writeWrapped(out, "", before);
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
    // Cut off, not rounded: a period longer than the key frames' would miss every one.
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
    const FrameRate rate = facts.video.good();
    Options good = cure.settings;
    Values values = recipeValues(rate, good.duration);
    const auto longer = recipeValues(rate, good.duration, 2); // which shows that it was given
    std::vector<std::string> lines = cure.lines;
    std::string before = "To fix it:";
    if (cure.aligns) {
        before = "To fix it, in this order (later options win over your own; leave out "
                 "-force_key_frames and -muxrate):";
        const bool is_given = areGiven(values, rate, facts);
        const bool is_given_twice = areGiven(longer, rate, facts);
        if (is_given || is_given_twice) {
            before = "The options that fix this seem to have been given, and something overrides "
                     "them: -force_key_frames, -muxrate, -x264-params, -x264opts, or an encoder "
                     "that ignores "
                     "-bf or -g.";
        }
        if (is_given_twice) {
            writeLines(out, before, {});
            return;
        }
        std::string recipe = cure.advice->recipe;
        if (is_given) {
            before += " With libx264, these win:";
            recipe += cure.advice->insist;
            values = longer;
        }
        lines.push_back(fill(recipe, values) +
                        (cure.advice->is_remuxed ? "" : firstPID(" -mpegts_start_pid ", facts)));
    }
    if (cure.remuxes || (cure.aligns && cure.advice->is_remuxed)) {
        lines.push_back(remuxLine("-i - ", ""));
    }
    good.mux_type = cure.remuxes || cure.aligns ? 0 : good.mux_type; // FFmpeg is the last one then
    if (!lines.empty() || segmenterLine(good) != segmenterLine(settings)) {
        lines.push_back(segmenterLine(good));
        writeLines(out, before, lines);
    }
    if (cure.aligns && !cure.encodes && !cure.advice->is_remuxed) {
        std::string copied =
            "Where it is not encoded again, key frames have to come every {period} s";
        lines.clear();
        if (facts.keyless + facts.tableless > 0 || facts.measured.count == 0) { // else it was given
            copied += ", and this stands in place of that line, of your -map, and of -f mpegts -:";
            lines = {remuxLine("", firstPID(":mpegts_start_pid=", facts))};
        }
        writeLines(out, fill(lines.empty() ? copied + '.' : copied, values), lines);
    }
}
