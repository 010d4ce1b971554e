#include "check/stream_check.h"

#include "check/text.h"
#include "tsinspect/ts.h"

#include <iomanip>
#include <utility>
#include <vector>

namespace {

/// What the stream is like, in a sentence.
std::string summary(const StreamFacts& facts, const Options& settings) {
    const auto distance = static_cast<std::int64_t>(facts.video.key_frame_distance.get());
    const double rate = facts.video.rate();
    return fill(
        "{frames} of video on PID {pid}{rate}{distance}{segments}.",
        {{"{frames}", counted(facts.video.frames, "frame")},
         {"{pid}", pidName(facts.video_pid)},
         {"{rate}", rate > 0 ? ", " + decimal(rate, 3) + " a second" : ""},
         {"{distance}", distance > 0 ? ", a key frame every " + seconds(distance) : ""},
         {"{segments}", facts.measured.count == 0 ? ""
                                                  : "; segments of " + range(facts.measured) +
                                                        ", and the playlist says " +
                                                        std::to_string(settings.duration) + " s"}});
}

const char* mark(bool is_there) { return is_there ? "yes" : "-"; }

} // namespace

StreamCheck::StreamCheck(Options& settings, std::ostream& out, std::string stray_words)
    : settings(settings), out(out), stray_words(std::move(stray_words)),
      reader(settings, [this](const SegmentFacts& segment) { writeRow(segment); }) {
    out << "   segment    packets    seconds   PAT   PMT   SDT   key-frame" << std::endl;
    writeNews(Moment::any);
}

void StreamCheck::take(std::span<char> packets) {
    constexpr std::uint64_t many = 4096;
    constexpr std::uint64_t often = 256; // packets
    const StreamFacts& facts = reader.facts();
    for (; !packets.empty(); packets = packets.subspan(packet_size)) {
        reader.take(packets.data());
        if (facts.sync.packets % often == 0) {
            const bool is_empty = facts.video.frames == 0 && facts.sync.packets >= many;
            writeNews(is_empty || isStuck(facts, settings) ? Moment::after_cuts : Moment::any);
        }
    }
}

bool StreamCheck::end() {
    is_over = true;
    reader.end();
    const StreamFacts& facts = reader.facts();
    Cure cure = {};
    const std::vector<Finding> findings = judge(facts, settings, stray_words, Moment::note, cure);
    std::string numbers;
    std::uint64_t to_fix = 0;
    for (const Finding& finding : findings) {
        if (!finding.is_note) {
            ++to_fix;
            numbers += (numbers.empty() ? "" : ",") + std::to_string(finding.number);
        }
    }
    out << '\n'
        << (to_fix == 0 ? "Nothing to fix." : counted(to_fix, "thing") + " to fix:") << '\n';
    for (const Finding& finding : findings) {
        out << '\n';
        writeWrapped(out, '[' + std::to_string(finding.number) + "] ",
                     (finding.is_note ? "Note: " : "") + finding.text);
    }
    writeCure(out, cure, facts, settings);
    out << '\n';
    if (facts.video.frames > 0) {
        writeWrapped(out, "", summary(facts, settings));
    }
    std::uint64_t lost = 0;
    for (const auto& [pid, count] : facts.lost) {
        lost += count;
    }
    out << "result findings=" << (numbers.empty() ? "none" : numbers)
        << " segments=" << facts.segments
        << " frames=" << (facts.is_elsewhere ? 0 : facts.video.frames) << " lost=" << lost
        << std::endl;
    return to_fix == 0;
}

void StreamCheck::writeRow(const SegmentFacts& segment) {
    constexpr double ticks = ticks_per_second;
    out << std::setw(10) << segment.number << std::setw(11) << segment.packets << std::setw(11);
    if (segment.length) {
        out << std::fixed << std::setprecision(2) << static_cast<double>(*segment.length) / ticks;
    } else {
        out << '-';
    }
    out << std::setw(6) << mark(segment.has_pat) << std::setw(6) << mark(segment.has_pmt)
        << std::setw(6) << mark(segment.has_sdt) << std::setw(12) << mark(segment.has_key_frame)
        << std::endl;
    if (!is_over) {
        writeNews(Moment::after_cuts);
    }
}

/// Writes a line about each finding of a kind that was not written before.
void StreamCheck::writeNews(Moment moment) {
    Cure cure = {};
    for (const Finding& finding : judge(reader.facts(), settings, stray_words, moment, cure)) {
        if (told.insert(finding.number).second) {
            out << '[' << finding.number << "] " << finding.text << std::endl;
        }
    }
}
